#include "platform/sim/sim_files.h"

#include <cstdio>
#include <mutex>

#include "platform/codes.h"

namespace qv {

namespace {

constexpr Win32Error kErrorPathNotFound = 3;

// A folder's name as stored: without the trailing separators that a caller
// may add.
std::wstring FolderName(std::wstring path) {
    while (!path.empty() && path.back() == L'\\') path.pop_back();
    return path;
}

// The folder that holds the path, or empty for a drive.
std::wstring Parent(const std::wstring& path) {
    const std::wstring name = FolderName(path);
    const std::size_t separator = name.rfind(L'\\');
    return separator == std::wstring::npos ? std::wstring() : name.substr(0, separator);
}

Win32Error TemporaryFilesNotSimulated() {
    static std::once_flag said;
    std::call_once(said, [] { std::fprintf(stderr, "simulated: temporary files are not simulated\n"); });
    return ERROR_CALL_NOT_IMPLEMENTED;
}

}  // namespace

CSimFiles::CSimFiles(CRefPtr<CSimJournal> journal) : m_journal(std::move(journal)) {
    for (std::wstring folder = kLocalAppData; !folder.empty(); folder = Parent(folder)) m_folders.insert(folder);
}

Win32Error CSimFiles::GetTempPath(std::string& path) { return TemporaryFilesNotSimulated(); }
Win32Error CSimFiles::GetTempFileName(const std::string& folder, std::string& path) {
    return TemporaryFilesNotSimulated();
}
Win32Error CSimFiles::CreateTemporaryFile(const std::string& path, CRefPtr<IFile>& file) {
    file = nullptr;
    return TemporaryFilesNotSimulated();
}

HRESULT CSimFiles::GetLocalAppDataFolder(std::wstring& path) {
    path = kLocalAppData;
    return S_OK;
}

Win32Error CSimFiles::CreateDirectory(const std::wstring& path) {
    std::lock_guard lock(m_mutex);
    const std::wstring name = FolderName(path);
    if (m_folders.count(name) || m_files.count(name)) return ERROR_ALREADY_EXISTS;
    if (!m_folders.count(Parent(name))) return kErrorPathNotFound;
    m_folders.insert(name);
    return ERROR_SUCCESS;
}

Win32Error CSimFiles::ReadWholeFile(const std::wstring& path, std::vector<uint8_t>& content) {
    std::lock_guard lock(m_mutex);
    content.clear();
    auto file = m_files.find(path);
    if (file == m_files.end()) return m_folders.count(path) ? ERROR_ACCESS_DENIED : ERROR_FILE_NOT_FOUND;
    content = file->second;
    return ERROR_SUCCESS;
}

Win32Error CSimFiles::WriteWholeFile(const std::wstring& path, const std::vector<uint8_t>& content) {
    m_journal->Record(L"Files::WriteWholeFile", path);
    std::lock_guard lock(m_mutex);
    if (auto failure = m_writeFailures.find(path); failure != m_writeFailures.end()) return failure->second;
    if (m_folders.count(path)) return ERROR_ACCESS_DENIED;
    if (!m_folders.count(Parent(path))) return kErrorPathNotFound;
    m_files[path] = content;
    ++m_writeCounts[path];
    return ERROR_SUCCESS;
}

Win32Error CSimFiles::GetFileAttributes(const std::wstring& path, uint32_t& attributes) {
    std::lock_guard lock(m_mutex);
    attributes = INVALID_FILE_ATTRIBUTES;
    if (m_folders.count(FolderName(path))) {
        attributes = FILE_ATTRIBUTE_DIRECTORY;
    } else if (m_files.count(path)) {
        attributes = FILE_ATTRIBUTE_NORMAL;
    } else {
        return ERROR_FILE_NOT_FOUND;
    }
    return ERROR_SUCCESS;
}

Win32Error CSimFiles::GetUserConfigFolder(std::wstring& path) {
    path.clear();
    return ERROR_NOT_SUPPORTED;
}

std::optional<std::vector<uint8_t>> CSimFiles::FileContent(const std::wstring& path) {
    std::lock_guard lock(m_mutex);
    auto file = m_files.find(path);
    if (file == m_files.end()) return std::nullopt;
    return file->second;
}

void CSimFiles::PutFile(const std::wstring& path, std::vector<uint8_t> content) {
    std::lock_guard lock(m_mutex);
    PutFoldersAbove(path);
    m_files[path] = std::move(content);
}

bool CSimFiles::FolderExists(const std::wstring& path) {
    std::lock_guard lock(m_mutex);
    return m_folders.count(FolderName(path)) != 0;
}

int CSimFiles::WriteCount(const std::wstring& path) {
    std::lock_guard lock(m_mutex);
    auto count = m_writeCounts.find(path);
    return count == m_writeCounts.end() ? 0 : count->second;
}

void CSimFiles::FailWrites(const std::wstring& path, Win32Error error) {
    std::lock_guard lock(m_mutex);
    m_writeFailures[path] = error;
}

void CSimFiles::PutFoldersAbove(const std::wstring& path) {
    // Called with m_mutex held, or from the constructor.
    for (std::wstring folder = Parent(path); !folder.empty(); folder = Parent(folder)) m_folders.insert(folder);
}

}  // namespace qv
