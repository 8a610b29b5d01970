// The open files of a process on Windows: the system's list of every handle
// (NtQuerySystemInformation, the extended handle list), the process's own
// entries duplicated into this one, and the final path of each that is a
// disk file. A name is asked only of handles that GetFileType calls disk
// files: asking the name of a pipe or a device can wait forever.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <system_error>
#include <thread>

#include "core/text.h"
#include "open_files.h"
#include "peltak_command.h"
#include "platform/win32/win32_unique_handle.h"
#include "platform/win32/windows_api.h"
#include "sessions/interop_file_format.h"

namespace qv::peltak {

namespace {

// The NT declarations that the headers of the cross compiler lack.
using NtStatus = LONG;
constexpr ULONG kSystemExtendedHandleInformation = 64;
constexpr NtStatus kStatusInfoLengthMismatch = static_cast<NtStatus>(0xC0000004);

struct SystemHandleEntryEx {
    PVOID Object;
    ULONG_PTR UniqueProcessId;
    ULONG_PTR HandleValue;
    ULONG GrantedAccess;
    USHORT CreatorBackTraceIndex;
    USHORT ObjectTypeIndex;
    ULONG HandleAttributes;
    ULONG Reserved;
};
struct SystemHandleInformationEx {
    ULONG_PTR NumberOfHandles;
    ULONG_PTR Reserved;
    // NumberOfHandles entries follow.
};
using NtQuerySystemInformationFn = NtStatus(NTAPI*)(ULONG, PVOID, ULONG, PULONG);

// A machine with a million handles needs about 40 MB; beyond this limit the
// answer is not believed.
constexpr size_t kMaxHandleListBytes = 512u << 20;
// How long the name of one file may take before its handle is given up.
constexpr auto kNameQueryBound = std::chrono::milliseconds(500);

std::string ErrorText(Win32Error error) { return "error code " + std::to_string(error); }

std::string StatusText(NtStatus status) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08lX", static_cast<unsigned long>(status));
    return text;
}

// The whole handle list of the machine; the buffer grows while the system
// says that it is too small (the list grows too, between two calls).
Win32Error QueryHandleList(std::vector<ULONG_PTR>& buffer, std::string& problem) {
    const HMODULE ntdll = ::GetModuleHandleW(L"ntdll.dll");
    const auto query = ntdll ? reinterpret_cast<NtQuerySystemInformationFn>(
                                   reinterpret_cast<void*>(::GetProcAddress(ntdll, "NtQuerySystemInformation")))
                             : nullptr;
    if (!query) {
        problem = "NtQuerySystemInformation is not available";
        return ERROR_PROC_NOT_FOUND;
    }
    size_t bytes = 1u << 20;
    for (;;) {
        buffer.assign(bytes / sizeof(ULONG_PTR), 0);
        ULONG needed = 0;
        const NtStatus status =
            query(kSystemExtendedHandleInformation, buffer.data(), static_cast<ULONG>(bytes), &needed);
        if (status >= 0) return 0;
        if (status != kStatusInfoLengthMismatch || bytes >= kMaxHandleListBytes) {
            problem = "the system's handle list could not be read: NtQuerySystemInformation gave " + StatusText(status);
            return ERROR_GEN_FAILURE;
        }
        bytes = std::min(kMaxHandleListBytes, std::max<size_t>(bytes * 2, size_t{needed} + (64u << 10)));
    }
}

std::span<const SystemHandleEntryEx> HandleEntries(const std::vector<ULONG_PTR>& buffer) {
    const auto* header = reinterpret_cast<const SystemHandleInformationEx*>(buffer.data());
    const size_t room =
        (buffer.size() * sizeof(ULONG_PTR) - sizeof(SystemHandleInformationEx)) / sizeof(SystemHandleEntryEx);
    const size_t count = std::min<size_t>(header->NumberOfHandles, room);
    return {reinterpret_cast<const SystemHandleEntryEx*>(header + 1), count};
}

// The final path as a user writes it; nothing when the handle has no such
// name.
std::optional<std::wstring> FinalPathOf(HANDLE file) {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = ::GetFinalPathNameByHandleW(file, path.data(), static_cast<DWORD>(path.size()),
                                                         FILE_NAME_NORMALIZED | VOLUME_NAME_DOS);
        if (length == 0) return std::nullopt;
        if (length < path.size()) {
            path.resize(length);
            break;
        }
        path.assign(length + 1, L'\0');
    }
    return UserPathOfFinalPath(path);
}

// The names of the handles, each asked on a worker thread. A file opened
// for synchronous I/O serves one call at a time: a name asked while another
// thread of its owner waits on it (a folder watched synchronously) waits as
// long. Such a handle is given up after kNameQueryBound; its worker is left
// behind, to end with this process, and a new one takes the next handle.
class NameQueries : public std::enable_shared_from_this<NameQueries> {
public:
    explicit NameQueries(std::vector<CUniqueHandle> handles)
        : m_handles(std::move(handles)), m_names(m_handles.size()) {}

    std::vector<std::optional<std::wstring>> Run() {
        std::unique_lock<std::mutex> lock(m_mutex);
        StartWorker();
        while (m_next < m_handles.size()) {
            const size_t current = m_next;
            if (!m_changed.wait_for(lock, kNameQueryBound, [&] { return m_next != current; })) {
                ++m_generation;
                ++m_next;
                StartWorker();
            }
        }
        return m_names;
    }

private:
    void StartWorker() {
        try {
            std::thread([self = shared_from_this(), generation = m_generation] { self->Work(generation); }).detach();
        } catch (const std::system_error&) {
            // No thread to be had: the names not asked yet stay unknown.
            m_next = m_handles.size();
        }
    }
    void Work(uint64_t generation) {
        std::unique_lock<std::mutex> lock(m_mutex);
        while (generation == m_generation && m_next < m_handles.size()) {
            const size_t index = m_next;
            lock.unlock();
            std::optional<std::wstring> name = FinalPathOf(m_handles[index].get());
            lock.lock();
            if (generation != m_generation) return;
            m_names[index] = std::move(name);
            ++m_next;
            m_changed.notify_all();
        }
    }

    // The handles stay open as long as a worker may still use one.
    const std::vector<CUniqueHandle> m_handles;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::optional<std::wstring>> m_names;
    size_t m_next = 0;
    uint64_t m_generation = 0;
};

}  // namespace

Win32Error ListOpenFiles(uint32_t processId, std::vector<std::wstring>& paths, std::string& problem) {
    paths.clear();
    const CUniqueHandle process(::OpenProcess(PROCESS_DUP_HANDLE, FALSE, processId));
    if (!process) {
        const Win32Error error = ::GetLastError();
        if (error == ERROR_INVALID_PARAMETER)
            problem = "there is no process " + std::to_string(processId);
        else if (error == ERROR_ACCESS_DENIED)
            problem = "the handles of process " + std::to_string(processId) + " may not be read by this user";
        else
            problem = "process " + std::to_string(processId) + " could not be opened: " + ErrorText(error);
        return error;
    }

    // A file of our own shows which object type files have in the list.
    std::vector<wchar_t> self(32768);
    self.resize(::GetModuleFileNameW(nullptr, self.data(), static_cast<DWORD>(self.size())));
    const CUniqueHandle probe(::CreateFileW(std::wstring(self.begin(), self.end()).c_str(), 0,
                                            FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                            OPEN_EXISTING, 0, nullptr));

    std::vector<ULONG_PTR> buffer;
    if (const Win32Error error = QueryHandleList(buffer, problem); error != 0) return error;
    const std::span<const SystemHandleEntryEx> entries = HandleEntries(buffer);

    std::optional<USHORT> fileType;
    for (const SystemHandleEntryEx& entry : entries) {
        if (probe && entry.UniqueProcessId == ::GetCurrentProcessId() &&
            entry.HandleValue == reinterpret_cast<ULONG_PTR>(probe.get()))
            fileType = entry.ObjectTypeIndex;
    }

    std::vector<CUniqueHandle> files;
    for (const SystemHandleEntryEx& entry : entries) {
        if (entry.UniqueProcessId != processId) continue;
        if (fileType && entry.ObjectTypeIndex != *fileType) continue;
        CUniqueHandle copy;
        if (!::DuplicateHandle(process.get(), reinterpret_cast<HANDLE>(entry.HandleValue), ::GetCurrentProcess(),
                               copy.put(), 0, FALSE, DUPLICATE_SAME_ACCESS))
            continue;
        // Safe on any handle; pipes, consoles and devices stop here.
        if (::GetFileType(copy.get()) != FILE_TYPE_DISK) continue;
        files.push_back(std::move(copy));
    }

    const std::vector<std::optional<std::wstring>> names = std::make_shared<NameQueries>(std::move(files))->Run();
    for (const std::optional<std::wstring>& name : names) {
        if (!name) continue;
        // Folders are disk objects too, but no media file.
        const DWORD attributes = ::GetFileAttributesW(name->c_str());
        if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY)) continue;
        paths.push_back(*name);
    }
    return 0;
}

Win32Error WriteInteropFile(const std::wstring& path, const std::vector<uint8_t>& content, std::string& problem) {
    const std::string name = WideToUtf8(path);
    const CUniqueHandle file(::CreateFileW(path.c_str(), GENERIC_WRITE,
                                           FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                           OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    auto fail = [&](const char* what) {
        const Win32Error error = ::GetLastError();
        problem = std::string(what) + " the interop file " + name + ": " + ErrorText(error);
        return error;
    };
    if (!file) return fail("cannot open");
    if (::GetFileType(file.get()) != FILE_TYPE_DISK) {
        problem = "the interop file " + name + " is not a disk file";
        return ERROR_INVALID_PARAMETER;
    }

    auto writeAt = [&](const uint8_t* data, size_t size, int64_t offset) {
        LARGE_INTEGER position{};
        position.QuadPart = offset;
        if (!::SetFilePointerEx(file.get(), position, nullptr, FILE_BEGIN)) return false;
        while (size > 0) {
            DWORD done = 0;
            const DWORD chunk = static_cast<DWORD>(std::min<size_t>(size, 1u << 30));
            if (!::WriteFile(file.get(), data, chunk, &done, nullptr) || done == 0) return false;
            data += done;
            size -= done;
        }
        return true;
    };
    const size_t head = std::min<size_t>(content.size(), kInteropTotalLengthSize);
    // The length field stays zero until the rest is in place.
    const uint8_t zero[kInteropTotalLengthSize] = {};
    if (!writeAt(zero, head, 0) || !writeAt(content.data() + head, content.size() - head, head))
        return fail("cannot write");
    LARGE_INTEGER end{};
    end.QuadPart = static_cast<LONGLONG>(content.size());
    if (!::SetFilePointerEx(file.get(), end, nullptr, FILE_BEGIN) || !::SetEndOfFile(file.get()))
        return fail("cannot set the end of");
    if (!writeAt(content.data(), head, 0)) return fail("cannot write");
    return 0;
}

}  // namespace qv::peltak
