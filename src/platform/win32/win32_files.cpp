#include "platform/win32/win32_files.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "platform/win32/win32_co_task_mem.h"
#include "platform/win32/win32_unique_handle.h"

#include <knownfolders.h>
#include <shlobj.h>

namespace qv {

namespace {

constexpr Win32Error kErrorFileTooLarge = 223;  // ERROR_FILE_TOO_LARGE

class CWin32TemporaryFile : public CAddReleaseRef, public IFile {
public:
    explicit CWin32TemporaryFile(CUniqueHandle handle) : m_handle(std::move(handle)) {}

    Win32Error ReadFile(void* data, uint32_t size, uint32_t& read) override {
        DWORD done = 0;
        const BOOL ok = ::ReadFile(m_handle.get(), data, size, &done, nullptr);
        read = done;
        return ok ? ERROR_SUCCESS : ::GetLastError();
    }
    Win32Error WriteFile(const void* data, uint32_t size, uint32_t& written) override {
        DWORD done = 0;
        const BOOL ok = ::WriteFile(m_handle.get(), data, size, &done, nullptr);
        written = done;
        return ok ? ERROR_SUCCESS : ::GetLastError();
    }
    Win32Error SetFilePointer(int64_t offset) override {
        LONG high = static_cast<LONG>(offset >> 32);
        const DWORD low = ::SetFilePointer(m_handle.get(), static_cast<LONG>(offset & 0xFFFFFFFF), &high, FILE_BEGIN);
        // INVALID_SET_FILE_POINTER is also a valid low half; only the last
        // error tells the two apart.
        if (low == INVALID_SET_FILE_POINTER) {
            const Win32Error error = ::GetLastError();
            if (error != NO_ERROR) return error;
        }
        return ERROR_SUCCESS;
    }
    Win32Error FlushFileBuffers() override {
        return ::FlushFileBuffers(m_handle.get()) ? ERROR_SUCCESS : ::GetLastError();
    }

private:
    const CUniqueHandle m_handle;
};

// The C runtime's file calls keep the system's error of their last failure
// beside errno; that is the error this port reports.
Win32Error RuntimeError() {
    const unsigned long system = _doserrno;
    if (system != 0) return static_cast<Win32Error>(system);
    return errno == ENOENT ? ERROR_FILE_NOT_FOUND : ERROR_ACCESS_DENIED;
}

class CRuntimeFile {
public:
    CRuntimeFile(const std::wstring& path, const wchar_t* mode) {
        _doserrno = 0;
        m_error = _wfopen_s(&m_file, path.c_str(), mode) == 0 && m_file ? ERROR_SUCCESS : RuntimeError();
    }
    ~CRuntimeFile() {
        if (m_file) std::fclose(m_file);
    }
    CRuntimeFile(const CRuntimeFile&) = delete;
    CRuntimeFile& operator=(const CRuntimeFile&) = delete;

    Win32Error OpenError() const { return m_error; }
    std::FILE* get() const { return m_file; }
    // Closes now, to learn of a write that failed only at the close.
    bool Close() {
        std::FILE* file = m_file;
        m_file = nullptr;
        return std::fclose(file) == 0;
    }

private:
    std::FILE* m_file = nullptr;
    Win32Error m_error;
};

}  // namespace

Win32Error CWin32Files::GetTempPath(std::string& path) {
    path.clear();
    std::string buffer(MAX_PATH + 1, '\0');
    for (;;) {
        const DWORD length = ::GetTempPathA(static_cast<DWORD>(buffer.size()), buffer.data());
        if (length == 0) return ::GetLastError();
        // A result beyond the buffer is the size that it needs, terminator included.
        if (length < buffer.size()) {
            buffer.resize(length);
            path = std::move(buffer);
            return ERROR_SUCCESS;
        }
        buffer.assign(length, '\0');
    }
}

Win32Error CWin32Files::GetTempFileName(const std::string& folder, std::string& path) {
    path.clear();
    // The call writes up to MAX_PATH characters, terminator included.
    char buffer[MAX_PATH + 1]{};
    if (::GetTempFileNameA(folder.c_str(), "", 0, buffer) == 0) return ::GetLastError();
    path = buffer;
    return ERROR_SUCCESS;
}

Win32Error CWin32Files::CreateTemporaryFile(const std::string& path, CRefPtr<IFile>& file) {
    file = nullptr;
    CUniqueHandle handle(::CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, CREATE_ALWAYS,
                                       FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    if (!handle) return ::GetLastError();
    file = MakeRef<CWin32TemporaryFile>(std::move(handle));
    return ERROR_SUCCESS;
}

HRESULT CWin32Files::GetLocalAppDataFolder(std::wstring& path) {
    path.clear();
    // The text is the caller's to free even when the call fails.
    CCoTaskMemString folder;
    HRESULT hr = ::SHGetKnownFolderPath(FOLDERID_LocalAppData, 0, nullptr, folder.put());
    if (SUCCEEDED(hr)) path = folder.ToWide();
    return hr;
}

Win32Error CWin32Files::CreateDirectory(const std::wstring& path) {
    return ::CreateDirectoryW(path.c_str(), nullptr) ? ERROR_SUCCESS : ::GetLastError();
}

Win32Error CWin32Files::ReadWholeFile(const std::wstring& path, std::vector<uint8_t>& content) {
    content.clear();
    CRuntimeFile file(path, L"rb");
    if (file.OpenError() != ERROR_SUCCESS) return file.OpenError();
    std::vector<uint8_t> data;
    uint8_t buffer[65536];
    for (;;) {
        const std::size_t n = std::fread(buffer, 1, sizeof buffer, file.get());
        if (data.size() + n > kMaxWholeFileBytes) return kErrorFileTooLarge;
        data.insert(data.end(), buffer, buffer + n);
        if (n < sizeof buffer) break;
    }
    if (std::ferror(file.get())) return ERROR_READ_FAULT;
    content = std::move(data);
    return ERROR_SUCCESS;
}

Win32Error CWin32Files::WriteWholeFile(const std::wstring& path, const std::vector<uint8_t>& content) {
    CRuntimeFile file(path, L"wb");
    if (file.OpenError() != ERROR_SUCCESS) return file.OpenError();
    if (!content.empty() && std::fwrite(content.data(), 1, content.size(), file.get()) != content.size())
        return ERROR_WRITE_FAULT;
    if (!file.Close()) return ERROR_WRITE_FAULT;
    return ERROR_SUCCESS;
}

Win32Error CWin32Files::MoveFileEx(const std::wstring& existing, const std::wstring& replaced) {
    if (!::MoveFileExW(existing.c_str(), replaced.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
        return ::GetLastError();
    return ERROR_SUCCESS;
}

Win32Error CWin32Files::GetFileAttributes(const std::wstring& path, uint32_t& attributes) {
    attributes = ::GetFileAttributesW(path.c_str());
    return attributes == INVALID_FILE_ATTRIBUTES ? ::GetLastError() : ERROR_SUCCESS;
}

Win32Error CWin32Files::GetUserConfigFolder(std::wstring& path) {
    path.clear();
    return ERROR_NOT_SUPPORTED;
}

}  // namespace qv
