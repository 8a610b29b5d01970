// The session side of Core Audio behind the model's interfaces:
// IAudioSessionManager2, IAudioSessionEnumerator and the session control.
// Each call goes to the platform's object as it is, and every string that
// comes back in task memory is freed here.
//
// Callback objects are wrapped in adapters (win32_session_callback_adapters.h);
// the object they were registered through remembers which adapter stands for
// which of the model's objects, so that the unregistration hands the
// platform the very object it was given. Unregistering an object that was
// never registered here answers E_INVALIDARG without a call.
#pragma once

#include <mutex>
#include <utility>
#include <vector>

#include "core/ref.h"
#include "platform/audio.h"
#include "platform/win32/windows_api.h"

#include <audiopolicy.h>

namespace qv {

class CWin32SessionEventsAdapter;
class CWin32SessionNotificationAdapter;

// One session. The platform's IAudioSessionControl2 is asked for when the
// object is made, so that QueryInterface gives this same object, with the
// same registrations, rather than a second one.
class CWin32SessionControl : public CAddReleaseRef, public IAudioSessionControl2 {
public:
    explicit CWin32SessionControl(CRefPtr<::IAudioSessionControl> control);
    ~CWin32SessionControl() override;

    HRESULT GetState(AudioSessionState& state) override;
    HRESULT GetDisplayName(std::wstring& name) override;
    HRESULT GetIconPath(std::wstring& path) override;
    HRESULT GetGroupingParam(GUID& grouping) override;
    HRESULT RegisterAudioSessionNotification(IAudioSessionEvents* events) override;
    HRESULT UnregisterAudioSessionNotification(IAudioSessionEvents* events) override;
    // This object if the session has the second interface, else the
    // platform's answer to that question.
    HRESULT QueryInterface(CRefPtr<IAudioSessionControl2>& control2) override;
    // The calls below fail with that answer when the session lacks it.
    HRESULT GetSessionIdentifier(std::wstring& id) override;
    HRESULT GetSessionInstanceIdentifier(std::wstring& id) override;
    HRESULT GetProcessId(uint32_t& processId) override;
    HRESULT IsSystemSoundsSession() override;

private:
    const CRefPtr<::IAudioSessionControl> m_control;
    CRefPtr<::IAudioSessionControl2> m_control2;
    ::HRESULT m_control2Result;
    std::mutex m_registrationsLock;
    std::vector<CRefPtr<CWin32SessionEventsAdapter>> m_registrations;
};

class CWin32SessionEnumerator : public CAddReleaseRef, public IAudioSessionEnumerator {
public:
    explicit CWin32SessionEnumerator(CRefPtr<::IAudioSessionEnumerator> sessions) : m_sessions(std::move(sessions)) {}
    HRESULT GetCount(int32_t& count) override;
    HRESULT GetSession(int32_t index, CRefPtr<IAudioSessionControl>& session) override;

private:
    const CRefPtr<::IAudioSessionEnumerator> m_sessions;
};

class CWin32SessionManager : public CAddReleaseRef, public IAudioSessionManager2 {
public:
    explicit CWin32SessionManager(CRefPtr<::IAudioSessionManager2> manager);
    ~CWin32SessionManager() override;

    HRESULT GetSessionEnumerator(CRefPtr<IAudioSessionEnumerator>& enumerator) override;
    HRESULT RegisterSessionNotification(IAudioSessionNotification* notification) override;
    HRESULT UnregisterSessionNotification(IAudioSessionNotification* notification) override;

private:
    const CRefPtr<::IAudioSessionManager2> m_manager;
    std::mutex m_registrationsLock;
    std::vector<CRefPtr<CWin32SessionNotificationAdapter>> m_registrations;
};

}  // namespace qv
