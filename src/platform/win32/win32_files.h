// The files port on Windows: the temporary interop file (GetTempPathA,
// GetTempFileNameA, CreateFileA with delete-on-close), the per-user local
// application data folder, and whole small files through _wfopen_s.
#pragma once

#include "platform/files.h"

namespace qv {

class CWin32Files : public CAddReleaseRef, public IFiles {
public:
    // The longest file ReadWholeFile takes: the files read whole are small
    // settings and manifests, and a huge one must not exhaust memory.
    static constexpr std::size_t kMaxWholeFileBytes = 64u << 20;

    Win32Error GetTempPath(std::string& path) override;
    Win32Error GetTempFileName(const std::string& folder, std::string& path) override;
    Win32Error CreateTemporaryFile(const std::string& path, CRefPtr<IFile>& file) override;
    HRESULT GetLocalAppDataFolder(std::wstring& path) override;
    Win32Error CreateDirectory(const std::wstring& path) override;
    // ERROR_FILE_TOO_LARGE (223) beyond kMaxWholeFileBytes; nothing is
    // returned then, and nothing on any failure.
    Win32Error ReadWholeFile(const std::wstring& path, std::vector<uint8_t>& content) override;
    Win32Error WriteWholeFile(const std::wstring& path, const std::vector<uint8_t>& content) override;
    Win32Error MoveFileEx(const std::wstring& existing, const std::wstring& replaced) override;
    Win32Error GetFileAttributes(const std::wstring& path, uint32_t& attributes) override;
    // ERROR_NOT_SUPPORTED: on Windows the registry points the browsers at
    // the native-messaging manifest, not a folder of the user's.
    Win32Error GetUserConfigFolder(std::wstring& path) override;
};

}  // namespace qv
