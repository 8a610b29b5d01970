#include "debug_output_monitor.h"

#include <condition_variable>
#include <cstring>
#include <map>
#include <mutex>

#include "platform/win32/windows_api.h"

namespace qv::test {

namespace {

// The section's layout: the writer's process id, then its text, ended by a
// zero, in what is left of the 4096 bytes.
constexpr DWORD kSectionBytes = 4096;

struct SectionView {
    explicit SectionView(HANDLE section) : address(::MapViewOfFile(section, FILE_MAP_READ, 0, 0, kSectionBytes)) {}
    ~SectionView() {
        if (address) ::UnmapViewOfFile(address);
    }
    SectionView(const SectionView&) = delete;
    SectionView& operator=(const SectionView&) = delete;
    void* address;
};

}  // namespace

struct DebugOutputMonitor::Shared {
    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    std::map<uint32_t, std::string> output;
};

DebugOutputMonitor::DebugOutputMonitor() : m_shared(std::make_shared<Shared>()) {
    m_section.reset(
        ::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, kSectionBytes, L"DBWIN_BUFFER"));
    if (!m_section || ::GetLastError() == ERROR_ALREADY_EXISTS) {
        m_failure = "another debug-output viewer runs, or the section cannot be made";
        return;
    }
    // Both auto-reset: each SetEvent lets exactly one writer, or one read, through.
    m_bufferReady.reset(::CreateEventW(nullptr, FALSE, FALSE, L"DBWIN_BUFFER_READY"));
    m_dataReady.reset(::CreateEventW(nullptr, FALSE, FALSE, L"DBWIN_DATA_READY"));
    m_stop.reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!m_bufferReady || !m_dataReady || !m_stop) {
        m_failure = "the viewer's events cannot be made: error " + std::to_string(::GetLastError());
        return;
    }
    m_reader = std::thread([this, shared = m_shared] {
        SectionView view(m_section.get());
        if (!view.address) return;
        const auto* pid = static_cast<const DWORD*>(view.address);
        const char* text = static_cast<const char*>(view.address) + sizeof(DWORD);
        HANDLE waits[] = {m_dataReady.get(), m_stop.get()};
        for (;;) {
            ::SetEvent(m_bufferReady.get());
            if (::WaitForMultipleObjects(2, waits, FALSE, INFINITE) != WAIT_OBJECT_0) return;
            // A writer that forgot its zero is cut at the end of the section.
            std::string line(text, strnlen(text, kSectionBytes - sizeof(DWORD)));
            if (line.empty() || line.back() != '\n') line += '\n';
            std::lock_guard lock(shared->mutex);
            shared->output[*pid] += line;
            shared->changed.notify_all();
        }
    });
}

DebugOutputMonitor::~DebugOutputMonitor() {
    if (m_stop) ::SetEvent(m_stop.get());
    if (m_reader.joinable()) m_reader.join();
}

bool DebugOutputMonitor::WaitForLineWith(uint32_t processId, const std::string& text,
                                         std::chrono::milliseconds limit) const {
    std::unique_lock lock(m_shared->mutex);
    return m_shared->changed.wait_for(lock, limit, [&] {
        const auto found = m_shared->output.find(processId);
        return found != m_shared->output.end() && found->second.find(text) != std::string::npos;
    });
}

std::string DebugOutputMonitor::Output(uint32_t processId) const {
    std::lock_guard lock(m_shared->mutex);
    const auto found = m_shared->output.find(processId);
    return found == m_shared->output.end() ? std::string() : found->second;
}

}  // namespace qv::test
