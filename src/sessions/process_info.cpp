#include "sessions/process_info.h"

#include <string_view>
#include <unordered_set>
#include <utility>

#include "core/path.h"
#include "core/text.h"
#include "devices/audio_device.h"
#include "platform/codes.h"
#include "platform/platform.h"
#include "sessions/audio_session.h"

namespace qv {

namespace {

// FNV-1a over the bytes of the text.
struct WideTextHash {
    std::size_t operator()(const std::wstring& text) const {
        uint64_t hash = 0xCBF29CE484222325ULL;
        const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
        for (std::size_t i = 0; i < text.size() * sizeof(wchar_t); ++i) {
            hash ^= bytes[i];
            hash *= 0x100000001B3ULL;
        }
        return static_cast<std::size_t>(hash);
    }
};

const std::unordered_set<std::wstring, WideTextHash>& WebBrowserProcessNames() {
    static const std::unordered_set<std::wstring, WideTextHash> names{L"chrome", L"firefox", L"msedge", L"opera"};
    return names;
}

// Linux programs of the browsers by the name of their file, as /proc gives
// it: the distributions' launchers, and the real binaries they start.
constexpr std::pair<std::wstring_view, std::wstring_view> kLinuxBrowserPrograms[] = {
    {L"chromium", L"chrome.exe"},
    {L"chromium-browser", L"chrome.exe"},
    {L"chrome", L"chrome.exe"},
    {L"google-chrome", L"chrome.exe"},
    {L"msedge", L"msedge.exe"},
    {L"microsoft-edge", L"msedge.exe"},
    {L"microsoft-edge-stable", L"msedge.exe"},
    {L"firefox", L"firefox.exe"},
    {L"firefox-esr", L"firefox.exe"},
    {L"opera", L"opera.exe"}};

// The Windows image file name of a browser's Linux program, the name the
// model's tables know it by; empty for any other program.
std::wstring WindowsBrowserFileNameOf(std::wstring_view linuxFileName) {
    for (const auto& [program, windowsName] : kLinuxBrowserPrograms)
        if (linuxFileName == program) return std::wstring(windowsName);
    return {};
}

// An image path from a Linux process starts at the root; a Windows one
// starts with a drive letter or "\\".
bool IsLinuxImagePath(const std::wstring& path) { return !path.empty() && path.front() == L'/'; }

// Process id, then the high and the low half of the creation time: a reused
// id with a new creation time is another process.
using CacheKey = std::tuple<uint32_t, uint32_t, uint32_t>;

struct ProcessInfoCacheData {
    std::mutex ProcessInfoCacheLock;
    std::map<CacheKey, CRefPtr<CProcessInfo>> ProcessInfoCache;
};

ProcessInfoCacheData& Cache() {
    static ProcessInfoCacheData* data = new ProcessInfoCacheData();  // lives to the very end of the process
    return *data;
}

CacheKey KeyOf(uint32_t processId, const FILETIME& creation) {
    return {processId, creation.dwHighDateTime, creation.dwLowDateTime};
}

void Report(const CProcessInfo::MessageCallback& onMessage, const std::wstring& text, long error) {
    if (onMessage) onMessage(text.c_str(), error);
}

}  // namespace

bool IsWebBrowserProcessName(const std::wstring& imageName) { return WebBrowserProcessNames().contains(imageName); }

CProcessInfo::CProcessInfo(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                           const CRefPtr<IAsyncActionDispatcher>& dispatcher, const CRefPtr<CContentClassifierLog>& log,
                           uint32_t processId)
    : CCommonBase(traceTarget, dispatcher, log), m_processId(processId) {
    QV_TRACE_SCOPE(L"CProcessInfo::CProcessInfo");
    if (CRefPtr<IPlatform> platform = GetPlatform())
        if (CRefPtr<ISync> sync = platform->Sync()) sync->CreateEvent(ProcessExitEvent);
    AudioSessions.Subscribe(this, AudioSessions_CollectionHandlers());
}

CProcessInfo::~CProcessInfo() {
    QV_TRACE_SCOPE(L"CProcessInfo::~CProcessInfo");
    AudioSessions.RemoveItemAddedHandler({this, AudioSessions_CollectionHandlers().added});
    AudioSessions.RemoveItemRemovedHandler({this, AudioSessions_CollectionHandlers().removed});
    if (ProcessExitEvent) ProcessExitEvent->SetEvent();
}

CRefPtr<CProcessInfo> CProcessInfo::FromProcessId(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                                                  const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                                                  const CRefPtr<CContentClassifierLog>& log, uint32_t processId,
                                                  const ExitCallback& onExit, const MessageCallback& onMessage) {
    CRefPtr<IPlatform> platform = GetPlatform();
    CRefPtr<IProcesses> processes = platform ? platform->Processes() : nullptr;
    if (!processes) {
        Report(onMessage, L"Failed to retrieve process handle with error code 120", ERROR_CALL_NOT_IMPLEMENTED);
        return {};
    }
    CRefPtr<IProcessHandle> process;
    Win32Error error = processes->OpenProcess(kProcessSynchronizeQueryInformation, processId, process);
    if (error != 0 || !process) {
        Report(onMessage, L"Failed to retrieve process handle with error code " + std::to_wstring(error), error);
        return {};
    }
    FILETIME times[4];
    error = process->GetProcessTimes(times[0], times[1], times[2], times[3]);
    if (error != 0) {
        Report(onMessage, L"Failed to retrieve process times with error code " + std::to_wstring(error), error);
        return {};
    }
    std::wstring path;
    error = process->GetModuleFileNameEx(path);
    // The image path had a buffer of 1024 characters.
    if (error == 0 && path.size() >= 1024) error = ERROR_INSUFFICIENT_BUFFER;
    if (error != 0) {
        Report(onMessage, L"Failed to retrieve process image file path with error code " + std::to_wstring(error),
               error);
        return {};
    }
    Report(onMessage, L"Process image fileName = " + path, 0);
    path = ToLowerWide(path);

    ProcessInfoCacheData& cache = Cache();
    std::lock_guard lock(cache.ProcessInfoCacheLock);
    const CacheKey key = KeyOf(processId, times[0]);
    auto found = cache.ProcessInfoCache.find(key);
    if (found != cache.ProcessInfoCache.end()) return found->second;

    CRefPtr<CProcessInfo> info = MakeRef<CProcessInfo>(traceTarget, dispatcher, log, processId);
    cache.ProcessInfoCache.emplace(key, info);
    info->ImagePath = path;
    PathParts parts;
    // Only name and extension have buffers of their own (256 characters);
    // the folder of an image path may be as long as the path itself.
    if (SplitPath(path, parts, 3, path.size() + 1)) {
        info->ImageFileName = parts.name + parts.extension;
        info->ImageName = parts.name;
    }
    // Every name the model compares (its browser tables, the browser test of
    // a session, the classifier's name rules) is a Windows image name, so a
    // Linux browser's program takes its Windows name here, once, for all of
    // them, and the tables stay as they are. Not in the process port: that
    // reports the real image path, which the log shows and ImagePath keeps,
    // and a path with a made-up "chrome.exe" would name no file. Names
    // without a Windows twin stay as Linux gives them, without extension.
    if (IsLinuxImagePath(path)) {
        const std::wstring windowsName = WindowsBrowserFileNameOf(info->ImageFileName);
        if (!windowsName.empty()) {
            info->ImageFileName = windowsName;
            info->ImageName = windowsName.substr(0, windowsName.size() - 4);  // less ".exe"
        }
    }
    for (int i = 0; i < 4; ++i) info->ProcessTimes[i] = times[i];
    info->IsWebBrowser = IsWebBrowserProcessName(info->ImageName);

    if (onExit) {
        CRefPtr<CProcessInfo> held = info;
        info->WaitForProcessExit(process.get(), [held, onExit, key](bool) mutable {
            onExit(held.get());
            CRefPtr<CProcessInfo> cached;
            {
                ProcessInfoCacheData& data = Cache();
                std::lock_guard eraseLock(data.ProcessInfoCacheLock);
                auto it = data.ProcessInfoCache.find(key);
                if (it != data.ProcessInfoCache.end()) {
                    cached = std::move(it->second);
                    data.ProcessInfoCache.erase(it);
                }
            }
            // The last references of a model object go on the main thread,
            // where its destructor may touch other model objects. Only when
            // the loop is gone do they go here.
            CRefPtr<IAsyncActionDispatcher> target = held->Dispatcher();
            if (target) target->Post([held, cached] {});
            held = nullptr;
        });
    }
    return info;
}

bool CProcessInfo::WaitForProcessExit(IProcessHandle* process, const std::function<void(bool processEnded)>& function) {
    if (!process || !function) return false;
    CRefPtr<IPlatform> platform = GetPlatform();
    CRefPtr<IProcesses> processes = platform ? platform->Processes() : nullptr;
    if (!processes) return false;
    // A failure loses the exit callback: the session then keeps its
    // ProcessInfo after the process has ended.
    return processes->WaitForProcessExit(process, ProcessExitEvent.get(), function) == 0;
}

uint32_t CProcessInfo::GetParentProcessId(uint32_t processId) {
    CRefPtr<IPlatform> platform = GetPlatform();
    CRefPtr<IProcesses> processes = platform ? platform->Processes() : nullptr;
    if (!processes) return 0;
    std::vector<ProcessEntry> snapshot;
    if (processes->CreateToolhelp32Snapshot(snapshot) != 0) return 0;
    for (const ProcessEntry& entry : snapshot)
        if (entry.th32ProcessID == processId) return entry.th32ParentProcessID;
    return 0;
}

void CProcessInfo::ClearCache() {
    std::map<CacheKey, CRefPtr<CProcessInfo>> dropped;
    {
        ProcessInfoCacheData& cache = Cache();
        std::lock_guard lock(cache.ProcessInfoCacheLock);
        dropped.swap(cache.ProcessInfoCache);
    }
}

std::size_t CProcessInfo::CacheSize() {
    ProcessInfoCacheData& cache = Cache();
    std::lock_guard lock(cache.ProcessInfoCacheLock);
    return cache.ProcessInfoCache.size();
}

// Level 1: the sessions that have this process.
void CProcessInfo::AudioSessions_ItemAdded(const CWeakRefPtr<CAudioSession>& item, int32_t) {
    QV_TRACE_SCOPE(L"CProcessInfo::AudioSessions_ItemAdded");
    if (CRefPtr<CAudioSession> session = item.Lock()) session->State.Subscribe(this, audioSessionState_Handlers());
}

void CProcessInfo::AudioSessions_ItemRemoved(const CWeakRefPtr<CAudioSession>& item, int32_t) {
    QV_TRACE_SCOPE(L"CProcessInfo::AudioSessions_ItemRemoved");
    if (CRefPtr<CAudioSession> session = item.Lock()) session->State.Unsubscribe(this, audioSessionState_Handlers());
}

// Level 2: an active session's device.
void CProcessInfo::CProcessInfo_audioSessionStateChanged(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CProcessInfo::audioSessionState_Changed");
    auto* session = static_cast<CAudioSession*>(sender);
    if (session->State.value() != AudioSessionStateActive) return;
    Trace(L"AudioSessionState::AudioSessionStateActive\n");
    session->AudioDevice.Subscribe(this, audioSessionAudioDevice_Handlers());
}

void CProcessInfo::CProcessInfo_audioSessionStateChanging(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CProcessInfo::audioSessionState_Changing");
    auto* session = static_cast<CAudioSession*>(sender);
    if (session->State.value() != AudioSessionStateActive) return;
    Trace(L"AudioSessionState::AudioSessionStateActive\n");
    session->AudioDevice.Unsubscribe(this, audioSessionAudioDevice_Handlers());
}

// Level 3: that device's flow.
void CProcessInfo::CProcessInfo_audioSessionAudioDeviceChanged(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CProcessInfo::audioSessionAudioDevice_Changed");
    auto* session = static_cast<CAudioSession*>(sender);
    if (CAudioDevice* device = session->AudioDevice->get())
        device->DataFlow.Subscribe(this, audioSessionAudioDeviceDataFlow_Handlers());
}

void CProcessInfo::CProcessInfo_audioSessionAudioDeviceChanging(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CProcessInfo::audioSessionAudioDevice_Changing");
    auto* session = static_cast<CAudioSession*>(sender);
    if (CAudioDevice* device = session->AudioDevice->get())
        device->DataFlow.Unsubscribe(this, audioSessionAudioDeviceDataFlow_Handlers());
}

// Level 4: a capture flow means the microphone. There is no count: the
// property follows the last event, so of two capture sessions the one that
// stops makes it false while the other still records.
void CProcessInfo::CProcessInfo_audioSessionAudioDeviceDataFlowChanged(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CProcessInfo::audioSessionAudioDeviceDataFlow_Changed");
    auto* device = static_cast<CAudioDevice*>(sender);
    if (device->DataFlow.value() == eCapture) IsUsingMic.set(true);
}

void CProcessInfo::CProcessInfo_audioSessionAudioDeviceDataFlowChanging(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CProcessInfo::audioSessionAudioDeviceDataFlow_Changing");
    auto* device = static_cast<CAudioDevice*>(sender);
    if (device->DataFlow.value() == eCapture) IsUsingMic.set(false);
}

}  // namespace qv
