// On Windows the parent comes from a snapshot of the process list, and its
// executable from QueryFullProcessImageNameW, which needs no more than
// limited query rights (a browser may run at another integrity level).
#include <unordered_map>

#include "browser_process.h"
#include "core/text.h"
#include "platform/win32/win32_unique_handle.h"
#include "platform/win32/windows_api.h"

#include <tlhelp32.h>

namespace qv::peltak {

namespace {

std::wstring ImagePath(DWORD processId, DWORD& error) {
    const CUniqueHandle process(::OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
    if (!process) {
        error = ::GetLastError();
        return {};
    }
    std::wstring path(32768, L'\0');
    DWORD size = static_cast<DWORD>(path.size());
    if (!::QueryFullProcessImageNameW(process.get(), 0, path.data(), &size)) {
        error = ::GetLastError();
        return {};
    }
    path.resize(size);
    return path;
}

// Chromium-based browsers start their hosts through "cmd.exe /d /s /c", so
// the browser is the interpreter's parent.
bool IsCommandInterpreter(const std::wstring& path) {
    const std::wstring lower = ToLowerWide(path);
    return lower == L"cmd.exe" || lower.ends_with(L"\\cmd.exe");
}

}  // namespace

bool FindBrowserProcess(BrowserProcess& browser, std::string& problem) {
    const CUniqueHandle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    if (!snapshot) {
        problem = "cannot list the processes (error " + std::to_string(::GetLastError()) + ")";
        return false;
    }
    std::unordered_map<DWORD, DWORD> parents;
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = ::Process32FirstW(snapshot.get(), &entry); more; more = ::Process32NextW(snapshot.get(), &entry))
        parents[entry.th32ProcessID] = entry.th32ParentProcessID;

    const auto parent = parents.find(::GetCurrentProcessId());
    if (parent == parents.end()) {
        problem = "this process is not in the process list";
        return false;
    }
    DWORD processId = parent->second, error = 0;
    std::wstring path = ImagePath(processId, error);
    if (IsCommandInterpreter(path)) {
        if (const auto up = parents.find(processId); up != parents.end() && up->second != 0) {
            processId = up->second;
            path = ImagePath(processId, error);
        }
    }
    browser.processId = processId;
    if (path.empty()) {
        problem = "cannot read the executable of the browser (process " + std::to_string(processId) + ", error " +
                  std::to_string(error) + ")";
        return false;
    }
    browser.path = std::move(path);
    return true;
}

}  // namespace qv::peltak
