#include "support/main_thread_harness.h"

#include "shell/main_loop.h"

namespace qv::test {

MainThreadHarness::MainThreadHarness(bool tracing) {
    platform = MakeRef<CSimPlatform>();
    SetPlatform(platform);
    loop = MakeRef<CPortableMessageLoop>();
    trace = MakeRef<CTraceFuncCallTarget>();
    DBG_TRACE* record = trace->GetTrace();
    record->debugOutput = platform->SimDebugOutput;
    DBG_TRACE_SetName(record);
    record->Enabled.store(tracing);
    CRefPtr<IMessageLoop> target = loop;
    dispatcher = MakeRef<CAsyncActionDispatcher>(
        [target](const std::function<void()>& function) { return PostFunctionMessage(*target, function); });
    log = MakeRef<CContentClassifierLog>(trace);
}

MainThreadHarness::~MainThreadHarness() {
    log.reset();
    dispatcher.reset();
    loop->Close();
    loop.reset();
    trace.reset();
    SetPlatform(nullptr);
}

bool MainThreadHarness::DispatchOne(std::chrono::milliseconds wait) {
    LoopMessage message;
    if (!loop->GetMessageFor(message, wait)) return false;
    if (message.message == kPostedFunctionMessage && message.lParam != 0) {
        auto* function = reinterpret_cast<std::function<void()>*>(message.lParam);
        (*function)();
        delete function;
    }
    ++dispatched;
    return true;
}

bool MainThreadHarness::RunUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
    auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        if (done()) return true;
        auto now = std::chrono::steady_clock::now();
        if (now >= deadline) return false;
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - now);
        DispatchOne(std::min(left, std::chrono::milliseconds(50)));
    }
}

void MainThreadHarness::RunFor(std::chrono::milliseconds duration) {
    auto deadline = std::chrono::steady_clock::now() + duration;
    for (auto now = std::chrono::steady_clock::now(); now < deadline; now = std::chrono::steady_clock::now())
        DispatchOne(std::chrono::duration_cast<std::chrono::milliseconds>(deadline - now));
}

std::size_t MainThreadHarness::RunPending() {
    std::size_t n = 0;
    while (DispatchOne(std::chrono::milliseconds(0))) ++n;
    return n;
}

std::vector<std::wstring> MainThreadHarness::TraceLines() const { return platform->SimDebugOutput->Lines(); }

bool MainThreadHarness::Traced(const std::wstring& text) const {
    for (const auto& line : TraceLines())
        if (line.find(text) != std::wstring::npos) return true;
    return false;
}

void MainThreadHarness::ClearTrace() { platform->SimDebugOutput->Clear(); }

}  // namespace qv::test
