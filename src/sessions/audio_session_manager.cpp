#include "sessions/audio_session_manager.h"

#include "platform/codes.h"
#include "sessions/audio_session.h"

namespace qv {

CAudioSessionManager::CAudioSessionManager(const std::wstring& endpointId,
                                           const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                                           const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                                           const CRefPtr<CContentClassifierLog>& log)
    : CCommonBase(traceTarget, dispatcher, log), m_endpointId(endpointId) {
    QV_TRACE_SCOPE(L"CAudioSessionManager::CAudioSessionManager");
    AudioDevice.Subscribe(this, AudioDevice_Handlers());
}

CAudioSessionManager::~CAudioSessionManager() {
    QV_TRACE_SCOPE(L"CAudioSessionManager::~CAudioSessionManager");
    AudioDevice.Unsubscribe(this, AudioDevice_Handlers());
}

// Rung 1: the device.
void CAudioSessionManager::CAudioSessionManager_AudioDeviceChanged(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSessionManager::AudioDevice_Changed", PointerArgument(AudioDevice->get()));
    if (CAudioDevice* device = AudioDevice->get()) device->IsActive.Subscribe(this, AudioDeviceIsActive_Handlers());
}

void CAudioSessionManager::CAudioSessionManager_AudioDeviceChanging(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSessionManager::AudioDevice_Changing", PointerArgument(AudioDevice->get()));
    if (CAudioDevice* device = AudioDevice->get()) device->IsActive.Unsubscribe(this, AudioDeviceIsActive_Handlers());
}

// Rung 2: nothing is asked of an endpoint that is not active.
void CAudioSessionManager::CAudioSessionManager_AudioDeviceIsActiveChanged(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSessionManager::AudioDeviceIsActive_Changed");
    auto* device = static_cast<CAudioDevice*>(sender);
    if (!device->IsActive.value()) return;
    CRefPtr<CAudioSessionNotification> notification =
        MakeRef<CAudioSessionNotification>(TraceTarget(), CWeakRefPtr<CAudioSessionManager>(this));
    m_sessionNotification = notification;

    Trace(L"Instantiating audio session manager ...\n");
    CRefPtr<IAudioSessionManager2> manager2;
    HRESULT hr = device->MMDevice.value()
                     ? device->MMDevice.value()->Activate(IID_IAudioSessionManager2, CLSCTX_ALL, manager2)
                     : E_POINTER;
    if (Failed(hr) || !manager2) {
        Trace(L"Failed to activate audio session manager with error code %i.\n", hr);
    } else {
        AudioSessionManager2.set(manager2);
        Trace(L"Done.\n");
    }
    // Also after a failure: the handler then finds null and stops.
    AudioSessionManager2.Subscribe(this, AudioSessionManager2_Handlers());
}

void CAudioSessionManager::CAudioSessionManager_AudioDeviceIsActiveChanging(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSessionManager::AudioDeviceIsActive_Changing");
    auto* device = static_cast<CAudioDevice*>(sender);
    if (!device->IsActive.value()) return;
    AudioSessionManager2.Unsubscribe(this, AudioSessionManager2_Handlers());
    AudioSessionManager2.set(nullptr);
    m_sessionNotification = nullptr;
}

// Rung 3: the activated manager gives the enumerator of its sessions.
void CAudioSessionManager::CAudioSessionManager_AudioSessionManager2Changed(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSessionManager::AudioSessionManager2_Changed", PointerArgument(AudioSessionManager2->get()));
    if (!AudioSessionManager2.value()) return;
    Trace(L"Retrieving audio session enumerator  ...\n");
    CRefPtr<IAudioSessionEnumerator> enumerator;
    HRESULT hr = AudioSessionManager2.value()->GetSessionEnumerator(enumerator);
    if (Failed(hr) || !enumerator) {
        Trace(L"Failed to receive audio session enumerator with error code %i.\n", hr);
    } else {
        AudioSessionEnumerator.set(enumerator);
        Trace(L"Done.\n");
    }
    AudioSessionEnumerator.Subscribe(this, AudioSessionEnumerator_Handlers());
}

void CAudioSessionManager::CAudioSessionManager_AudioSessionManager2Changing(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSessionManager::AudioSessionManager2_Changing",
                   PointerArgument(AudioSessionManager2->get()));
    if (!AudioSessionManager2.value()) return;
    AudioSessionEnumerator.Unsubscribe(this, AudioSessionEnumerator_Handlers());
    AudioSessionEnumerator.set(nullptr);
}

// Rung 4, in a required order: enumerate, register, then subscribe, whose
// replay hands the enumerated sessions their manager. A session created
// between enumeration and registration is not seen until the next rebuild;
// one both enumerated and reported gets two objects.
void CAudioSessionManager::CAudioSessionManager_AudioSessionEnumeratorChanged(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSessionManager::AudioSessionEnumerator_Changed",
                   PointerArgument(AudioSessionEnumerator->get()));
    if (!AudioSessionEnumerator.value()) return;
    IAudioSessionEnumerator& enumerator = *AudioSessionEnumerator.value();
    Trace(L"Receiving list of active audio sessions ...\n");
    int32_t count = 0;
    HRESULT hr = enumerator.GetCount(count);
    if (Failed(hr)) {
        Trace(L"Failed to receive number of audio sessions with error code %i.\n", hr);
    } else {
        for (int32_t i = 0; i < count; ++i) {
            CRefPtr<IAudioSessionControl> control;
            hr = enumerator.GetSession(i, control);
            if (Failed(hr) || !control) {
                Trace(L"Failed to access session control interface with error code %i.\n", hr);
                continue;
            }
            OnNewAudioSessionControl(control);
        }
    }

    Trace(L"Registering audio session notification callback  ...\n");
    hr = AudioSessionManager2.value() && m_sessionNotification
             ? AudioSessionManager2.value()->RegisterSessionNotification(m_sessionNotification.get())
             : E_POINTER;
    if (Failed(hr))
        Trace(L"Failed to register audio session notification callback with error code %i.\n", hr);
    else
        Trace(L"Done.\n");

    audioSessions.Subscribe(this, audioSessions_CollectionHandlers());
}

void CAudioSessionManager::CAudioSessionManager_AudioSessionEnumeratorChanging(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSessionManager::AudioSessionEnumerator_Changing",
                   PointerArgument(AudioSessionEnumerator->get()));
    if (!AudioSessionEnumerator.value()) return;
    if (m_sessionNotification) {
        Trace(L"Unregistering endpoint session callback ...\n");
        HRESULT hr = AudioSessionManager2.value()
                         ? AudioSessionManager2.value()->UnregisterSessionNotification(m_sessionNotification.get())
                         : E_POINTER;
        if (Failed(hr))
            Trace(L"Failed to unregister audio session notification callback with error code %i.\n", hr);
        else
            Trace(L"Done.\n");
    }
    // From the end: take the last item and remove the first index that
    // holds it.
    while (!audioSessions.empty()) {
        CRefPtr<CAudioSession> last = audioSessions.items().back();
        audioSessions.RemoveAt(static_cast<std::size_t>(audioSessions.IndexOf(last)));
    }
    audioSessions.Unsubscribe(this, audioSessions_CollectionHandlers());
}

void CAudioSessionManager::OnNewAudioSessionControl(const CRefPtr<IAudioSessionControl>& control) {
    QV_TRACE_SCOPE(L"CAudioSessionManager::OnNewAudioSessionControl");
    CRefPtr<CAudioSession> session = MakeRef<CAudioSession>(m_endpointId, control, TraceTarget(), Dispatcher(), Log());
    if (!audioSessions.Contains(session)) audioSessions.Add(session);
}

void CAudioSessionManager::audioSessions_ItemAdded(const CRefPtr<CAudioSession>& session, int32_t) {
    QV_TRACE_SCOPE(L"CAudioSessionManager::audioSessions_ItemAdded", PointerArgument(session.get()));
    session->AudioSessionManager.set(CWeakRefPtr<CAudioSessionManager>(this));
    session->State.Subscribe(this, audioSessionState_Handlers());
}

void CAudioSessionManager::audioSessions_ItemRemoved(const CRefPtr<CAudioSession>& session, int32_t) {
    QV_TRACE_SCOPE(L"CAudioSessionManager::audioSessions_ItemRemoved", PointerArgument(session.get()));
    // An active session leaves activeAudioSessions here, before the
    // subscribers of audioSessions hear of its removal.
    session->State.Unsubscribe(this, audioSessionState_Handlers());
    session->AudioSessionManager.set(nullptr);
}

// Traced under the classifier's name: the watchers of the trace know these
// lines by it.
void CAudioSessionManager::CAudioSessionManager_audioSessionStateChanged(void* sender, CallbackCallReason) {
    CTraceFuncCall scope(TraceRecord(), L"CContentClassifier::audioSessionState_Changed");
    auto* session = static_cast<CAudioSession*>(sender);
    const AudioSessionState state = session->State.value();
    if (state == AudioSessionStateActive) {
        CTraceFuncCall inner(TraceRecord(), L"CAudioSession::_audioSession->State_Changed",
                             std::to_wstring(static_cast<int>(state)));
        Trace(L"AudioSessionState::AudioSessionStateActive\n");
        CRefPtr<CAudioSession> held(session);
        if (audioSessions.Contains(held) && !activeAudioSessions.Contains(held)) {
            activeAudioSessions.Add(held);
            session->WebBrowserProcessInfo.Subscribe(this, audioSessionWebBrowserProcessInfo_Handlers());
        }
    } else if (state == AudioSessionStateExpired) {
        Trace(L"AudioSessionState::AudioSessionStateExpired\n");
        CWeakRefPtr<CAudioSessionManager> weak(this);
        CRefPtr<CAudioSession> held(session);
        CAsyncAction::Post(Dispatcher(), [weak, held](CRefPtr<CAsyncAction>) {
            if (CRefPtr<CAudioSessionManager> manager = weak.Lock()) {
                int32_t index = manager->audioSessions.IndexOf(held);
                if (index >= 0) manager->audioSessions.RemoveAt(static_cast<std::size_t>(index));
            }
        });
    }
}

void CAudioSessionManager::CAudioSessionManager_audioSessionStateChanging(void* sender, CallbackCallReason) {
    CTraceFuncCall scope(TraceRecord(), L"CContentClassifier::audioSessionState_Changing");
    auto* session = static_cast<CAudioSession*>(sender);
    if (session->State.value() != AudioSessionStateActive) return;
    CTraceFuncCall inner(TraceRecord(), L"CAudioSession::_audioSession->State_Changed",
                         std::to_wstring(static_cast<int>(session->State.value())));
    Trace(L"AudioSessionState::AudioSessionStateActive\n");
    CRefPtr<CAudioSession> held(session);
    // It leaves while its State still reads active; that is what the
    // subscribers of the active list see.
    if (activeAudioSessions.Contains(held)) {
        session->WebBrowserProcessInfo.Unsubscribe(this, audioSessionWebBrowserProcessInfo_Handlers());
        activeAudioSessions.Remove(held);
    }
}

void CAudioSessionManager::CAudioSessionManager_audioSessionWebBrowserProcessInfoChanged(void* sender,
                                                                                         CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSessionManager::audioSessionWebBrowserProcessInfo_Changed");
    auto* session = static_cast<CAudioSession*>(sender);
    if (session->WebBrowserProcessInfo.value()) webBrowserAudioSessions.Add(CRefPtr<CAudioSession>(session));
}

void CAudioSessionManager::CAudioSessionManager_audioSessionWebBrowserProcessInfoChanging(void* sender,
                                                                                          CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSessionManager::audioSessionWebBrowserProcessInfo_Changing");
    auto* session = static_cast<CAudioSession*>(sender);
    if (session->WebBrowserProcessInfo.value()) webBrowserAudioSessions.Remove(CRefPtr<CAudioSession>(session));
}

}  // namespace qv
