#include "shell/entry.h"

#include <atomic>
#include <optional>
#include <stdexcept>

#include "classify/content_classifier_log.h"
#include "classify/content_discrimination.h"
#include "core/async.h"
#include "core/text.h"
#include "core/trace.h"
#include "devices/audio_device_manager.h"
#include "platform/platform.h"
#include "platform/thread_id.h"
#include "sessions/process_info.h"
#include "shell/allowed_extension_ids.h"
#include "shell/arguments.h"
#include "shell/exit_watcher.h"
#include "shell/main_loop.h"
#include "shell/named_mutex.h"
#include "shell/native_host_registration.h"

namespace qv {

namespace {

std::atomic<uint32_t> g_mainThreadId{0};
// Written once, on the main thread, before the object graph exists; read by
// the model on the same thread afterwards.
std::set<std::string> g_allowedExtensionIds;

// The host's name, and where each browser that is told of it keeps its hosts.
constexpr const wchar_t* kNativeHostName = L"com.quorvane.contentclassifier";
constexpr const wchar_t* kChromeHostsRoot = L"SOFTWARE\\Google\\Chrome\\NativeMessagingHosts";
constexpr const wchar_t* kEdgeHostsRoot = L"SOFTWARE\\Microsoft\\Edge\\NativeMessagingHosts";

// The object graph, built from its single root on the main thread. The
// members go in the reverse order of their creation: the device manager
// first, the trace target last, since every other object holds it.
struct ObjectGraph {
    CRefPtr<ITraceFuncCallTarget> traceTarget;
    CRefPtr<IAsyncActionDispatcher> dispatcher;
    CRefPtr<CContentClassifierLog> log;
    CRefPtr<CAudioDeviceManager> deviceManager;

    // Model objects tear themselves down in their destructors, each still
    // holding its trace. What was posted during the tear-down will never
    // run, and a queued function may hold the model, which holds the loop
    // through its dispatcher: closing the loop frees it so that the circle
    // goes.
    void Release(IMessageLoop& loop) {
        deviceManager.reset();
        log.reset();
        dispatcher.reset();
        traceTarget.reset();
        loop.Close();
        // Processes looked up without an exit watch stay cached to the end.
        CProcessInfo::ClearCache();
    }
};

void TraceStart(DBG_TRACE* trace, IPlatform& platform, const std::string& hostPipeName,
                const std::vector<std::string>& endpointIds) {
    if (!TraceEnabled(trace)) return;
    DBG_TRACE_Print(trace, L"Started on the %s platform, process id %i.\n", platform.Name(),
                    platform.System() ? platform.System()->GetCurrentProcessId() : 0u);
    DBG_TRACE_Print(trace, L"Host pipe name: %s.\n", Utf8ToWide(hostPipeName));
    for (const std::string& id : endpointIds) DBG_TRACE_Print(trace, L"Endpoint id: %s.\n", Utf8ToWide(id));
}

}  // namespace

uint32_t MainThreadId() { return g_mainThreadId.load(); }

const std::set<std::string>& AllowedExtensionIds() { return g_allowedExtensionIds; }

int RunContentClassifier(const std::vector<std::string>& arguments, const EntryHooks& hooks) {
    g_mainThreadId.store(CurrentThreadId());
    CRefPtr<IPlatform> platform = GetPlatform();
    if (!platform) return -1;
    CRefPtr<ISystem> system = platform->System();
    if (!system) return -1;

    ArgumentTable table = ParseArguments(arguments);

    // Alone, or not at all: another instance's marker means this start ends
    // here, before anything is brought up or registered. Creating the marker
    // may fail; the process then runs unguarded.
    CNamedMutex instanceMutex(nullptr);
    if (instanceMutex.Open(kInstanceMutexName)) return -1;
    instanceMutex.Create();

    // The results are not looked at: what fails here shows later, where it
    // matters.
    system->CoInitializeEx();
    system->LookUpNtdllFunctions();
    system->MFStartup();

    std::string hostPipeName = ArgumentValue(table, kHostPipeNameKey);
    std::vector<std::string> endpointIds = SplitEndpointIds(ArgumentValue(table, kEndpointIdKey));

    // The add-ons that may speak to the native host, from the same template
    // that the registration writes out; without it both find nothing.
    g_allowedExtensionIds = ReadAllowedExtensionIds();
    RegisterNativeHost(kChromeHostsRoot, kNativeHostName);
    RegisterNativeHost(kEdgeHostsRoot, kNativeHostName);

    // The plug-in is optional; without it the rules decide alone.
    LoadContentDiscrimination({});
    // The vendor's library is loaded now, as an imported library would be:
    // the trace says at start whether the toasts can ever be offered, not
    // hours later at the first offer.
    platform->VendorApi();

    // The store interfaces need the apartment; without it nothing of the
    // program can work, so a failure ends the process.
    if (system->CoInitializeEx() < 0) throw std::runtime_error("the run-time apartment could not be initialised");

    ObjectGraph graph;
    graph.traceTarget = MakeRef<CTraceFuncCallTarget>();
    DBG_TRACE* trace = graph.traceTarget->GetTrace();
    trace->Enabled.store(DBG_TRACE_Start(trace));
    DBG_TRACE_SetName(trace);

    CMainLoop mainLoop(platform->CreateMessageLoop());
    graph.dispatcher = MakeRef<CAsyncActionDispatcher>(mainLoop.PostingFunction());
    graph.log = MakeRef<CContentClassifierLog>(graph.traceTarget);
    graph.deviceManager = MakeRef<CAudioDeviceManager>(graph.traceTarget, graph.dispatcher, hostPipeName, graph.log);
    graph.deviceManager->Initialize(endpointIds);
    TraceStart(trace, *platform, hostPipeName, endpointIds);

    // The starter's exit token. A name that cannot be opened (a wrong one, or
    // a starter that has gone already) ends the process at once, after the
    // graph has been built and is now released again; COM and the plug-in
    // are left as they are on that path.
    std::optional<CNamedMutex> exitMutex;
    CExitWatcher exitWatcher;
    const std::string exitMutexGuid = ArgumentValue(table, kExitMutexGuidKey);
    if (!exitMutexGuid.empty()) {
        exitMutex.emplace(nullptr);
        if (!exitMutex->Open(Utf8ToWide(exitMutexGuid))) {
            exitMutex.reset();
            graph.Release(*mainLoop.Loop());
            return -1;
        }
        // The open succeeded, so the platform has its sync port.
        exitWatcher.Start(platform->Sync(), exitMutex->Handle(), mainLoop.Loop());
    }

    if (hooks.graphReady) hooks.graphReady(graph.deviceManager.get());
    if (hooks.loopReady) hooks.loopReady(mainLoop.Loop());
    if (TraceEnabled(trace)) DBG_TRACE_Print(trace, L"Entering the message loop.\n");
    const std::size_t dispatched = mainLoop.Run([&] { return exitWatcher.Ended(); });
    if (TraceEnabled(trace)) {
        DBG_TRACE_Print(trace, L"The message loop has ended after %i messages; stopping.\n",
                        static_cast<int>(dispatched));
    }

    if (hooks.graphReady) hooks.graphReady(nullptr);
    exitMutex.reset();
    graph.Release(*mainLoop.Loop());
    exitWatcher.Stop();
    system->CoUninitialize();
    UnloadContentDiscrimination();
    return 0;
}

}  // namespace qv
