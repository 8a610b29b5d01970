#include "platform/sim/sim_files.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "core/text.h"
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

// A handle of a temporary file: its own position over the machine's bytes.
class CSimTemporaryFile : public CAddReleaseRef, public IFile {
public:
    CSimTemporaryFile(CRefPtr<CSimFiles> files, std::wstring path)
        : m_files(std::move(files)), m_path(std::move(path)) {}
    // Delete-on-close.
    ~CSimTemporaryFile() override { m_files->Remove(m_path); }

    Win32Error ReadFile(void* data, uint32_t size, uint32_t& read) override {
        Win32Error error = m_files->ReadAt(m_path, m_position, data, size, read);
        m_position += read;
        return error;
    }
    Win32Error WriteFile(const void* data, uint32_t size, uint32_t& written) override {
        written = 0;
        Win32Error error = m_files->WriteAt(m_path, m_position, data, size);
        if (error == ERROR_SUCCESS) written = size;
        m_position += written;
        return error;
    }
    Win32Error SetFilePointer(int64_t offset) override {
        if (offset < 0) return ERROR_NEGATIVE_SEEK;
        m_position = static_cast<uint64_t>(offset);
        return ERROR_SUCCESS;
    }
    Win32Error FlushFileBuffers() override { return ERROR_SUCCESS; }

private:
    const CRefPtr<CSimFiles> m_files;
    const std::wstring m_path;
    uint64_t m_position = 0;
};

}  // namespace

CSimFiles::CSimFiles(CRefPtr<CSimJournal> journal) : m_journal(std::move(journal)) {
    for (std::wstring folder = kTempFolder; !folder.empty(); folder = Parent(folder)) m_folders.insert(folder);
}

Win32Error CSimFiles::GetTempPath(std::string& path) {
    path.clear();
    if (auto failure = m_failures.Enter(L"GetTempPathA")) return *failure;
    path = WideToUtf8(kTempFolder) + "\\";
    return ERROR_SUCCESS;
}

Win32Error CSimFiles::GetTempFileName(const std::string& folder, std::string& path) {
    path.clear();
    if (auto failure = m_failures.Enter(L"GetTempFileNameA")) return *failure;
    std::lock_guard lock(m_mutex);
    const std::wstring folderName = FolderName(Utf8ToWide(folder));
    if (!m_folders.count(folderName)) return ERROR_DIRECTORY;
    // Four hex digits and .tmp, as the platform names them without a prefix.
    std::wstring name;
    do {
        wchar_t digits[16];
        std::swprintf(digits, 16, L"%X.tmp", m_nextTempNumber++ & 0xFFFFu);
        name = folderName + L"\\" + digits;
    } while (m_files.count(name));
    m_files[name] = {};
    path = WideToUtf8(name);
    return ERROR_SUCCESS;
}

Win32Error CSimFiles::CreateTemporaryFile(const std::string& path, CRefPtr<IFile>& file) {
    file = nullptr;
    const std::wstring name = Utf8ToWide(path);
    if (auto failure = m_failures.Enter(L"CreateFileA", {name})) return *failure;
    {
        std::lock_guard lock(m_mutex);
        if (!m_folders.count(Parent(name))) return kErrorPathNotFound;
        m_files[name] = {};  // CREATE_ALWAYS
    }
    file = MakeRef<CSimTemporaryFile>(CRefPtr<CSimFiles>(this), name);
    return ERROR_SUCCESS;
}

Win32Error CSimFiles::ReadAt(const std::wstring& path, uint64_t position, void* data, uint32_t size, uint32_t& read) {
    std::lock_guard lock(m_mutex);
    read = 0;
    auto found = m_files.find(path);
    if (found == m_files.end()) return ERROR_FILE_NOT_FOUND;
    const std::vector<uint8_t>& bytes = found->second;
    if (position >= bytes.size()) return ERROR_SUCCESS;
    read = static_cast<uint32_t>(std::min<uint64_t>(size, bytes.size() - position));
    std::memcpy(data, bytes.data() + position, read);
    return ERROR_SUCCESS;
}

Win32Error CSimFiles::WriteAt(const std::wstring& path, uint64_t position, const void* data, uint32_t size) {
    std::lock_guard lock(m_mutex);
    auto found = m_files.find(path);
    if (found == m_files.end()) return ERROR_FILE_NOT_FOUND;
    std::vector<uint8_t>& bytes = found->second;
    if (bytes.size() < position + size) bytes.resize(position + size);
    std::memcpy(bytes.data() + position, data, size);
    return ERROR_SUCCESS;
}

void CSimFiles::Remove(const std::wstring& path) {
    std::lock_guard lock(m_mutex);
    m_files.erase(path);
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

Win32Error CSimFiles::MoveFileEx(const std::wstring& existing, const std::wstring& replaced) {
    m_journal->Record(L"Files::MoveFileEx", existing + L" -> " + replaced);
    std::lock_guard lock(m_mutex);
    auto it = m_files.find(existing);
    if (it == m_files.end()) return ERROR_FILE_NOT_FOUND;
    if (m_folders.count(replaced)) return ERROR_ACCESS_DENIED;
    if (!m_folders.count(Parent(replaced))) return kErrorPathNotFound;
    m_files[replaced] = std::move(it->second);
    m_files.erase(it);
    ++m_writeCounts[replaced];
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
