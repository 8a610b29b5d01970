#include "sessions/audio_session_callbacks.h"

#include <vector>

#include "platform/codes.h"
#include "sessions/audio_session.h"
#include "sessions/audio_session_manager.h"
#include "sessions/release_on_main_thread.h"

namespace qv {

CAudioSessionNotification::CAudioSessionNotification(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                                                     const CWeakRefPtr<CAudioSessionManager>& manager)
    : m_traceTarget(traceTarget), m_manager(manager) {}

CAudioSessionNotification::~CAudioSessionNotification() {
    std::lock_guard lock(m_slotLock);
    CancelPending(m_lastPostedAction);
}

HRESULT CAudioSessionNotification::QueryInterface(const GUID& iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (iid != IID_IUnknown && iid != IID_IAudioSessionNotification) return E_NOINTERFACE;
    AddRef();
    *object = static_cast<IAudioSessionNotification*>(this);
    return S_OK;
}

uint32_t CAudioSessionNotification::AddRef() { return m_count.fetch_add(1) + 1; }

uint32_t CAudioSessionNotification::Release() {
    uint32_t remaining = m_count.fetch_sub(1) - 1;
    if (remaining == 0) delete this;
    return remaining;
}

HRESULT CAudioSessionNotification::OnSessionCreated(IAudioSessionControl* newSession) {
    CTraceFuncCall scope(TraceRecordOf(m_traceTarget.get()), L"CAudioSessionNotification::OnSessionCreated");
    if (!newSession) return S_OK;
    // Asked for its own sake: the platform brings the session up to date.
    AudioSessionState ignored = AudioSessionStateInactive;
    newSession->GetState(ignored);
    CRefPtr<CAudioSessionManager> manager = m_manager.Lock();
    if (!manager) return S_OK;
    CRefPtr<IAudioSessionControl> control(newSession);
    CRefPtr<IAsyncActionDispatcher> dispatcher = manager->Dispatcher();
    CRefPtr<CAsyncAction> action = CAsyncAction::Post(
        dispatcher, [manager, control](CRefPtr<CAsyncAction>) { manager->OnNewAudioSessionControl(control); });
    {
        // Overwritten, not cancelled: every new session must arrive.
        std::lock_guard lock(m_slotLock);
        m_lastPostedAction = action;
    }
    ReleaseOnMainThread(dispatcher, std::move(action), std::move(manager));
    return S_OK;
}

CAudioSessionEvents::CAudioSessionEvents(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                                         const CWeakRefPtr<CAudioSessionManager>& manager,
                                         const CWeakRefPtr<CAudioSession>& session)
    : m_traceTarget(traceTarget), m_manager(manager), m_session(session) {}

CAudioSessionEvents::~CAudioSessionEvents() {
    std::lock_guard lock(m_slotLock);
    for (const auto& slot : m_slots) CancelPending(slot);
}

HRESULT CAudioSessionEvents::QueryInterface(const GUID& iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (iid != IID_IUnknown && iid != IID_IAudioSessionEvents) return E_NOINTERFACE;
    AddRef();
    *object = static_cast<IAudioSessionEvents*>(this);
    return S_OK;
}

uint32_t CAudioSessionEvents::AddRef() { return m_count.fetch_add(1) + 1; }

uint32_t CAudioSessionEvents::Release() {
    uint32_t remaining = m_count.fetch_sub(1) - 1;
    if (remaining == 0) delete this;
    return remaining;
}

void CAudioSessionEvents::Forward(Slot slot, Slot cancelFirst, std::function<void(CAudioSession&)> action) {
    {
        std::lock_guard lock(m_slotLock);
        CancelPending(m_slots[cancelFirst]);
    }
    CRefPtr<CAudioSessionManager> manager = m_manager.Lock();
    CRefPtr<CAudioSession> session = m_session.Lock();
    if (!manager || !session) {
        CRefPtr<IAsyncActionDispatcher> dispatcher = manager   ? manager->Dispatcher()
                                                     : session ? session->Dispatcher()
                                                               : nullptr;
        ReleaseOnMainThread(dispatcher, std::move(manager), std::move(session));
        return;
    }
    CRefPtr<IAsyncActionDispatcher> dispatcher = manager->Dispatcher();
    // The action lets go of the session as it runs, so that wherever the
    // action itself ends (a later event may cancel it, and so hold it last),
    // the session is not among what goes with it.
    CRefPtr<CAsyncAction> posted = CAsyncAction::Post(dispatcher, [session, action](CRefPtr<CAsyncAction>) mutable {
        CRefPtr<CAudioSession> target = std::move(session);
        action(*target);
    });
    {
        std::lock_guard lock(m_slotLock);
        m_slots[slot] = posted;
    }
    ReleaseOnMainThread(dispatcher, std::move(posted), std::move(session), std::move(manager));
}

// A pending display name is dropped by any property event that follows it,
// while no other property action is cancelled by its own repeat: two quick
// volume events both take effect, a name followed at once by a volume is lost.
HRESULT CAudioSessionEvents::OnDisplayNameChanged(const wchar_t* newDisplayName, const GUID*) {
    std::wstring name = newDisplayName ? newDisplayName : L"";
    Forward(kDisplayName, kDisplayName, [name](CAudioSession& s) { s.DisplayName.set(name); });
    return S_OK;
}

HRESULT CAudioSessionEvents::OnIconPathChanged(const wchar_t* newIconPath, const GUID*) {
    std::wstring path = newIconPath ? newIconPath : L"";
    Forward(kIconPath, kDisplayName, [path](CAudioSession& s) { s.IconPath.set(path); });
    return S_OK;
}

HRESULT CAudioSessionEvents::OnSimpleVolumeChanged(float newVolume, bool, const GUID*) {
    Forward(kSimpleVolume, kDisplayName, [newVolume](CAudioSession& s) { s.Volume.set(newVolume); });
    return S_OK;
}

HRESULT CAudioSessionEvents::OnChannelVolumeChanged(uint32_t channelCount, const float* newChannelVolumes, uint32_t,
                                                    const GUID*) {
    std::vector<float> volumes;
    if (newChannelVolumes) volumes.assign(newChannelVolumes, newChannelVolumes + channelCount);
    Forward(kChannelVolume, kDisplayName, [volumes](CAudioSession& s) { s.ChannelVolume.set(volumes); });
    return S_OK;
}

HRESULT CAudioSessionEvents::OnGroupingParamChanged(const GUID& newGroupingParam, const GUID*) {
    GUID grouping = newGroupingParam;
    Forward(kGroupingParam, kDisplayName, [grouping](CAudioSession& s) { s.GroupingParam.set(grouping); });
    return S_OK;
}

HRESULT CAudioSessionEvents::OnStateChanged(AudioSessionState) {
    Forward(kState, kState, [](CAudioSession& s) { s.OnStateChanged(); });
    return S_OK;
}

HRESULT CAudioSessionEvents::OnSessionDisconnected(AudioSessionDisconnectReason reason) {
    Forward(kDisconnected, kDisconnected, [reason](CAudioSession& s) { s.OnDisconnected(reason); });
    return S_OK;
}

}  // namespace qv
