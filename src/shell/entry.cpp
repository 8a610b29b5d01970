#include "shell/entry.h"

#include <atomic>

#include "classify/content_classifier_log.h"
#include "core/async.h"
#include "core/text.h"
#include "core/trace.h"
#include "platform/platform.h"
#include "platform/thread_id.h"
#include "shell/arguments.h"
#include "shell/main_loop.h"

namespace qv {

namespace {
std::atomic<uint32_t> g_mainThreadId{0};
}

uint32_t MainThreadId() { return g_mainThreadId.load(); }

int RunContentClassifier(const std::vector<std::string>& arguments, const EntryHooks& hooks) {
    g_mainThreadId.store(CurrentThreadId());
    CRefPtr<IPlatform> platform = GetPlatform();
    if (!platform) return -1;

    ArgumentTable table = ParseArguments(arguments);
    std::string hostPipeName = ArgumentValue(table, kHostPipeNameKey);
    std::vector<std::string> endpointIds = SplitEndpointIds(ArgumentValue(table, kEndpointIdKey));

    // The trace comes first and goes last: every other object holds it.
    CRefPtr<ITraceFuncCallTarget> traceTarget = MakeRef<CTraceFuncCallTarget>();
    DBG_TRACE* trace = traceTarget->GetTrace();
    trace->Enabled.store(DBG_TRACE_Start(trace));
    DBG_TRACE_SetName(trace);

    CMainLoop mainLoop(platform->CreateMessageLoop());
    CRefPtr<IAsyncActionDispatcher> dispatcher = MakeRef<CAsyncActionDispatcher>(mainLoop.PostingFunction());
    CRefPtr<CContentClassifierLog> log = MakeRef<CContentClassifierLog>(traceTarget);

    if (TraceEnabled(trace)) {
        DBG_TRACE_Print(trace, L"Started on the %s platform, process id %i.\n", platform->Name(),
                        platform->System() ? platform->System()->GetCurrentProcessId() : 0u);
        DBG_TRACE_Print(trace, L"Host pipe name: %s.\n", Utf8ToWide(hostPipeName));
        for (const std::string& id : endpointIds) DBG_TRACE_Print(trace, L"Endpoint id: %s.\n", Utf8ToWide(id));
    }

    if (hooks.loopReady) hooks.loopReady(mainLoop.Loop());
    if (TraceEnabled(trace)) DBG_TRACE_Print(trace, L"Entering the message loop.\n");
    std::size_t dispatched = mainLoop.Run();
    if (TraceEnabled(trace)) {
        DBG_TRACE_Print(trace, L"The message loop has ended after %i messages; stopping.\n",
                        static_cast<int>(dispatched));
    }

    log.reset();
    dispatcher.reset();
    traceTarget.reset();
    return 0;
}

}  // namespace qv
