#include "platform/win32/windows_api.h"

#include "child_process.h"
#include "core/text.h"

namespace qv::host {

namespace {

// Quotes one argument so that the child's command line parser gives it back
// as it was.
std::wstring QuoteArgument(const std::wstring& argument) {
    if (!argument.empty() && argument.find_first_of(L" \t\"") == std::wstring::npos) return argument;
    std::wstring quoted = L"\"";
    std::size_t backslashes = 0;
    for (wchar_t c : argument) {
        if (c == L'\\') {
            ++backslashes;
            continue;
        }
        if (c == L'"')
            quoted.append(backslashes * 2 + 1, L'\\');
        else
            quoted.append(backslashes, L'\\');
        backslashes = 0;
        quoted.push_back(c);
    }
    quoted.append(backslashes * 2, L'\\');
    quoted.push_back(L'"');
    return quoted;
}

class WindowsChildProcess : public ChildProcess {
public:
    explicit WindowsChildProcess(PROCESS_INFORMATION info) : m_info(info) {}
    ~WindowsChildProcess() override {
        if (Running()) WaitOrEnd(std::chrono::seconds(5));
        ::CloseHandle(m_info.hThread);
        ::CloseHandle(m_info.hProcess);
    }

    int WaitOrEnd(std::chrono::milliseconds grace) override {
        if (Running()) {
            if (::WaitForSingleObject(m_info.hProcess, static_cast<DWORD>(grace.count())) != WAIT_OBJECT_0) {
                ::TerminateProcess(m_info.hProcess, static_cast<UINT>(-1));
                ::WaitForSingleObject(m_info.hProcess, INFINITE);
                return -1;
            }
        }
        DWORD code = 0;
        ::GetExitCodeProcess(m_info.hProcess, &code);
        return static_cast<int>(code);
    }

    bool Running() override { return ::WaitForSingleObject(m_info.hProcess, 0) == WAIT_TIMEOUT; }
    unsigned long ProcessId() const override { return m_info.dwProcessId; }

private:
    PROCESS_INFORMATION m_info;
};

}  // namespace

std::unique_ptr<ChildProcess> StartChildProcess(const std::string& program, const std::vector<std::string>& arguments,
                                                std::string& error) {
    std::wstring application = Utf8ToWide(program);
    std::wstring commandLine = QuoteArgument(application);
    for (const std::string& a : arguments) commandLine += L" " + QuoteArgument(Utf8ToWide(a));
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION info{};
    if (!::CreateProcessW(application.c_str(), commandLine.data(), nullptr, nullptr, FALSE, CREATE_NEW_PROCESS_GROUP,
                          nullptr, nullptr, &startup, &info)) {
        error = "cannot start " + program + ": error " + std::to_string(::GetLastError());
        return nullptr;
    }
    return std::make_unique<WindowsChildProcess>(info);
}

}  // namespace qv::host
