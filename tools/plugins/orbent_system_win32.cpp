// The reference ORBENT64's system half on Windows: the parameter file below
// %LOCALAPPDATA%\Quorvane, the browsers' profiles below %LOCALAPPDATA%, the
// browsers found by their App Paths or in their usual install folders.
#include <windows.h>

#include <memory>
#include <type_traits>

#include "orbent_system.h"

namespace orbent {

namespace {

struct HandleCloser {
    void operator()(HANDLE handle) const {
        if (handle && handle != INVALID_HANDLE_VALUE) ::CloseHandle(handle);
    }
};
using UniqueHandle = std::unique_ptr<std::remove_pointer_t<HANDLE>, HandleCloser>;

struct KeyCloser {
    void operator()(HKEY key) const { ::RegCloseKey(key); }
};
using UniqueKey = std::unique_ptr<std::remove_pointer_t<HKEY>, KeyCloser>;

std::wstring Environment(const wchar_t* name) {
    wchar_t buffer[32768];
    const DWORD length = ::GetEnvironmentVariableW(name, buffer, 32768);
    return length > 0 && length < 32768 ? std::wstring(buffer, length) : std::wstring();
}

std::wstring ParameterFilePath() {
    const std::wstring overridden = Environment(L"QUORVANE_ORBENT_FILE");
    if (!overridden.empty()) return overridden;
    const std::wstring local = Environment(L"LOCALAPPDATA");
    return local.empty() ? std::wstring() : local + L"\\Quorvane\\orbent-parameters.json";
}

void MakeFolders(const std::wstring& file) {
    for (std::size_t i = file.find_first_of(L"\\/", 3); i != std::wstring::npos; i = file.find_first_of(L"\\/", i + 1))
        ::CreateDirectoryW(file.substr(0, i).c_str(), nullptr);
}

bool IsFolder(const std::wstring& path) {
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

bool IsFile(const std::wstring& path) {
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

// The default value of App Paths\<exe>, for the machine or the user.
std::wstring AppPath(const wchar_t* exe) {
    const std::wstring key = std::wstring(L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\") + exe;
    for (HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
        HKEY opened = nullptr;
        if (::RegOpenKeyExW(root, key.c_str(), 0, KEY_QUERY_VALUE, &opened) != ERROR_SUCCESS) continue;
        UniqueKey owned(opened);
        wchar_t buffer[MAX_PATH * 2] = {};
        DWORD bytes = sizeof buffer - sizeof(wchar_t);
        DWORD type = 0;
        if (::RegQueryValueExW(opened, nullptr, nullptr, &type, reinterpret_cast<BYTE*>(buffer), &bytes) !=
                ERROR_SUCCESS ||
            (type != REG_SZ && type != REG_EXPAND_SZ))
            continue;
        std::wstring path(buffer);
        // App Paths may quote the program.
        if (path.size() >= 2 && path.front() == L'"' && path.back() == L'"') path = path.substr(1, path.size() - 2);
        if (IsFile(path)) return path;
    }
    return {};
}

std::wstring FindBrowser(Browser browser) {
    const std::wstring overridden = Environment(L"QUORVANE_ORBENT_BROWSER");
    if (!overridden.empty()) return overridden;
    const wchar_t* exe = browser == Browser::Chrome ? L"chrome.exe" : L"msedge.exe";
    if (std::wstring found = AppPath(exe); !found.empty()) return found;
    const wchar_t* tail = browser == Browser::Chrome ? L"\\Google\\Chrome\\Application\\chrome.exe"
                                                     : L"\\Microsoft\\Edge\\Application\\msedge.exe";
    for (const wchar_t* root : {L"ProgramFiles", L"ProgramFiles(x86)", L"LOCALAPPDATA"}) {
        const std::wstring folder = Environment(root);
        if (!folder.empty() && IsFile(folder + tail)) return folder + tail;
    }
    return {};
}

}  // namespace

bool ReadParameterText(std::string& text) {
    const std::wstring path = ParameterFilePath();
    if (path.empty()) return false;
    UniqueHandle file(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (file.get() == INVALID_HANDLE_VALUE) return false;
    text.clear();
    char buffer[8192];
    for (;;) {
        DWORD read = 0;
        if (!::ReadFile(file.get(), buffer, sizeof buffer, &read, nullptr)) return false;
        if (read == 0) return true;
        text.append(buffer, read);
        // A file this large is none of ours; it reads as empty.
        if (text.size() > 64 * 1024 * 1024) return false;
    }
}

uint32_t WriteParameterText(const std::string& text) {
    const std::wstring path = ParameterFilePath();
    if (path.empty()) return ERROR_FILE_NOT_FOUND;
    MakeFolders(path);
    const std::wstring temporary = path + L".tmp-" + std::to_wstring(::GetCurrentProcessId());
    {
        UniqueHandle file(
            ::CreateFileW(temporary.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (file.get() == INVALID_HANDLE_VALUE) return ::GetLastError();
        DWORD written = 0;
        if (!::WriteFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr) ||
            written != text.size()) {
            const DWORD error = ::GetLastError();
            file.reset();
            ::DeleteFileW(temporary.c_str());
            return error ? error : ERROR_WRITE_FAULT;
        }
        ::FlushFileBuffers(file.get());
    }
    if (!::MoveFileExW(temporary.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        const DWORD error = ::GetLastError();
        ::DeleteFileW(temporary.c_str());
        return error;
    }
    return 0;
}

ExtensionState ExtensionStateOf(Browser browser, const std::wstring& extensionId) {
    const std::wstring local = Environment(L"LOCALAPPDATA");
    if (local.empty()) return ExtensionState::NoProfile;
    const std::wstring profile = local + (browser == Browser::Chrome ? L"\\Google\\Chrome\\User Data\\Default"
                                                                     : L"\\Microsoft\\Edge\\User Data\\Default");
    if (!IsFolder(profile)) return ExtensionState::NoProfile;
    return IsFolder(profile + L"\\Extensions\\" + extensionId) ? ExtensionState::Installed : ExtensionState::Missing;
}

bool StartBrowser(Browser browser, const std::wstring& arguments) {
    const std::wstring program = FindBrowser(browser);
    if (program.empty()) return false;
    std::wstring commandLine = L"\"" + program + L"\"";
    if (!arguments.empty()) commandLine += L" " + arguments;
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    if (!::CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                          &process))
        return false;
    UniqueHandle processHandle(process.hProcess);
    UniqueHandle threadHandle(process.hThread);
    return true;
}

}  // namespace orbent
