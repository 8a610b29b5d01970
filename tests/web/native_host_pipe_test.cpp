// The web classifier's pipe, over real pipes: slots, the exchange field by
// field, and requests that must not reach the model.
#include <cstdint>
#include <future>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/codes.h"
#include "platform/platform.h"
#include "support/main_thread_harness.h"
#include "support/wait_until.h"
#include "web/native_host_pipe_name.h"
#include "web/web_content_classifier.h"

namespace qv::test {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes Le32(uint32_t value) {
    return {static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value >> 16),
            static_cast<uint8_t>(value >> 24)};
}

Bytes PathBytes(const std::u16string& path) {
    Bytes bytes;
    for (char16_t unit : path + u'\0') {
        bytes.push_back(static_cast<uint8_t>(unit));
        bytes.push_back(static_cast<uint8_t>(unit >> 8));
    }
    return bytes;
}

// What a native host writes, one field per write, as each field may be
// spoilt by the test; and what came back.
struct Exchange {
    uint32_t pid = 4242;
    Bytes pathSize;
    Bytes path = PathBytes(u"/usr/lib/chromium/chromium");
    Bytes bodySize;
    std::string body;
    bool closeAfterBody = false;  // a host that dies before it has sent all it promised

    // The reply, or nothing when the exchange broke before one came.
    std::optional<std::string> Run(int slot) const {
        CRefPtr<IPipeConnection> pipe;
        if (GetPlatform()->Pipes()->CreateFile(NativeHostPipeName(slot), pipe) != ERROR_SUCCESS) return std::nullopt;
        auto write = [&](const Bytes& bytes) {
            uint32_t written = 0;
            return pipe->WriteFile(bytes.data(), static_cast<uint32_t>(bytes.size()), written) == ERROR_SUCCESS;
        };
        const Bytes realPathSize = Le32(static_cast<uint32_t>(path.size()));
        const Bytes realBodySize = Le32(static_cast<uint32_t>(body.size()));
        if (!write(Le32(pid)) || !write(pathSize.empty() ? realPathSize : pathSize) || !write(path) ||
            !write(bodySize.empty() ? realBodySize : bodySize))
            return std::nullopt;
        // A large body goes in pieces, as a pipe message has a size limit.
        constexpr std::size_t kPiece = 64 * 1024;
        for (std::size_t at = 0; at < body.size(); at += kPiece) {
            const std::size_t n = std::min(kPiece, body.size() - at);
            if (!write(Bytes(body.begin() + at, body.begin() + at + n))) return std::nullopt;
        }
        if (closeAfterBody) return std::string("(closed)");
        uint8_t sizeBytes[4];
        uint32_t read = 0;
        if (pipe->ReadFile(sizeBytes, 4, read) != ERROR_SUCCESS || read != 4) return std::nullopt;
        std::string reply(sizeBytes[0] | sizeBytes[1] << 8 | sizeBytes[2] << 16 | sizeBytes[3] << 24, '\0');
        for (uint32_t done = 0; done < reply.size(); done += read) {
            const Win32Error error =
                pipe->ReadFile(reply.data() + done, static_cast<uint32_t>(reply.size() - done), read);
            if (error != ERROR_SUCCESS && error != ERROR_MORE_DATA) return std::nullopt;
        }
        if (!write(Le32(0))) return std::nullopt;
        return reply;
    }
};

class NativeHostPipeTest : public ::testing::Test {
protected:
    // Runs the exchange on a thread of its own while this thread, the
    // model's main thread, handles the message.
    std::optional<std::string> Send(const Exchange& exchange, int slot = -1) {
        auto reply = std::async(std::launch::async, [&] { return exchange.Run(slot < 0 ? web->PipeSlot() : slot); });
        EXPECT_TRUE(h.RunUntil([&] { return reply.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
        return reply.get();
    }
    static std::string Page(const std::string& title) {
        return R"({"instanceId":"one","changes":[{"type":"web-page","id":"0000000000000001-0000000000000002","title":")" +
               title + R"("}]})";
    }

    MainThreadHarness h;
    CRefPtr<CWebContentClassifier> web = MakeRef<CWebContentClassifier>(h.trace, h.dispatcher, h.log);
};

TEST_F(NativeHostPipeTest, ClassifiersSideBySideTakeTheLowestFreeSlots) {
    ASSERT_EQ(web->PipeSlot(), 0);
    CRefPtr<CWebContentClassifier> second = MakeRef<CWebContentClassifier>(h.trace, h.dispatcher, h.log);
    EXPECT_EQ(second->PipeSlot(), 1);
    web = nullptr;
    // The name is free once the pipe thread's waiting accept has returned.
    ASSERT_TRUE(WaitUntil(
        [] { return GetPlatform()->Pipes()->WaitNamedPipe(NativeHostPipeName(0), 0) == ERROR_FILE_NOT_FOUND; }));
    CRefPtr<CWebContentClassifier> third = MakeRef<CWebContentClassifier>(h.trace, h.dispatcher, h.log);
    EXPECT_EQ(third->PipeSlot(), 0) << "a slot is free again when its classifier has gone";
    EXPECT_TRUE(h.Traced(L"PELTAK pipe name: \\\\.\\pipe\\{68327F92-4C65-4484-860D-DA80B61FCDBA}.Quorvane_CoCl_1."));
}

TEST_F(NativeHostPipeTest, AnExchangeReachesTheModelWithTheBrowsersProcessAndGetsTheReply) {
    Exchange exchange;
    exchange.body = Page("one");
    const std::optional<std::string> reply = Send(exchange);
    ASSERT_TRUE(reply);
    EXPECT_EQ(*reply, R"({"hostId":")" + web->HostIdText() + R"(","isDefaultEndpoint":true})");
    CRefPtr<CWebClassificationObject> page = web->Objects.Find({1, 2});
    ASSERT_TRUE(page);
    EXPECT_EQ(page->SourceProcessID.value(), 4242u);
    EXPECT_EQ(page->SourceProcessPath.value(), L"/usr/lib/chromium/chromium");

    // A body in several writes and of several megabytes is read whole.
    Exchange big;
    big.body = Page(std::string(4 * 1024 * 1024, 'x'));
    ASSERT_EQ(Send(big), reply);
}

TEST_F(NativeHostPipeTest, RequestsThatMustNotReachTheModelGetAnEmptyReplyAndTheNextOneIsServed) {
    Exchange longPath;  // the path is cut to its limit and the rest read away
    longPath.path = PathBytes(std::u16string(1500, u'p'));
    longPath.body = Page("long path");
    Exchange oddPath;
    oddPath.path.push_back(0);
    oddPath.body = Page("odd path");
    Exchange exitBody;
    exitBody.body = "/exit";
    Exchange emptyBody;
    for (const Exchange* exchange : {&longPath, &oddPath, &exitBody, &emptyBody}) {
        EXPECT_EQ(Send(*exchange), std::optional<std::string>(""));
    }
    Exchange shortBody;  // promises more than it sends, then goes
    shortBody.body = Page("short");
    shortBody.bodySize = Le32(100000);
    shortBody.closeAfterBody = true;
    Send(shortBody);
    EXPECT_TRUE(web->Objects.empty());
    EXPECT_TRUE(h.Traced(L"Native host request refused: its path size 3002 is over 2048."));

    Exchange good;
    good.body = Page("good");
    EXPECT_NE(Send(good), std::optional<std::string>(""));
    EXPECT_EQ(web->Objects.size(), 1u);
    EXPECT_TRUE(h.Traced(L"Native host request refused: its body ended after"));
}

}  // namespace
}  // namespace qv::test
