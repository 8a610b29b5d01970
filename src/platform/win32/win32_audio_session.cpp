#include "platform/win32/win32_audio_session.h"

#include <algorithm>

#include "platform/win32/win32_co_task_mem.h"
#include "platform/win32/win32_guid.h"
#include "platform/win32/win32_session_callback_adapters.h"

namespace qv {

namespace {

// A call that hands back task-memory text, as a wide string; the text is
// freed whether the call succeeded or not.
template <class Call>
HRESULT ReadText(std::wstring& text, Call call) {
    text.clear();
    CCoTaskMemString value;
    HRESULT hr = call(value.put());
    if (SUCCEEDED(hr)) text = value.ToWide();
    return hr;
}

// Finds the adapter that stands for the model's object, takes it off the
// list and gives it back; null when the object was never registered here.
template <class Adapter, class ModelObject>
CRefPtr<Adapter> TakeRegistration(std::vector<CRefPtr<Adapter>>& registrations, ModelObject* object,
                                  ModelObject* (Adapter::*modelObjectOf)() const) {
    auto found = std::find_if(registrations.begin(), registrations.end(),
                              [&](const CRefPtr<Adapter>& a) { return (a.get()->*modelObjectOf)() == object; });
    if (found == registrations.end()) return nullptr;
    CRefPtr<Adapter> adapter = std::move(*found);
    registrations.erase(found);
    return adapter;
}

}  // namespace

// ---- Session control

CWin32SessionControl::CWin32SessionControl(CRefPtr<::IAudioSessionControl> control) : m_control(std::move(control)) {
    m_control2Result = m_control ? m_control->QueryInterface(__uuidof(::IAudioSessionControl2),
                                                             reinterpret_cast<void**>(m_control2.put()))
                                 : E_POINTER;
    if (SUCCEEDED(m_control2Result) && !m_control2) m_control2Result = E_NOINTERFACE;
}

// Registrations still standing are not undone here: the last reference may
// go inside one of the session's own callbacks, where unregistering would
// wait for that very callback. The platform keeps the adapters it holds.
CWin32SessionControl::~CWin32SessionControl() = default;

HRESULT CWin32SessionControl::GetState(AudioSessionState& state) {
    ::AudioSessionState value = ::AudioSessionStateInactive;
    HRESULT hr = m_control->GetState(&value);
    if (SUCCEEDED(hr)) state = static_cast<AudioSessionState>(value);
    return hr;
}

HRESULT CWin32SessionControl::GetDisplayName(std::wstring& name) {
    return ReadText(name, [&](LPWSTR* text) { return m_control->GetDisplayName(text); });
}

HRESULT CWin32SessionControl::GetIconPath(std::wstring& path) {
    return ReadText(path, [&](LPWSTR* text) { return m_control->GetIconPath(text); });
}

HRESULT CWin32SessionControl::GetGroupingParam(GUID& grouping) {
    ::GUID value{};
    HRESULT hr = m_control->GetGroupingParam(&value);
    if (SUCCEEDED(hr)) grouping = FromWindowsGuid(value);
    return hr;
}

HRESULT CWin32SessionControl::RegisterAudioSessionNotification(IAudioSessionEvents* events) {
    if (!events) return E_POINTER;
    CRefPtr<CWin32SessionEventsAdapter> adapter = MakeRef<CWin32SessionEventsAdapter>(events);
    HRESULT hr = m_control->RegisterAudioSessionNotification(adapter.get());
    if (FAILED(hr)) return hr;
    std::lock_guard lock(m_registrationsLock);
    m_registrations.push_back(std::move(adapter));
    return hr;
}

HRESULT CWin32SessionControl::UnregisterAudioSessionNotification(IAudioSessionEvents* events) {
    CRefPtr<CWin32SessionEventsAdapter> adapter;
    {
        std::lock_guard lock(m_registrationsLock);
        adapter = TakeRegistration(m_registrations, events, &CWin32SessionEventsAdapter::Events);
    }
    if (!adapter) return E_INVALIDARG;
    // Not under the lock: the platform may wait here for a callback that is
    // registering something else on this session.
    return m_control->UnregisterAudioSessionNotification(adapter.get());
}

HRESULT CWin32SessionControl::QueryInterface(CRefPtr<IAudioSessionControl2>& control2) {
    control2 = nullptr;
    if (FAILED(m_control2Result)) return m_control2Result;
    control2 = CRefPtr<IAudioSessionControl2>(this);
    return S_OK;
}

HRESULT CWin32SessionControl::GetSessionIdentifier(std::wstring& id) {
    if (!m_control2) return m_control2Result;
    return ReadText(id, [&](LPWSTR* text) { return m_control2->GetSessionIdentifier(text); });
}

HRESULT CWin32SessionControl::GetSessionInstanceIdentifier(std::wstring& id) {
    if (!m_control2) return m_control2Result;
    return ReadText(id, [&](LPWSTR* text) { return m_control2->GetSessionInstanceIdentifier(text); });
}

HRESULT CWin32SessionControl::GetProcessId(uint32_t& processId) {
    if (!m_control2) return m_control2Result;
    DWORD value = 0;
    HRESULT hr = m_control2->GetProcessId(&value);
    // A session of several processes answers AUDCLNT_S_NO_SINGLE_PROCESS
    // (a success) with the id of one of them: that id is passed on too.
    if (SUCCEEDED(hr)) processId = value;
    return hr;
}

HRESULT CWin32SessionControl::IsSystemSoundsSession() {
    if (!m_control2) return m_control2Result;
    return m_control2->IsSystemSoundsSession();
}

// ---- Session enumerator

HRESULT CWin32SessionEnumerator::GetCount(int32_t& count) {
    int value = 0;
    HRESULT hr = m_sessions->GetCount(&value);
    if (SUCCEEDED(hr)) count = value;
    return hr;
}

HRESULT CWin32SessionEnumerator::GetSession(int32_t index, CRefPtr<IAudioSessionControl>& session) {
    session = nullptr;
    CRefPtr<::IAudioSessionControl> control;
    HRESULT hr = m_sessions->GetSession(index, control.put());
    if (FAILED(hr)) return hr;
    if (!control) return E_POINTER;
    session = MakeRef<CWin32SessionControl>(std::move(control));
    return hr;
}

// ---- Session manager

CWin32SessionManager::CWin32SessionManager(CRefPtr<::IAudioSessionManager2> manager) : m_manager(std::move(manager)) {}

// As for the session control: what is still registered stays with the platform.
CWin32SessionManager::~CWin32SessionManager() = default;

HRESULT CWin32SessionManager::GetSessionEnumerator(CRefPtr<IAudioSessionEnumerator>& enumerator) {
    enumerator = nullptr;
    CRefPtr<::IAudioSessionEnumerator> sessions;
    HRESULT hr = m_manager->GetSessionEnumerator(sessions.put());
    if (FAILED(hr)) return hr;
    if (!sessions) return E_POINTER;
    enumerator = MakeRef<CWin32SessionEnumerator>(std::move(sessions));
    return hr;
}

HRESULT CWin32SessionManager::RegisterSessionNotification(IAudioSessionNotification* notification) {
    if (!notification) return E_POINTER;
    CRefPtr<CWin32SessionNotificationAdapter> adapter = MakeRef<CWin32SessionNotificationAdapter>(notification);
    HRESULT hr = m_manager->RegisterSessionNotification(adapter.get());
    if (FAILED(hr)) return hr;
    std::lock_guard lock(m_registrationsLock);
    m_registrations.push_back(std::move(adapter));
    return hr;
}

HRESULT CWin32SessionManager::UnregisterSessionNotification(IAudioSessionNotification* notification) {
    CRefPtr<CWin32SessionNotificationAdapter> adapter;
    {
        std::lock_guard lock(m_registrationsLock);
        adapter = TakeRegistration(m_registrations, notification, &CWin32SessionNotificationAdapter::Notification);
    }
    if (!adapter) return E_INVALIDARG;
    return m_manager->UnregisterSessionNotification(adapter.get());
}

}  // namespace qv
