#include "reference_host_process.h"

#ifdef _WIN32

#include <condition_variable>
#include <mutex>

#include "core/text.h"
#include "platform/win32/windows_api.h"

namespace qv::test {

namespace {

// How long a killed host may take to go, and its last output to arrive.
constexpr std::chrono::seconds kEndLimit{10};

std::string WithoutCarriageReturns(const std::string& text) {
    std::string result;
    result.reserve(text.size());
    for (char c : text)
        if (c != '\r') result.push_back(c);
    return result;
}

// The complete lines: a last one without its line feed is still being written.
std::vector<std::string> SplitLines(const std::string& output) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end; (end = output.find('\n', start)) != std::string::npos; start = end + 1)
        lines.push_back(output.substr(start, end - start));
    return lines;
}

}  // namespace

struct ReferenceHostProcess::Capture {
    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    std::string output;  // as printed; the host's C runtime writes CR LF
    bool closed = false;
};

std::wstring ReferenceHostPath() {
    std::vector<wchar_t> buffer(32768);
    const DWORD length = ::GetModuleFileNameW(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
    const std::wstring self(buffer.data(), length);
    return self.substr(0, self.find_last_of(L"\\/") + 1) + L"quorvane-host.exe";
}

// The host is started with CreateProcessW from this program rather than by a
// shell script around it: both processes then live in the same wineserver
// with no second `wine` start-up, the test owns the process handle (so it can
// always kill the host, and read its exit code), and the host's output comes
// back through an anonymous pipe that the test reads as it goes.
ReferenceHostProcess::ReferenceHostProcess(const std::vector<std::wstring>& arguments)
    : m_capture(std::make_shared<Capture>()) {
    const std::wstring program = ReferenceHostPath();
    std::wstring commandLine = L"\"" + program + L"\"";
    for (const std::wstring& argument : arguments) commandLine += L" " + argument;

    SECURITY_ATTRIBUTES inheritable{};
    inheritable.nLength = sizeof inheritable;
    inheritable.bInheritHandle = TRUE;
    HANDLE readEnd = nullptr;
    HANDLE writeEnd = nullptr;
    if (!::CreatePipe(&readEnd, &writeEnd, &inheritable, 0)) {
        m_startError = "CreatePipe failed with error " + std::to_string(::GetLastError());
        return;
    }
    CUniqueHandle reader(readEnd);
    CUniqueHandle writer(writeEnd);
    // Only the host's end goes to the host: were the test's end inherited
    // too, the pipe would never report the host's end.
    ::SetHandleInformation(reader.get(), HANDLE_FLAG_INHERIT, 0);

    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = writer.get();
    startup.hStdError = writer.get();
    PROCESS_INFORMATION info{};
    if (!::CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr,
                          nullptr, &startup, &info)) {
        m_startError = "cannot start " + WideToUtf8(program) + ": CreateProcessW failed with error " +
                       std::to_string(::GetLastError());
        return;
    }
    ::CloseHandle(info.hThread);
    m_process.reset(info.hProcess);
    // The host holds the only write end now; its end closes the pipe.
    writer.reset();

    m_reader = std::thread([capture = m_capture, pipe = std::move(reader)] {
        char buffer[4096];
        for (;;) {
            DWORD read = 0;
            if (!::ReadFile(pipe.get(), buffer, sizeof buffer, &read, nullptr) || read == 0) break;
            std::lock_guard lock(capture->mutex);
            capture->output.append(buffer, read);
            capture->changed.notify_all();
        }
        std::lock_guard lock(capture->mutex);
        capture->closed = true;
        capture->changed.notify_all();
    });
}

ReferenceHostProcess::~ReferenceHostProcess() {
    Kill();
    if (!m_reader.joinable()) return;
    bool closed;
    {
        std::lock_guard lock(m_capture->mutex);
        closed = m_capture->closed;
    }
    // The reader holds its own share of the capture, so should Wine never
    // report the end of the pipe, it may finish after this object is gone.
    if (closed) m_reader.join();
    else m_reader.detach();
}

bool ReferenceHostProcess::WaitForLineWith(const std::string& text, std::chrono::milliseconds limit) const {
    const auto holds = [&] {
        for (const std::string& line : SplitLines(WithoutCarriageReturns(m_capture->output)))
            if (line.find(text) != std::string::npos) return true;
        return false;
    };
    std::unique_lock lock(m_capture->mutex);
    m_capture->changed.wait_for(lock, limit, [&] { return holds() || m_capture->closed; });
    return holds();
}

std::optional<uint32_t> ReferenceHostProcess::WaitForExit(std::chrono::milliseconds limit) {
    if (!m_process) return std::nullopt;
    if (::WaitForSingleObject(m_process.get(), static_cast<DWORD>(limit.count())) != WAIT_OBJECT_0)
        return std::nullopt;
    DWORD code = 0;
    if (!::GetExitCodeProcess(m_process.get(), &code)) return std::nullopt;
    return code;
}

void ReferenceHostProcess::Kill() {
    if (m_process && ::WaitForSingleObject(m_process.get(), 0) != WAIT_OBJECT_0) {
        ::TerminateProcess(m_process.get(), 255);
        ::WaitForSingleObject(m_process.get(), static_cast<DWORD>(std::chrono::milliseconds(kEndLimit).count()));
    }
    // What the host wrote before its end is still on its way to the reader.
    std::unique_lock lock(m_capture->mutex);
    m_capture->changed.wait_for(lock, kEndLimit, [&] { return m_capture->closed || !m_reader.joinable(); });
}

std::string ReferenceHostProcess::Output() const {
    std::lock_guard lock(m_capture->mutex);
    return WithoutCarriageReturns(m_capture->output);
}

std::vector<std::string> ReferenceHostProcess::Lines() const { return SplitLines(Output()); }

}  // namespace qv::test

#endif  // _WIN32
