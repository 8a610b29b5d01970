// The add-on's messages as a hostile page or a broken add-on may make them:
// each goes through the web classifier on its main thread, together with the
// actions it posts (a disposed page's removal), and the model stays whole.
// An input holds several messages, split at NUL bytes, so that later
// messages meet the objects of earlier ones.
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "core/async.h"
#include "core/trace.h"
#include "fuzz_target.h"
#include "web/web_content_classifier.h"

namespace {

// The main loop in small: posted functions wait here until the message has
// been handled.
std::vector<std::function<void()>> g_posted;

std::FILE* NullOutput() {
    static std::FILE* file = std::fopen("/dev/null", "w");
    return file;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace qv;
    CRefPtr<ITraceFuncCallTarget> trace = MakeRef<CTraceFuncCallTarget>();
    CRefPtr<IAsyncActionDispatcher> dispatcher = MakeRef<CAsyncActionDispatcher>([](const std::function<void()>& f) {
        g_posted.push_back(f);
        return true;
    });
    CRefPtr<CContentClassifierLog> log = MakeRef<CContentClassifierLog>(trace);
    CRefPtr<CWebContentClassifier> web = MakeRef<CWebContentClassifier>(trace, dispatcher, log);
    web->LogOutput = NullOutput();

    const std::string input(reinterpret_cast<const char*>(data), size);
    std::size_t start = 0;
    while (start <= input.size()) {
        std::size_t end = input.find('\0', start);
        if (end == std::string::npos) end = input.size();
        std::string reply;
        web->ProcessMessage(1234, L"/usr/bin/chromium", input.substr(start, end - start), reply);
        while (!g_posted.empty()) {
            std::vector<std::function<void()>> now;
            now.swap(g_posted);
            for (auto& f : now) f();
        }
        // A page in the audible list is a live page.
        for (CWebPage* page : web->AudibleWebPages)
            if (!web->WebPages.Contains(page)) std::abort();
        start = end + 1;
    }
    web = nullptr;
    g_posted.clear();
    return 0;
}
