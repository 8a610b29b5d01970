// The web model as the add-on's messages build it: a real web classifier,
// objects made through its FindOrCreateObject, properties set directly. The
// test's thread is the main thread; posted actions run with h.RunPending.
#pragma once

#include <string>

#include <gtest/gtest.h>

#include "support/main_thread_harness.h"
#include "web/web_content_classifier.h"
#include "web/web_page.h"

namespace qv::test {

class WebModelTest : public ::testing::Test {
protected:
    static WebObjectId PageKey(uint64_t n) { return {0xA, n}; }
    static WebObjectId NodeKey(uint64_t n) { return {0xE, n}; }

    CRefPtr<CWebPage> Page(uint64_t n) { return Make<CWebPage>(PageKey(n), "web-page"); }
    // An element or script node on page `page`, named by its id text.
    template <class T>
    CRefPtr<T> Node(uint64_t n, const char* type, uint64_t page) {
        CRefPtr<T> node = Make<T>(NodeKey(n), type);
        node->pageId.set(FormatWebObjectId(PageKey(page)));
        return node;
    }
    CRefPtr<CWebVideoElement> Video(uint64_t n, uint64_t page, bool playing = true) {
        CRefPtr<CWebVideoElement> video = Node<CWebVideoElement>(n, "web-video-element", page);
        video->playing.set(playing);
        return video;
    }
    // A page at the address that the browser calls audible.
    CRefPtr<CWebPage> AudiblePage(uint64_t n, const std::string& url) {
        CRefPtr<CWebPage> page = Page(n);
        page->url.set(url);
        page->audible.set(true);
        return page;
    }
    bool Audible(CWebPage* page) const { return web->AudibleWebPages.Contains(page); }

    template <class T>
    CRefPtr<T> Make(const WebObjectId& id, const char* type) {
        CRefPtr<CWebClassificationObject> object = web->FindOrCreateObject(id, type);
        return CRefPtr<T>(dynamic_cast<T*>(object.get()));
    }

    MainThreadHarness h;
    CRefPtr<CWebContentClassifier> web = MakeRef<CWebContentClassifier>(h.trace, h.dispatcher, h.log);
};

}  // namespace qv::test
