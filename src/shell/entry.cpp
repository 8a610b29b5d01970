#include "shell/entry.h"

#include <atomic>

#include "classify/content_classifier_log.h"
#include "classify/content_discrimination.h"
#include "core/async.h"
#include "core/text.h"
#include "core/trace.h"
#include "devices/audio_device_manager.h"
#include "platform/platform.h"
#include "platform/portable_message_loop.h"
#include "platform/thread_id.h"
#include "sessions/process_info.h"
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

    // The plug-in is optional; without it the rules decide alone.
    LoadContentDiscrimination({});

    // The trace comes first and goes last: every other object holds it.
    CRefPtr<ITraceFuncCallTarget> traceTarget = MakeRef<CTraceFuncCallTarget>();
    DBG_TRACE* trace = traceTarget->GetTrace();
    trace->Enabled.store(DBG_TRACE_Start(trace));
    DBG_TRACE_SetName(trace);

    CMainLoop mainLoop(platform->CreateMessageLoop());
    CRefPtr<IAsyncActionDispatcher> dispatcher = MakeRef<CAsyncActionDispatcher>(mainLoop.PostingFunction());
    CRefPtr<CContentClassifierLog> log = MakeRef<CContentClassifierLog>(traceTarget);
    CRefPtr<CAudioDeviceManager> deviceManager =
        MakeRef<CAudioDeviceManager>(traceTarget, dispatcher, hostPipeName, log);
    deviceManager->Initialize(endpointIds);

    if (TraceEnabled(trace)) {
        DBG_TRACE_Print(trace, L"Started on the %s platform, process id %i.\n", platform->Name(),
                        platform->System() ? platform->System()->GetCurrentProcessId() : 0u);
        DBG_TRACE_Print(trace, L"Host pipe name: %s.\n", Utf8ToWide(hostPipeName));
        for (const std::string& id : endpointIds) DBG_TRACE_Print(trace, L"Endpoint id: %s.\n", Utf8ToWide(id));
    }

    if (hooks.graphReady) hooks.graphReady(deviceManager.get());
    if (hooks.loopReady) hooks.loopReady(mainLoop.Loop());
    if (TraceEnabled(trace)) DBG_TRACE_Print(trace, L"Entering the message loop.\n");
    std::size_t dispatched = mainLoop.Run();
    if (TraceEnabled(trace)) {
        DBG_TRACE_Print(trace, L"The message loop has ended after %i messages; stopping.\n",
                        static_cast<int>(dispatched));
    }

    // Model objects tear themselves down in their destructors, each still
    // holding its trace.
    if (hooks.graphReady) hooks.graphReady(nullptr);
    deviceManager.reset();
    log.reset();
    dispatcher.reset();
    traceTarget.reset();
    // What was posted during the tear-down will never run, and a queued
    // function may hold the model, which holds the loop through its
    // dispatcher: drop it so that the circle goes. Where the loop is the
    // system's own thread queue (Windows), it goes with the thread.
    if (auto* portable = dynamic_cast<CPortableMessageLoop*>(mainLoop.Loop().get())) portable->Close();
    // Processes looked up without an exit watch stay cached to the end.
    CProcessInfo::ClearCache();
    UnloadContentDiscrimination();
    return 0;
}

}  // namespace qv
