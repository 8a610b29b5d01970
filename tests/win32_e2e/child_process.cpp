#include "child_process.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>

#include <gtest/gtest.h>

#include "core/text.h"
#include "platform/win32/windows_api.h"
#include "support/wine_start_retry.h"

namespace qv::test {

namespace {

// How long a killed program may take to go, and its last output to arrive.
constexpr std::chrono::seconds kEndLimit{10};

// The complete lines: a last one without its line feed is still being written.
std::vector<std::string> SplitLines(const std::string& output) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end; (end = output.find('\n', start)) != std::string::npos; start = end + 1)
        lines.push_back(output.substr(start, end - start));
    return lines;
}

}  // namespace

std::wstring BesideTestProgram(const std::wstring& fileName) {
    std::vector<wchar_t> self(32768);
    self.resize(::GetModuleFileNameW(nullptr, self.data(), static_cast<DWORD>(self.size())));
    const std::wstring path(self.begin(), self.end());
    return path.substr(0, path.find_last_of(L"\\/") + 1) + fileName;
}

struct ChildProcess::Capture {
    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    std::string output;  // without the CRs of the program's C runtime
    bool closed = false;
};

// Started with CreateProcessW rather than by a script around it: both
// processes then share one wineserver with no second `wine` start-up, the
// test owns the process handle (to kill the program, and read its exit code),
// and the output comes back through an anonymous pipe read as it goes.
ChildProcess::ChildProcess(const std::wstring& program, const std::vector<std::wstring>& arguments)
    : m_capture(std::make_shared<Capture>()) {
    std::wstring commandLine = L"\"" + program + L"\"";
    for (const std::wstring& argument : arguments) commandLine += L" " + argument;

    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    HANDLE readEnd = nullptr;
    HANDLE writeEnd = nullptr;
    if (!::CreatePipe(&readEnd, &writeEnd, &inheritable, 0)) {
        ADD_FAILURE() << "CreatePipe failed with error " << ::GetLastError();
        return;
    }
    CUniqueHandle reader(readEnd);
    CUniqueHandle writer(writeEnd);
    // Were the test's end inherited too, the pipe would never report the
    // program's end.
    ::SetHandleInformation(reader.get(), HANDLE_FLAG_INHERIT, 0);

    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = writer.get();
    startup.hStdError = writer.get();
    PROCESS_INFORMATION info{};
    if (const uint32_t error = StartRetryingWineInternalError([&]() -> uint32_t {
            return ::CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW,
                                    nullptr, nullptr, &startup, &info)
                       ? 0
                       : ::GetLastError();
        })) {
        ADD_FAILURE() << "cannot start " << WideToUtf8(program) << ": error " << error;
        return;
    }
    ::CloseHandle(info.hThread);
    m_process.reset(info.hProcess);
    writer.reset();  // the program holds the only write end now: its end closes the pipe

    m_reader = std::thread([capture = m_capture, pipe = std::move(reader)] {
        char buffer[4096];
        DWORD read = 0;
        while (::ReadFile(pipe.get(), buffer, sizeof buffer, &read, nullptr) && read > 0) {
            std::lock_guard lock(capture->mutex);
            std::remove_copy(buffer, buffer + read, std::back_inserter(capture->output), '\r');
            capture->changed.notify_all();
        }
        std::lock_guard lock(capture->mutex);
        capture->closed = true;
        capture->changed.notify_all();
    });
}

ChildProcess::~ChildProcess() {
    Kill();
    if (!m_reader.joinable()) return;
    std::unique_lock lock(m_capture->mutex);
    const bool closed = m_capture->closed;
    lock.unlock();
    // Should Wine never report the end of the pipe, the reader (holding its
    // own share of the capture) finishes after this object is gone.
    if (closed)
        m_reader.join();
    else
        m_reader.detach();
}

bool ChildProcess::WaitForLineWith(const std::string& text, std::chrono::milliseconds limit) const {
    const auto holds = [&] {
        const std::vector<std::string> lines = SplitLines(m_capture->output);
        return std::any_of(lines.begin(), lines.end(),
                           [&](const std::string& line) { return line.find(text) != std::string::npos; });
    };
    std::unique_lock lock(m_capture->mutex);
    m_capture->changed.wait_for(lock, limit, [&] { return holds() || m_capture->closed; });
    return holds();
}

std::optional<uint32_t> ChildProcess::WaitForExit(std::chrono::milliseconds limit) {
    DWORD code = 0;
    if (!m_process || ::WaitForSingleObject(m_process.get(), static_cast<DWORD>(limit.count())) != WAIT_OBJECT_0 ||
        !::GetExitCodeProcess(m_process.get(), &code))
        return std::nullopt;
    return code;
}

void ChildProcess::Kill() {
    if (m_process && ::WaitForSingleObject(m_process.get(), 0) != WAIT_OBJECT_0) {
        ::TerminateProcess(m_process.get(), 255);
        ::WaitForSingleObject(m_process.get(), static_cast<DWORD>(std::chrono::milliseconds(kEndLimit).count()));
    }
    std::unique_lock lock(m_capture->mutex);
    m_capture->changed.wait_for(lock, kEndLimit, [&] { return m_capture->closed || !m_reader.joinable(); });
}

std::string ChildProcess::Output() const {
    std::lock_guard lock(m_capture->mutex);
    return m_capture->output;
}

uint32_t ChildProcess::Id() const { return m_process ? ::GetProcessId(m_process.get()) : 0; }

std::vector<std::string> ChildProcess::Lines() const { return SplitLines(Output()); }

}  // namespace qv::test
