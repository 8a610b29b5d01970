// The two objects that the platform calls about sessions, on threads of its
// own. They touch no model object: everything goes to the main thread by a
// posted action, and they hold the manager and the session only weakly.
#pragma once

#include <array>
#include <atomic>
#include <mutex>

#include "core/async.h"
#include "core/trace.h"
#include "platform/audio.h"

namespace qv {

class CAudioSessionManager;
class CAudioSession;

// New sessions of one endpoint.
class CAudioSessionNotification : public IAudioSessionNotification {
public:
    CAudioSessionNotification(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                              const CWeakRefPtr<CAudioSessionManager>& manager);

    HRESULT QueryInterface(const GUID& iid, void** object) override;
    uint32_t AddRef() override;
    uint32_t Release() override;
    HRESULT OnSessionCreated(IAudioSessionControl* newSession) override;

private:
    ~CAudioSessionNotification() override;

    CRefPtr<ITraceFuncCallTarget> m_traceTarget;
    CWeakRefPtr<CAudioSessionManager> m_manager;
    std::atomic<uint32_t> m_count{1};
    std::mutex m_slotLock;
    CWeakRefPtr<CAsyncAction> m_lastPostedAction;
};

// The events of one session.
class CAudioSessionEvents : public IAudioSessionEvents {
public:
    CAudioSessionEvents(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                        const CWeakRefPtr<CAudioSessionManager>& manager, const CWeakRefPtr<CAudioSession>& session);

    HRESULT QueryInterface(const GUID& iid, void** object) override;
    uint32_t AddRef() override;
    uint32_t Release() override;
    HRESULT OnDisplayNameChanged(const wchar_t* newDisplayName, const GUID* eventContext) override;
    HRESULT OnIconPathChanged(const wchar_t* newIconPath, const GUID* eventContext) override;
    HRESULT OnSimpleVolumeChanged(float newVolume, bool newMute, const GUID* eventContext) override;
    HRESULT OnChannelVolumeChanged(uint32_t channelCount, const float* newChannelVolumes, uint32_t changedChannel,
                                   const GUID* eventContext) override;
    HRESULT OnGroupingParamChanged(const GUID& newGroupingParam, const GUID* eventContext) override;
    HRESULT OnStateChanged(AudioSessionState newState) override;
    HRESULT OnSessionDisconnected(AudioSessionDisconnectReason reason) override;

private:
    ~CAudioSessionEvents() override;

    // One slot per event, in the interface's order.
    enum Slot : std::size_t {
        kDisplayName,
        kIconPath,
        kSimpleVolume,
        kChannelVolume,
        kGroupingParam,
        kState,
        kDisconnected,
        kSlotCount
    };
    // Cancels the slot named, then, if manager and session still live, posts
    // the action for the session and keeps it in the event's own slot.
    void Forward(Slot slot, Slot cancelFirst, std::function<void(CAudioSession&)> action);

    CRefPtr<ITraceFuncCallTarget> m_traceTarget;
    std::atomic<uint32_t> m_count{1};
    CWeakRefPtr<CAudioSessionManager> m_manager;
    CWeakRefPtr<CAudioSession> m_session;
    // Each event writes its own slot, but any property event reads the
    // display name's to cancel it, possibly on another platform thread.
    std::mutex m_slotLock;
    std::array<CWeakRefPtr<CAsyncAction>, kSlotCount> m_slots;
};

}  // namespace qv
