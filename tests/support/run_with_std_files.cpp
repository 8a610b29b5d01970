#include "support/run_with_std_files.h"

#include "support/wait_until.h"
#include "support/wine_start_retry.h"

#ifdef _WIN32
#include "platform/win32/win32_unique_handle.h"
#else
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace qv::test {

#ifdef _WIN32
namespace {

uint32_t RunWithCommandLine(const std::filesystem::path& application, std::wstring commandLine,
                            const std::filesystem::path& input, const std::filesystem::path& output) {
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    const CUniqueHandle in(
        ::CreateFileW(input.c_str(), GENERIC_READ, FILE_SHARE_READ, &inherit, OPEN_EXISTING, 0, nullptr));
    const CUniqueHandle out(
        ::CreateFileW(output.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherit, CREATE_ALWAYS, 0, nullptr));
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = in.get();
    startup.hStdOutput = out.get();
    startup.hStdError = ::GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION info{};
    if (!in || !out || StartRetryingWineInternalError([&]() -> uint32_t {
                           return ::CreateProcessW(application.c_str(), commandLine.data(), nullptr, nullptr, TRUE, 0,
                                                   nullptr, nullptr, &startup, &info)
                                      ? 0
                                      : ::GetLastError();
                       }) != 0)
        return 1000;
    const CUniqueHandle process(info.hProcess), thread(info.hThread);
    DWORD code = 1001;
    if (::WaitForSingleObject(process.get(), static_cast<DWORD>(kWaitBound.count())) != WAIT_OBJECT_0)
        ::TerminateProcess(process.get(), 1001);
    ::GetExitCodeProcess(process.get(), &code);
    return code;
}

std::wstring QuotedProgramAndArgument(const std::filesystem::path& program, const std::string& argument) {
    return L"\"" + program.wstring() + L"\" " + std::filesystem::path(argument).wstring();
}

}  // namespace

uint32_t RunWithStdFiles(const std::filesystem::path& program, const std::string& argument,
                         const std::filesystem::path& input, const std::filesystem::path& output) {
    return RunWithCommandLine(program, QuotedProgramAndArgument(program, argument), input, output);
}

uint32_t RunThroughCommandInterpreter(const std::filesystem::path& program, const std::string& argument,
                                      const std::filesystem::path& input, const std::filesystem::path& output) {
    wchar_t system[MAX_PATH];
    const UINT length = ::GetSystemDirectoryW(system, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) return 1000;
    const std::filesystem::path interpreter = std::filesystem::path(system) / L"cmd.exe";
    // With /s the outer quotes go and the rest stays as it is.
    return RunWithCommandLine(
        interpreter,
        L"\"" + interpreter.wstring() + L"\" /d /s /c \"" + QuotedProgramAndArgument(program, argument) + L"\"", input,
        output);
}
#else
uint32_t RunWithStdFiles(const std::filesystem::path& program, const std::string& argument,
                         const std::filesystem::path& input, const std::filesystem::path& output) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        const int in = ::open(input.c_str(), O_RDONLY),
                  out = ::open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (in < 0 || out < 0 || ::dup2(in, 0) < 0 || ::dup2(out, 1) < 0) ::_exit(126);
        ::execl(program.c_str(), program.c_str(), argument.c_str(), nullptr);
        ::_exit(127);
    }
    if (pid < 0) return 1000;
    int status = 0;
    if (!WaitUntil([&] { return ::waitpid(pid, &status, WNOHANG) == pid; })) {
        if (::kill(pid, SIGKILL) == 0) ::waitpid(pid, nullptr, 0);
        return 1001;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1002;
}
#endif

}  // namespace qv::test
