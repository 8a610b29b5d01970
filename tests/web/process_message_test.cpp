// A native host's message on the main thread: the instance rule and the
// reply, keys set by their JSON type, and messages refused as a whole.
#include <regex>
#include <string>

#include <gtest/gtest.h>

#include "support/main_thread_harness.h"
#include "web/web_content_classifier.h"
#include "web/web_media_element.h"
#include "web/web_page.h"

namespace qv::test {
namespace {

constexpr const char* kPage = "0000000000000001-0000000000000002";
constexpr const char* kVideo = "0000000000000003-0000000000000004";

class ProcessMessageTest : public ::testing::Test {
protected:
    std::string Process(const std::string& body) {
        std::string reply;
        web->ProcessMessage(4242, L"/usr/lib/chromium/chromium", body, reply);
        return reply;
    }
    template <class T>
    CRefPtr<T> Find(const char* id) {
        return CRefPtr<T>(dynamic_cast<T*>(web->Objects.Find(*ParseWebObjectId(id)).get()));
    }
    std::string Reply() const { return R"({"hostId":")" + web->HostIdText() + R"(","isDefaultEndpoint":true})"; }

    MainThreadHarness h;
    CRefPtr<CWebContentClassifier> web = MakeRef<CWebContentClassifier>(h.trace, h.dispatcher, h.log);
};

TEST_F(ProcessMessageTest, AnotherInstanceWipesThePagesAndGetsANewHostId) {
    const std::string first = web->HostIdText();
    EXPECT_TRUE(std::regex_match(first, std::regex(R"(\{[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\})")));
    const std::string page = R"({"type":"web-page","id":")" + std::string(kPage) + R"("})";
    EXPECT_EQ(Process(R"({"instanceId":"A","changes":[)" + page + "]}"), Reply());
    EXPECT_EQ(web->HostIdText(), first) << "the first instance is adopted, not a restart";
    EXPECT_EQ(Process(R"({"instanceId":"A"})"), Reply());
    EXPECT_EQ(web->Objects.size(), 1u);

    const std::string reply = Process(R"({"instanceId":"B","changes":[]})");
    EXPECT_EQ(reply, Reply()) << "the new host id is in the reply to the new instance";
    EXPECT_TRUE(web->Objects.empty());
    EXPECT_TRUE(web->WebPages.empty());
    const std::string second = web->HostIdText();
    EXPECT_NE(second, first);
    EXPECT_EQ(web->ExtensionInstanceId.value(), "B");

    // No instanceId after one is another instance too.
    Process(R"({"changes":[)" + page + "]}");
    EXPECT_NE(web->HostIdText(), second);
    EXPECT_TRUE(web->ExtensionInstanceId->empty());
}

TEST_F(ProcessMessageTest, KeysAreSetByTheirJsonTypeOnTheObjectOfTheId) {
    Process(std::string(R"({"changes":[)") +                                                      //
            R"({"type":"web-page","id":")" + kPage +                                              //
            R"(","title":"News","tabId":4294967301,"audible":true,"muted":"yes","bogus":1},)" +  //
            R"({"type":"web-unknown","id":"0000000000000009-0000000000000009","title":"x"},)" +  //
            R"({"type":"web-video-element","id":")" + kVideo + R"(","pageId":")" + kPage +       //
            R"(","duration":120,"title":"not an element's"}]})");
    CRefPtr<CWebPage> page = Find<CWebPage>(kPage);
    ASSERT_TRUE(page);
    EXPECT_EQ(page->title.value(), "News");
    EXPECT_EQ(page->tabId.value(), 5u) << "an integer is cut to 32 bits";
    EXPECT_TRUE(page->audible.value());
    EXPECT_FALSE(page->muted.value()) << "a string is no bool";
    EXPECT_TRUE(h.Traced(L"Ignored \"muted\": a JSON string does not fit the property."));
    EXPECT_EQ(page->SourceProcessID.value(), 4242u);
    EXPECT_EQ(page->SourceProcessPath.value(), L"/usr/lib/chromium/chromium");
    EXPECT_EQ(web->Objects.size(), 2u) << "an unknown type makes nothing";

    CRefPtr<CWebMediaElement> video = Find<CWebMediaElement>(kVideo);
    ASSERT_TRUE(video);
    EXPECT_EQ(video->duration.value(), 120.0f) << "a whole number of seconds";
    // Another type for a known id changes the object that is there.
    Process(std::string(R"({"changes":[{"type":"web-audio-element","id":")") + kVideo + R"(","duration":2.5}]})");
    EXPECT_EQ(Find<CWebMediaElement>(kVideo), video);
    EXPECT_EQ(video->duration.value(), 2.5f);
}

TEST_F(ProcessMessageTest, AMessageThatIsRefusedChangesNothingAndGetsNoReply) {
    Process(R"({"instanceId":"A"})");
    const std::string change = std::string(R"({"type":"web-page","id":")") + kPage + R"(","title":"t"})";
    const char* refused[] = {
        R"({"instanceId":"A","changes":[)",  // cut short
        R"([1,2])",
        R"({"instanceId":7})",
        R"({"changes":{"type":"web-page"}})",
        R"({"changes":[42]})",
        R"({"changes":[{"type":1,"id":"0000000000000001-0000000000000002"}]})",
        R"({"changes":[{"type":"web-page","id":12}]})",
        R"({"changes":[{"type":"web-page","id":"0000000000000001"}]})",
        R"({"changes":[{"type":"web-video-element","id":"0000000000000003-0000000000000004","pageId":"12"}]})",
    };
    for (const char* body : refused) {
        // A refused message may carry good changes as well: none of them counts.
        const std::string text = std::string(body).starts_with(R"({"changes":[)")
                                     ? std::string(body).insert(12, change + ",")
                                     : std::string(body);
        EXPECT_EQ(Process(text), "") << text;
        EXPECT_TRUE(web->Objects.empty()) << text;
        EXPECT_EQ(web->ExtensionInstanceId.value(), "A") << text;
    }
    EXPECT_TRUE(h.Traced(L"Message refused: a change's \"id\" is no object id."));
}

}  // namespace
}  // namespace qv::test
