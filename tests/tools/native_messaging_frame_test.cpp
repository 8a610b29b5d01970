// What PELTAK64 takes from the browser's stream and gives back to it, and
// the path field that it sends the classifier.
#include <gtest/gtest.h>

#include <cstring>

#include "classifier_pipe_client.h"
#include "native_messaging_frame.h"

namespace qv::peltak {
namespace {

std::string Frame(uint32_t length, std::string_view body) {
    std::string frame(4, '\0');
    std::memcpy(frame.data(), &length, 4);  // native order, as the browser writes it
    return frame + std::string(body);
}

// The input in pieces of at most `piece` bytes, as a pipe may hand it out.
std::vector<std::pair<FrameRead, std::string>> ReadAll(const std::string& input, std::size_t piece) {
    std::size_t offset = 0;
    const ByteSource source = [&](void* data, std::size_t size) {
        const std::size_t n = std::min({size, piece, input.size() - offset});
        std::memcpy(data, input.data() + offset, n);
        offset += n;
        return n;
    };
    std::vector<std::pair<FrameRead, std::string>> reads;
    std::string message, problem;
    for (FrameRead read = FrameRead::Message; read == FrameRead::Message;) {
        read = ReadNativeMessage(source, message, problem);
        reads.emplace_back(read, message);
    }
    return reads;
}

TEST(NativeMessagingFrame, ReadsWholeMessagesAndStopsWhereTheStreamCannotBeTrusted) {
    using R = FrameRead;
    const struct {
        std::string input;
        std::vector<std::pair<FrameRead, std::string>> reads;
    } cases[] = {
        {"", {{R::End, ""}}},
        {Frame(2, "{}") + Frame(0, "") + Frame(7, "[1,\"x\"]"),
         {{R::Message, "{}"}, {R::Message, ""}, {R::Message, "[1,\"x\"]"}, {R::End, ""}}},
        {Frame(2, "{}") + "\x02\x00", {{R::Message, "{}"}, {R::Truncated, ""}}},
        {Frame(10, "{\"a\":"), {{R::Truncated, ""}}},
        {Frame(kMaxMessageFromBrowser + 1, "{}"), {{R::TooLarge, ""}}},
        {Frame(0xFFFFFFFF, ""), {{R::TooLarge, ""}}},
    };
    for (const auto& [input, reads] : cases)
        for (std::size_t piece : {std::size_t(1), std::size_t(3), input.size() + 1})
            EXPECT_EQ(ReadAll(input, piece), reads) << testing::PrintToString(input) << " in pieces of " << piece;
}

TEST(NativeMessagingFrame, RepliesUpToOneMegabyteGoOutLargerOnesAreRefused) {
    std::string frame, problem;
    ASSERT_TRUE(EncodeNativeMessage(std::string(kMaxMessageToBrowser, 'x'), frame, problem));
    EXPECT_EQ(frame.substr(0, 4), std::string("\x00\x00\x10\x00", 4));
    EXPECT_EQ(frame.size(), 4 + kMaxMessageToBrowser);
    EXPECT_FALSE(EncodeNativeMessage(std::string(kMaxMessageToBrowser + 1, 'x'), frame, problem));
    EXPECT_NE(problem.find("1048577"), std::string::npos) << problem;
}

TEST(ClassifierPipeClient, APathIsCutToWhatTheClassifierReadsNeverInsideASurrogatePair) {
    EXPECT_EQ(SourcePathField(L"C:\\b"), (std::vector<uint8_t>{'C', 0, ':', 0, '\\', 0, 'b', 0, 0, 0}));
    EXPECT_EQ(SourcePathField(L""), (std::vector<uint8_t>{0, 0}));
    const std::vector<uint8_t> cut = SourcePathField(std::wstring(5000, L'a'));
    ASSERT_EQ(cut.size(), 2048u);
    EXPECT_EQ(cut[2044], 'a');
    EXPECT_EQ(cut[2046] | cut[2047], 0);
    // U+1F600 is two UTF-16 units; the pair would straddle the cut.
    const std::vector<uint8_t> pair = SourcePathField(std::wstring(1022, L'a') + L"\U0001F600");
    EXPECT_EQ(pair.size(), 2046u);
}

}  // namespace
}  // namespace qv::peltak
