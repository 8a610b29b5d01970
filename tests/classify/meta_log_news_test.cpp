// The meta log as the classification writes it, heard by a server on the meta
// log's own pipe: a change of the final classification prints what is known
// only when something is news, in a fixed order, and the fallback prints
// nothing. The records that other parts write (the media file of a player)
// are set here as those parts would set them.
#include <gtest/gtest.h>

#include "classifier_fixture.h"
#include "meta_log_frames.h"

namespace qv::test {
namespace {

using namespace std::chrono_literals;

constexpr const wchar_t* kVlc = L"C:\\Program Files\\VideoLAN\\VLC\\vlc.exe";

class MetaLogNewsTest : public ClassifierTest {
protected:
    void SetUp() override { ASSERT_EQ(server.CreateError(), 0u); }

    // Every line the log has sent so far. A line of the test's own goes last
    // and is waited for: the server takes one connection after the other, so
    // whatever the model wrote before it has arrived by then.
    std::vector<std::wstring> LinesSoFar() {
        const std::wstring marker = L"-- test marker " + std::to_wstring(++m_markers) + L" --\n";
        h.log->WriteLine(L"%s", marker);
        std::vector<std::wstring> lines;
        EXPECT_TRUE(h.RunUntil([&] {
            lines = MetaLogLines(server);
            return !lines.empty() && lines.back() == marker;
        }));
        std::erase_if(lines, [](const std::wstring& line) { return line.starts_with(L"-- test marker "); });
        return lines;
    }

    PipeTestServer server{h.platform->Pipes(), CContentClassifierLog::kPipeName};

private:
    int m_markers = 0;
};

TEST_F(MetaLogNewsTest, MusicThenSilenceFallsBackAfterTwoSecondsWithoutAModeLine) {
    ASSERT_NO_FATAL_FAILURE(Start());
    ASSERT_TRUE(WaitForHost(1));
    const std::wstring id = Play(StartApp(L"C:\\Program Files\\Windows Media Player\\wmplayer.exe"));
    CRefPtr<CAudioSession> session = WaitForSession(id);
    ASSERT_TRUE(session);
    h.log->MediaFile.Set({L"D:\\Music\\album\\01.wma"});
    session->OpenedMediaFilePath.set(L"D:\\Music\\album\\01.wma");
    ASSERT_TRUE(WaitForHost(2));
    ASSERT_EQ(Final().Category, CategoryMusic);

    const auto silence = std::chrono::steady_clock::now();
    SetState(id, AudioSessionStateInactive);
    ASSERT_TRUE(WaitForHost(3));
    const HostRecord fallback = host.Records().back();
    // The same word a second time: the category is another.
    EXPECT_EQ(host.Words(), (std::vector<std::string>{"AnyContent", "AnyContent", "AnyContent"}));
    EXPECT_EQ(Final().Category, CategoryNone);
    EXPECT_GE(fallback.arrival - silence, 2010ms);
    EXPECT_LT(fallback.arrival - silence, 8s);
    EXPECT_EQ(LinesSoFar(), (std::vector<std::wstring>{
                                L"Media file: D:\\Music\\album\\01.wma\n",
                                L"MODE: ____________ Music ____________\n",
                            }));
}

}  // namespace
}  // namespace qv::test
