// Files on Linux. The temporary folder is $TMPDIR, else /tmp; a temporary
// file is "qv" + six random characters + ".tmp" in the folder asked for,
// made with mkostemps so that the name is unique and the file exists on
// return. A temporary file opened for the interop goes away when its last
// IFile is released (unlinked by path, which is what delete-on-close means
// here: a process that has it open by then keeps its contents). The local
// application data folder is ${XDG_DATA_HOME:-$HOME/.local/share} and the
// configuration folder ${XDG_CONFIG_HOME:-$HOME/.config}, as the XDG base
// directory rules say.
#pragma once

#include "platform/files.h"

namespace qv {

class CLinuxFiles : public CAddReleaseRef, public IFiles {
public:
    Win32Error GetTempPath(std::string& path) override;
    Win32Error GetTempFileName(const std::string& folder, std::string& path) override;
    Win32Error CreateTemporaryFile(const std::string& path, CRefPtr<IFile>& file) override;
    HRESULT GetLocalAppDataFolder(std::wstring& path) override;
    Win32Error CreateDirectory(const std::wstring& path) override;
    // Refuses what is not a regular file, and files over kMaxWholeFileBytes:
    // these are settings and manifests, and a runaway file must not take all
    // memory.
    Win32Error ReadWholeFile(const std::wstring& path, std::vector<uint8_t>& content) override;
    Win32Error WriteWholeFile(const std::wstring& path, const std::vector<uint8_t>& content) override;
    Win32Error MoveFileEx(const std::wstring& existing, const std::wstring& replaced) override;
    // lstat, so that a symbolic link shows as FILE_ATTRIBUTE_REPARSE_POINT, and
    // a link to a folder also as FILE_ATTRIBUTE_DIRECTORY, as on Windows.
    // Anything else is FILE_ATTRIBUTE_NORMAL.
    Win32Error GetFileAttributes(const std::wstring& path, uint32_t& attributes) override;
    // ${XDG_CONFIG_HOME:-$HOME/.config}.
    Win32Error GetUserConfigFolder(std::wstring& path) override;

    static constexpr std::size_t kMaxWholeFileBytes = 64u << 20;
};

}  // namespace qv
