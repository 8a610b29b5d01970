// One running process: its id, times and image names, whether it is a web
// browser, and whether it uses the microphone. Objects are shared process-wide
// by process id and creation time, so a capture session and a render session
// of one process meet here: that is how the classifier of an output learns
// that its process is in a call.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <tuple>

#include "core/common_base.h"
#include "platform/process.h"
#include "platform/sync.h"

namespace qv {

class CAudioSession;
class CAudioDevice;

class CProcessInfo : public CCommonBase {
public:
    using SessionCollection = observable_collection<CProcessInfo, CWeakRefPtr<CAudioSession>>;
    using ExitCallback = std::function<void(CProcessInfo*)>;
    using MessageCallback = std::function<void(const wchar_t* text, long error)>;

    // The shared object of a running process, or null when it cannot be
    // opened. Only the first lookup of a process sets an exit watch, with
    // its onExit, which runs on the watch's thread.
    static CRefPtr<CProcessInfo> FromProcessId(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                                               const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                                               const CRefPtr<CContentClassifierLog>& log, uint32_t processId,
                                               const ExitCallback& onExit, const MessageCallback& onMessage);
    // The parent's id by a snapshot of all processes, or 0.
    static uint32_t GetParentProcessId(uint32_t processId);

    // Forgets every cached process (tests, and the end of the process).
    static void ClearCache();
    static std::size_t CacheSize();

    observable_property<CProcessInfo, bool> IsUsingMic{this, "IsUsingMic"};
    // The sessions that have this object as their ProcessInfo.
    SessionCollection AudioSessions{this};

    uint32_t ProcessId() const { return m_processId; }
    const FILETIME& CreationTime() const { return ProcessTimes[0]; }

    // Creation, exit, kernel and user time, as at the object's creation.
    FILETIME ProcessTimes[4]{};
    std::wstring ImagePath;      // lower case
    std::wstring ImageFileName;  // name and extension, lower case: "chrome.exe"
    std::wstring ImageName;      // name alone, lower case: "chrome"
    bool IsWebBrowser = false;

    CProcessInfo(const CRefPtr<ITraceFuncCallTarget>& traceTarget, const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                 const CRefPtr<CContentClassifierLog>& log, uint32_t processId);

protected:
    ~CProcessInfo() override;

private:
    QV_PROPERTY_HOOKS(IsUsingMic)
    QV_COLLECTION_HANDLERS(CProcessInfo, SessionCollection, AudioSessions)
    QV_PROPERTY_HANDLERS(CProcessInfo, audioSessionState)
    QV_PROPERTY_HANDLERS(CProcessInfo, audioSessionAudioDevice)
    QV_PROPERTY_HANDLERS(CProcessInfo, audioSessionAudioDeviceDataFlow)

    // Starts the thread that waits for the end of the process.
    bool WaitForProcessExit(IProcessHandle* process, const std::function<void(bool processEnded)>& function);

    CRefPtr<IEvent> ProcessExitEvent;
    uint32_t m_processId;
};

// The image names of the browsers whose audio children are looked up.
bool IsWebBrowserProcessName(const std::wstring& imageName);

}  // namespace qv
