// Plays main for a test: a simulated platform, a trace whose lines can be
// read back, a dispatcher posting to a loop on the test's thread, and a meta
// log. The test's thread is the model's main thread; RunUntil turns the loop.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "classify/content_classifier_log.h"
#include "core/async.h"
#include "core/trace.h"
#include "platform/portable_message_loop.h"
#include "platform/sim/sim_platform.h"

namespace qv::test {

class MainThreadHarness {
public:
    // With tracing on, every line goes to the simulated debugger output.
    explicit MainThreadHarness(bool tracing = true);
    ~MainThreadHarness();
    MainThreadHarness(const MainThreadHarness&) = delete;
    MainThreadHarness& operator=(const MainThreadHarness&) = delete;

    // Dispatches posted functions until the predicate holds (checked before
    // each wait) or the time-out passes. True if the predicate held.
    bool RunUntil(const std::function<bool()>& done,
                  std::chrono::milliseconds timeout = std::chrono::seconds(10));
    // Dispatches everything that arrives during the given time.
    void RunFor(std::chrono::milliseconds duration);
    // Dispatches what is queued now, without waiting.
    std::size_t RunPending();

    // Trace lines so far, and whether one contains the text.
    std::vector<std::wstring> TraceLines() const;
    bool Traced(const std::wstring& text) const;
    void ClearTrace();

    CRefPtr<CSimPlatform> platform;
    CRefPtr<CPortableMessageLoop> loop;
    CRefPtr<ITraceFuncCallTarget> trace;
    CRefPtr<IAsyncActionDispatcher> dispatcher;
    CRefPtr<CContentClassifierLog> log;
    std::size_t dispatched = 0;

private:
    bool DispatchOne(std::chrono::milliseconds wait);
};

}  // namespace qv::test
