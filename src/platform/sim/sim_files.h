// Files of the simulated machine: folders and whole files in memory, under a
// Windows-like local application data folder. A test reads and puts files,
// counts the writes of a path and makes writes fail. The machine is
// Windows-like, so it has no user configuration folder: the registry points
// the browsers at the manifest. Temporary files live in a Temp folder below
// the local application data; one made delete-on-close goes when its last
// handle does, and a simulated child may write it by path meanwhile.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/files.h"
#include "platform/sim/sim_failures.h"
#include "platform/sim/sim_journal.h"

namespace qv {

class CSimFiles : public CAddReleaseRef, public IFiles {
public:
    static constexpr const wchar_t* kLocalAppData = L"C:\\Users\\Sim\\AppData\\Local";

    explicit CSimFiles(CRefPtr<CSimJournal> journal);

    static constexpr const wchar_t* kTempFolder = L"C:\\Users\\Sim\\AppData\\Local\\Temp";

    // Each of the three can be made to fail through Failures().
    Win32Error GetTempPath(std::string& path) override;
    Win32Error GetTempFileName(const std::string& folder, std::string& path) override;
    Win32Error CreateTemporaryFile(const std::string& path, CRefPtr<IFile>& file) override;

    HRESULT GetLocalAppDataFolder(std::wstring& path) override;
    // ERROR_PATH_NOT_FOUND without the parent folder, ERROR_ALREADY_EXISTS
    // when the name is taken.
    Win32Error CreateDirectory(const std::wstring& path) override;
    Win32Error ReadWholeFile(const std::wstring& path, std::vector<uint8_t>& content) override;
    // Journaled; ERROR_PATH_NOT_FOUND without the folder.
    Win32Error WriteWholeFile(const std::wstring& path, const std::vector<uint8_t>& content) override;
    Win32Error MoveFileEx(const std::wstring& existing, const std::wstring& replaced) override;
    Win32Error GetFileAttributes(const std::wstring& path, uint32_t& attributes) override;
    Win32Error GetUserConfigFolder(std::wstring& path) override;

    // What a test sees and sets. Paths are compared as written.
    std::optional<std::vector<uint8_t>> FileContent(const std::wstring& path);
    // Puts the file and the folders above it, without counting a write.
    void PutFile(const std::wstring& path, std::vector<uint8_t> content);
    bool FolderExists(const std::wstring& path);
    // How many times WriteWholeFile succeeded for the path.
    int WriteCount(const std::wstring& path);
    // From now on writes of the path fail with the error.
    void FailWrites(const std::wstring& path, Win32Error error);
    // Failures of GetTempPathA, GetTempFileNameA and CreateFileA.
    CSimFailures& Failures() { return m_failures; }

    // The open file's reads and writes, at a position of the caller's.
    Win32Error ReadAt(const std::wstring& path, uint64_t position, void* data, uint32_t size, uint32_t& read);
    Win32Error WriteAt(const std::wstring& path, uint64_t position, const void* data, uint32_t size);
    void Remove(const std::wstring& path);

private:
    void PutFoldersAbove(const std::wstring& path);

    const CRefPtr<CSimJournal> m_journal;
    std::mutex m_mutex;
    std::set<std::wstring> m_folders;
    std::map<std::wstring, std::vector<uint8_t>> m_files;
    std::map<std::wstring, int> m_writeCounts;
    std::map<std::wstring, Win32Error> m_writeFailures;
    uint32_t m_nextTempNumber = 1;
    CSimFailures m_failures{L"GetTempPathA", L"GetTempFileNameA", L"CreateFileA"};
};

}  // namespace qv
