#include "sessions/audio_session.h"

#include "classify/audio_session_classifier.h"
#include "core/text.h"
#include "platform/codes.h"
#include "platform/platform.h"
#include "sessions/audio_session_manager.h"
#include "sessions/release_on_main_thread.h"

namespace qv {

namespace {

// Image names of call and meeting applications, tested in this order.
constexpr const wchar_t* kCommunicationApplications[] = {
    L"skype",       L"lync",      L"Teams",           L"msteams", L"g2mstart", L"g2mcomm",
    L"CiscoJabber", L"BlueJeans", L"ciscocollabhost", L"atmgr",   L"Zoom",
};

// Parent ids come from outside; a reused id can make a chain loop. No real
// process tree is this deep.
constexpr int kMaxAncestorWalk = 64;

}  // namespace

CAudioSession::CAudioSession(const std::wstring& endpointId, const CRefPtr<IAudioSessionControl>& control,
                             const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                             const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                             const CRefPtr<CContentClassifierLog>& log)
    : CCommonBase(traceTarget, dispatcher, log), m_endpointId(endpointId), m_control(control) {
    QV_TRACE_SCOPE(L"CAudioSession::CAudioSession");
    CRefPtr<IAudioSessionControl2> control2;
    HRESULT hr = m_control ? m_control->QueryInterface(control2) : E_POINTER;
    if (Failed(hr) || !control2)
        Trace(L"Failed to receive session control interface (2) with error code %i.\n", hr);
    else
        AudioSessionControl2.set(control2);
    // For every session, whatever its process.
    CreateInteropFile();
    AudioSessionManager.Subscribe(this, AudioSessionManager_Handlers());
}

CAudioSession::~CAudioSession() {
    QV_TRACE_SCOPE(L"CAudioSession::~CAudioSession");
    AudioSessionManager.Unsubscribe(this, AudioSessionManager_Handlers());
    AudioSessionControl2.set(nullptr);
}

// Rung 1: a manager gives the session its classifier and events object.
void CAudioSession::CAudioSession_AudioSessionManagerChanged(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSession::AudioSessionManager_Changed");
    CRefPtr<CAudioSessionManager> manager = AudioSessionManager->Lock();
    if (!manager) return;
    CRefPtr<CAudioSessionClassifier> classifier =
        MakeRef<CAudioSessionClassifier>(TraceTarget(), Dispatcher(), Log(), AudioSessionManager.value());
    AudioSessionClassifier.set(classifier);
    classifier->AudioSession.set(CWeakRefPtr<CAudioSession>(this));
    CRefPtr<CAudioSessionEvents> events =
        MakeRef<CAudioSessionEvents>(TraceTarget(), AudioSessionManager.value(), CWeakRefPtr<CAudioSession>(this));
    AudioSessionEvents.set(events);
    manager->AudioDevice.Subscribe(this, AudioSessionManagerAudioDevice_Handlers());
    AudioDevice.Subscribe(this, AudioDevice_Handlers());
}

void CAudioSession::CAudioSession_AudioSessionManagerChanging(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSession::AudioSessionManager_Changing");
    AudioDevice.Unsubscribe(this, AudioDevice_Handlers());
    // A manager already gone leaves events object and classifier in place
    // until this session's destructor.
    CRefPtr<CAudioSessionManager> manager = AudioSessionManager->Lock();
    if (!manager) return;
    manager->AudioDevice.Unsubscribe(this, AudioSessionManagerAudioDevice_Handlers());
    AudioSessionEvents.set(nullptr);
    if (AudioSessionClassifier.value()) AudioSessionClassifier.value()->AudioSession.set(nullptr);
    AudioSessionClassifier.set(nullptr);
}

// Rung 2: the manager's device becomes the session's own.
void CAudioSession::CAudioSession_AudioSessionManagerAudioDeviceChanged(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSession::AudioSessionManagerAudioDevice_Changed");
    auto* manager = static_cast<CAudioSessionManager*>(sender);
    if (manager->AudioDevice.value()) AudioDevice.set(manager->AudioDevice.value());
}

void CAudioSession::CAudioSession_AudioSessionManagerAudioDeviceChanging(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSession::AudioSessionManagerAudioDevice_Changing");
    auto* manager = static_cast<CAudioSessionManager*>(sender);
    if (manager->AudioDevice.value()) AudioDevice.set(nullptr);
}

// Rung 3: a session on a device watches the device's flow.
void CAudioSession::CAudioSession_AudioDeviceChanged(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSession::AudioDevice_Changed", PointerArgument(AudioDevice->get()));
    if (CAudioDevice* device = AudioDevice->get()) device->DataFlow.Subscribe(this, AudioDeviceDataFlow_Handlers());
}

void CAudioSession::CAudioSession_AudioDeviceChanging(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSession::AudioDevice_Changing", PointerArgument(AudioDevice->get()));
    if (CAudioDevice* device = AudioDevice->get()) device->DataFlow.Unsubscribe(this, AudioDeviceDataFlow_Handlers());
}

// Rung 4: a device that has not been bound yet has no flow.
void CAudioSession::CAudioSession_AudioDeviceDataFlowChanged(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSession::AudioDeviceDataFlow_Changed");
    auto* device = static_cast<CAudioDevice*>(sender);
    if (device->DataFlow.value() != EDataFlowUnknown) device->IsActive.Subscribe(this, AudioDeviceIsActive_Handlers());
}

void CAudioSession::CAudioSession_AudioDeviceDataFlowChanging(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSession::AudioDeviceDataFlow_Changing");
    auto* device = static_cast<CAudioDevice*>(sender);
    if (device->DataFlow.value() != EDataFlowUnknown)
        device->IsActive.Unsubscribe(this, AudioDeviceIsActive_Handlers());
}

// Rung 5: only on an active endpoint does the session want its events.
void CAudioSession::CAudioSession_AudioDeviceIsActiveChanged(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSession::AudioDeviceIsActive_Changed");
    if (static_cast<CAudioDevice*>(sender)->IsActive.value())
        AudioSessionEvents.Subscribe(this, AudioSessionEvents_Handlers());
}

void CAudioSession::CAudioSession_AudioDeviceIsActiveChanging(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSession::AudioDeviceIsActive_Changing");
    if (static_cast<CAudioDevice*>(sender)->IsActive.value())
        AudioSessionEvents.Unsubscribe(this, AudioSessionEvents_Handlers());
}

// Rung 6: with its events object, the session takes up its control.
void CAudioSession::CAudioSession_AudioSessionEventsChanged(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSession::AudioSessionEvents_Changed", PointerArgument(AudioSessionEvents->get()));
    if (AudioSessionEvents.value()) AudioSessionControl2.Subscribe(this, AudioSessionControl2_Handlers());
}

void CAudioSession::CAudioSession_AudioSessionEventsChanging(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSession::AudioSessionEvents_Changing", PointerArgument(AudioSessionEvents->get()));
    if (AudioSessionEvents.value()) AudioSessionControl2.Unsubscribe(this, AudioSessionControl2_Handlers());
}

// Rung 7: registration for the session's events.
void CAudioSession::CAudioSession_AudioSessionControl2Changed(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSession::AudioSessionControl2_Changed", PointerArgument(AudioSessionControl2->get()));
    if (!AudioSessionControl2.value()) return;
    Trace(L"Registering audio session notification callback  ...\n");
    HRESULT hr = AudioSessionEvents.value()
                     ? AudioSessionControl2.value()->RegisterAudioSessionNotification(AudioSessionEvents.value().get())
                     : E_POINTER;
    if (Succeeded(hr)) {
        RegisteredAudioSessionNotification.set(true);
        Trace(L"Done.\n");
    } else {
        Trace(L"Failed to register audio session event callback with error code %i.\n", hr);
        RegisteredAudioSessionNotification.set(false);
        // The endpoint went away under the session: rebuild the device.
        if (hr == AUDCLNT_E_DEVICE_INVALIDATED) PostDeviceReset();
    }
    RegisteredAudioSessionNotification.Subscribe(this, RegisteredAudioSessionNotification_Handlers());
}

void CAudioSession::CAudioSession_AudioSessionControl2Changing(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSession::AudioSessionControl2_Changing", PointerArgument(AudioSessionControl2->get()));
    if (!AudioSessionControl2.value()) return;
    CancelPending(PostedDeviceResetAction);
    RegisteredAudioSessionNotification.Unsubscribe(this, RegisteredAudioSessionNotification_Handlers());
    if (!RegisteredAudioSessionNotification.value()) return;
    Trace(L"Unregistering endpoint session callback ...\n");
    HRESULT hr =
        AudioSessionEvents.value()
            ? AudioSessionControl2.value()->UnregisterAudioSessionNotification(AudioSessionEvents.value().get())
            : E_POINTER;
    if (Failed(hr))
        Trace(L"Failed to unregister audio session event callback with error code %i.\n", hr);
    else
        Trace(L"Done.\n");
    RegisteredAudioSessionNotification.set(false);
}

void CAudioSession::PostDeviceReset() {
    CancelPending(PostedDeviceResetAction);
    CRefPtr<CAudioDevice> device = AudioDevice.value();
    PostedDeviceResetAction = CAsyncAction::Post(Dispatcher(), [device](CRefPtr<CAsyncAction>) {
        if (!device || device->IsActive.value()) return;
        CRefPtr<IMMDeviceEnumerator> enumerator = device->DeviceEnumerator.value();
        device->DeviceEnumerator.set(nullptr);
        device->DeviceEnumerator.set(enumerator);
    });
}

// Rung 8: the reads, then the state.
void CAudioSession::CAudioSession_RegisteredAudioSessionNotificationChanged(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSession::RegisteredAudioSessionNotification_Changed");
    if (!RegisteredAudioSessionNotification.value()) return;
    ReadSession();
    // Subscribed last, so that SourceProcessID holds its value before the
    // process is looked up.
    State.Subscribe(this, State_Handlers());
}

void CAudioSession::CAudioSession_RegisteredAudioSessionNotificationChanging(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSession::RegisteredAudioSessionNotification_Changing");
    if (RegisteredAudioSessionNotification.value()) State.Unsubscribe(this, State_Handlers());
}

void CAudioSession::ReadSession() {
    IAudioSessionControl2& control = *AudioSessionControl2.value();
    AudioSessionState state = AudioSessionStateInactive;
    HRESULT hr = control.GetState(state);
    if (Failed(hr)) {
        Trace(L"Failed to receive audio session state with error code %i.\n", hr);
        state = AudioSessionStateInactive;
    }
    State.set(state);
    // The reads go on all the same.
    if (State.value() == AudioSessionStateExpired) PostedSessionRemoval();

    // A read that fails is traced under its name and leaves its property as
    // it was; the others go on.
    const auto readOrTrace = [this](const wchar_t* what, auto value, auto read, auto set) {
        const HRESULT result = read(value);
        if (Failed(result))
            Trace(L"Failed to receive audio session %s with error code %i.\n", what, result);
        else
            set(std::move(value));
    };
    readOrTrace(
        L"process id", uint32_t{0}, [&](uint32_t& id) { return control.GetProcessId(id); },
        [&](uint32_t id) { SourceProcessID.set(id); });
    IsSystemSound.set(control.IsSystemSoundsSession() == S_OK);
    readOrTrace(
        L"instance id", std::wstring(), [&](std::wstring& id) { return control.GetSessionInstanceIdentifier(id); },
        [&](std::wstring id) { InstanceIdentifier.set(WideToUtf8(id)); });
    readOrTrace(
        L"display name", std::wstring(), [&](std::wstring& name) { return control.GetDisplayName(name); },
        [&](std::wstring name) { DisplayName.set(std::move(name)); });
    readOrTrace(
        L"icon path", std::wstring(), [&](std::wstring& path) { return control.GetIconPath(path); },
        [&](std::wstring path) { IconPath.set(std::move(path)); });
    readOrTrace(
        L"grouping param", GUID{}, [&](GUID& grouping) { return control.GetGroupingParam(grouping); },
        [&](GUID grouping) { GroupingParam.set(grouping); });
}

// Rung 9: only an active session has a process.
void CAudioSession::CAudioSession_StateChanged(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSession::State_Changed", std::to_wstring(static_cast<int>(State.value())));
    if (State.value() == AudioSessionStateActive) SourceProcessID.Subscribe(this, SourceProcessID_Handlers());
}

void CAudioSession::CAudioSession_StateChanging(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSession::State_Changing", std::to_wstring(static_cast<int>(State.value())));
    if (State.value() == AudioSessionStateActive) SourceProcessID.Unsubscribe(this, SourceProcessID_Handlers());
}

// Rung 10: the process and its browser. Id 0 is the system's own view.
void CAudioSession::CAudioSession_SourceProcessIDChanged(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSession::SourceProcessID_Changed", std::to_wstring(SourceProcessID.value()));
    if (SourceProcessID.value() == 0) return;
    FindProcesses(SourceProcessID.value());
    // ProcessInfo is already set, so its _Changed runs here.
    ProcessInfo.Subscribe(this, ProcessInfo_Handlers());
}

void CAudioSession::CAudioSession_SourceProcessIDChanging(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSession::SourceProcessID_Changing", std::to_wstring(SourceProcessID.value()));
    if (SourceProcessID.value() == 0) return;
    ProcessInfo.Unsubscribe(this, ProcessInfo_Handlers());
    ProcessInfo.set(nullptr);
}

void CAudioSession::FindProcesses(uint32_t processId) {
    CRefPtr<ITraceFuncCallTarget> trace = TraceTarget();
    auto onMessage = [trace](const wchar_t* text, long) {
        DBG_TRACE* record = TraceRecordOf(trace.get());
        if (TraceEnabled(record)) DBG_TRACE_Print(record, L"%s\n", text);
    };

    CRefPtr<IPlatform> platform = GetPlatform();
    CRefPtr<ISystem> system = platform ? platform->System() : nullptr;
    GUID request{};
    if (system && Succeeded(system->CoCreateGuid(request))) {
        CWeakRefPtr<CAudioSession> weakSession(this);
        CWeakRefPtr<CAudioSessionManager> weakManager = AudioSessionManager.value();
        // Runs on the thread that watches the process: it only posts.
        auto onExit = [weakSession, weakManager, request](CProcessInfo*) {
            CRefPtr<CAudioSessionManager> manager = weakManager.Lock();
            if (!manager) return;
            CRefPtr<IAsyncActionDispatcher> dispatcher = manager->Dispatcher();
            CAsyncAction::Post(dispatcher, [weakSession, request](CRefPtr<CAsyncAction>) {
                CRefPtr<CAudioSession> session = weakSession.Lock();
                // A newer lookup has replaced the one whose process ended.
                if (session && session->ProcessInfoRequestId == request) session->ProcessInfo.set(nullptr);
            });
            // Locked on this thread, it may be held last here by now.
            ReleaseOnMainThread(dispatcher, std::move(manager));
        };
        CRefPtr<CProcessInfo> info =
            CProcessInfo::FromProcessId(trace, Dispatcher(), Log(), processId, onExit, onMessage);
        ProcessInfoRequestId = request;
        ProcessInfo.set(info);
    }

    // The walk starts at the parent: a browser that plays audio itself gets
    // no WebBrowserProcessInfo, its audio child gets the browser. A session
    // that finds no browser keeps the one it had.
    uint32_t parent = CProcessInfo::GetParentProcessId(processId);
    for (int step = 0; parent != 0 && step < kMaxAncestorWalk; ++step) {
        CRefPtr<CProcessInfo> ancestor = CProcessInfo::FromProcessId(trace, Dispatcher(), Log(), parent, {}, onMessage);
        if (!ancestor) break;
        if (ancestor->IsWebBrowser) {
            if (parent != LastWebBrowserProcessId) {
                LastWebBrowserProcessId = parent;
                WebBrowserProcessInfo.set(ancestor);
            }
            break;
        }
        parent = CProcessInfo::GetParentProcessId(parent);
    }
}

// Rung 11: the session joins its process.
void CAudioSession::CAudioSession_ProcessInfoChanged(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSession::ProcessInfo_Changed", PointerArgument(ProcessInfo->get()));
    CProcessInfo* process = ProcessInfo->get();
    if (!process) return;
    process->AudioSessions.Add(CWeakRefPtr<CAudioSession>(this));
    // Only these two: Firefox and Opera are browsers for the ancestor walk
    // but never count here. The two lists differ on purpose.
    if (process->ImageFileName == L"chrome.exe")
        BelongsToBrowser.set(true);
    else if (process->ImageFileName == L"msedge.exe")
        BelongsToBrowser.set(true);
    PostUpdateProcessOpenedMediaFiles(std::chrono::milliseconds(100));
    // Changed lists only; both handlers run at once.
    ProcessOpenedMediaFiles.AddChangedHandler({this, nullptr, ProcessOpenedMediaFiles_Handlers().changed});
    OpenedMediaFilePath.AddChangedHandler({this, nullptr, OpenedMediaFilePath_Handlers().changed});
}

void CAudioSession::CAudioSession_ProcessInfoChanging(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSession::ProcessInfo_Changing", PointerArgument(ProcessInfo->get()));
    CProcessInfo* process = ProcessInfo->get();
    if (!process) return;
    ProcessOpenedMediaFiles.RemoveChangedHandler({this, nullptr, ProcessOpenedMediaFiles_Handlers().changed});
    OpenedMediaFilePath.RemoveChangedHandler({this, nullptr, OpenedMediaFilePath_Handlers().changed});
    process->AudioSessions.Remove(CWeakRefPtr<CAudioSession>(this));
    BelongsToBrowser.set(false);
    // What the file told stays: stream facts, video flag and samples keep
    // describing the last file until a new one replaces them.
    ProcessOpenedMediaFiles.set(nullptr);
    OpenedMediaFilePath.set(std::wstring());
}

bool CAudioSession::IsCommunicationApplication() const {
    const CProcessInfo* process = ProcessInfo->get();
    if (!process) return false;
    for (const wchar_t* name : kCommunicationApplications)
        if (StartsWithNoCase(process->ImageName, name)) return true;
    return false;
}

void CAudioSession::OnStateChanged() {
    QV_TRACE_SCOPE(L"CAudioSession::OnStateChanged");
    if (!AudioSessionControl2.value()) {
        Trace(L"Audio session control interace is desiposed.\n");
        return;
    }
    AudioSessionState state = AudioSessionStateInactive;
    HRESULT hr = AudioSessionControl2.value()->GetState(state);
    if (Failed(hr)) {
        Trace(L"Failed to read audio session state with error code %i.\n", hr);
        return;
    }
    State.set(state);
    if (State.value() == AudioSessionStateExpired) PostedSessionRemoval();
}

void CAudioSession::OnDisconnected(AudioSessionDisconnectReason) {
    QV_TRACE_SCOPE(L"CAudioSession::OnDisconnected");
    PostedSessionRemoval();
}

void CAudioSession::PostedSessionRemoval() {
    CRefPtr<CAudioSessionManager> manager = AudioSessionManager->Lock();
    if (!manager) return;
    CWeakRefPtr<CAudioSession> weak(this);
    CAsyncAction::Post(Dispatcher(), [weak, manager](CRefPtr<CAsyncAction>) {
        CRefPtr<CAudioSession> session = weak.Lock();
        if (!session) return;
        // A session that is gone already is no fault.
        int32_t index = manager->audioSessions.IndexOf(session);
        if (index >= 0) manager->audioSessions.RemoveAt(static_cast<std::size_t>(index));
    });
}

}  // namespace qv
