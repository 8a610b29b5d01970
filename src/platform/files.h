// Files the system makes or reads for itself: the temporary interop file
// shared with the helper executable, the per-user folders of the browsers'
// manifest, and whole small files.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/ref.h"
#include "platform/types.h"

namespace qv {

// An open file; releasing the last reference closes it, and a file made
// with delete-on-close goes with it.
struct IFile : virtual IAddReleaseRef {
    virtual Win32Error ReadFile(void* data, uint32_t size, uint32_t& read) = 0;
    virtual Win32Error WriteFile(const void* data, uint32_t size, uint32_t& written) = 0;
    // SetFilePointer from the start.
    virtual Win32Error SetFilePointer(int64_t offset) = 0;
    virtual Win32Error FlushFileBuffers() = 0;
};

struct IFiles : virtual IAddReleaseRef {
    // GetTempPathA: the folder for temporary files, with a trailing separator.
    virtual Win32Error GetTempPath(std::string& path) = 0;
    // GetTempFileNameA(folder, "", 0): makes a new empty file of a unique name.
    virtual Win32Error GetTempFileName(const std::string& folder, std::string& path) = 0;
    // CreateFileA for reading and writing, all sharing, CREATE_ALWAYS,
    // temporary and delete-on-close.
    virtual Win32Error CreateTemporaryFile(const std::string& path, CRefPtr<IFile>& file) = 0;
    // SHGetKnownFolderPath(FOLDERID_LocalAppData).
    virtual HRESULT GetLocalAppDataFolder(std::wstring& path) = 0;
    // CreateDirectoryW; ERROR_ALREADY_EXISTS (183) when it is there.
    virtual Win32Error CreateDirectory(const std::wstring& path) = 0;
    // _wfopen_s with "rb" and a read of the whole file.
    virtual Win32Error ReadWholeFile(const std::wstring& path, std::vector<uint8_t>& content) = 0;
    // _wfopen_s with "wb" and one write.
    virtual Win32Error WriteWholeFile(const std::wstring& path, const std::vector<uint8_t>& content) = 0;
    // MoveFileExW with MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH: the
    // one step that makes a file written beside its place the file itself,
    // so a reader sees the old content or the new, never half of one.
    virtual Win32Error MoveFileEx(const std::wstring& existing, const std::wstring& replaced) = 0;
    // GetFileAttributesW: FILE_ATTRIBUTE_DIRECTORY, FILE_ATTRIBUTE_REPARSE_POINT
    // (a link, not followed) and kin; INVALID_FILE_ATTRIBUTES and the error
    // when there is nothing by that name.
    virtual Win32Error GetFileAttributes(const std::wstring& path, uint32_t& attributes) = 0;
    // The user's configuration folder, where the browsers of a Linux desktop
    // look for native-messaging manifests. ERROR_NOT_SUPPORTED on Windows:
    // there the registry points the browsers at the manifest.
    virtual Win32Error GetUserConfigFolder(std::wstring& path) = 0;
};

}  // namespace qv
