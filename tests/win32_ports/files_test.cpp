// The Windows files port against the real file system: the interop file's
// way (a temporary name, a delete-on-close file that a child writes into by
// its path), the local application data folder, and whole small files.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/text.h"
#include "platform/win32/windows_api.h"
#include "win32_ports_support.h"

namespace qv {
namespace {

using test::StartChild;
using test::UniqueName;
using test::WaitForExit;
using test::Win32Platform;

bool FileExists(const std::string& path) { return ::GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

class Win32FilesTest : public ::testing::Test {
protected:
    CRefPtr<IFiles> files = Win32Platform()->Files();
};

TEST_F(Win32FilesTest, TheInteropFileIsSharedWithAChildAndGoesWithTheLastHandleAndBadPathsFail) {
    std::string folder;
    ASSERT_EQ(files->GetTempPath(folder), 0u);
    ASSERT_FALSE(folder.empty());
    EXPECT_EQ(folder.back(), '\\');
    std::string path;
    ASSERT_EQ(files->GetTempFileName(folder, path), 0u);
    EXPECT_EQ(path.rfind(folder, 0), 0u) << path;
    EXPECT_TRUE(FileExists(path)) << "GetTempFileName makes the file";

    CRefPtr<IFile> file;
    ASSERT_EQ(files->CreateTemporaryFile(path, file), 0u);
    CRefPtr<IProcessHandle> child = StartChild(L"write-file \"" + Utf8ToWide(path) + L"\" from-the-helper");
    ASSERT_TRUE(child);
    ASSERT_TRUE(WaitForExit(child.get()));
    uint32_t code = 1;
    ASSERT_EQ(child->GetExitCodeProcess(code), 0u);
    ASSERT_EQ(code, 0u) << "the child could not write into the file (105: open, 106: write)";

    ASSERT_EQ(file->FlushFileBuffers(), 0u);
    ASSERT_EQ(file->SetFilePointer(5), 0u);
    char text[64] = {};
    uint32_t read = 0;
    ASSERT_EQ(file->ReadFile(text, sizeof text, read), 0u);
    EXPECT_EQ(std::string(text, read), "the-helper");

    uint32_t written = 0;
    ASSERT_EQ(file->SetFilePointer(0), 0u);
    ASSERT_EQ(file->WriteFile("FROM", 4, written), 0u);
    EXPECT_EQ(written, 4u);
    ASSERT_EQ(file->SetFilePointer(0), 0u);
    ASSERT_EQ(file->ReadFile(text, sizeof text, read), 0u);
    EXPECT_EQ(std::string(text, read), "FROM-the-helper");

    file = nullptr;
    EXPECT_FALSE(FileExists(path)) << "the file goes with its last handle";

    EXPECT_NE(files->GetTempFileName("C:\\no\\such\\folder\\", path), 0u);
    EXPECT_TRUE(path.empty());
    EXPECT_EQ(files->CreateTemporaryFile("C:\\no\\such\\folder\\x.tmp", file),
              static_cast<Win32Error>(ERROR_PATH_NOT_FOUND));
    EXPECT_FALSE(file);
}

TEST_F(Win32FilesTest, AFolderBelowLocalAppDataHoldsWholeFiles) {
    std::wstring appData;
    ASSERT_EQ(files->GetLocalAppDataFolder(appData), S_OK);
    ASSERT_FALSE(appData.empty());
    const DWORD attributes = ::GetFileAttributesW(appData.c_str());
    ASSERT_NE(attributes, INVALID_FILE_ATTRIBUTES);
    EXPECT_TRUE(attributes & FILE_ATTRIBUTE_DIRECTORY);

    const std::wstring folder = appData + L"\\" + UniqueName(L"QvFilesTest");
    ASSERT_EQ(files->CreateDirectory(folder), 0u);
    EXPECT_EQ(files->CreateDirectory(folder), static_cast<Win32Error>(ERROR_ALREADY_EXISTS));
    EXPECT_EQ(files->CreateDirectory(folder + L"\\missing\\below"), static_cast<Win32Error>(ERROR_PATH_NOT_FOUND));

    const std::wstring path = folder + L"\\manifest \u00e9.json";
    std::vector<uint8_t> content(200000);
    for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<uint8_t>(i * 7);
    ASSERT_EQ(files->WriteWholeFile(path, content), 0u);
    std::vector<uint8_t> back;
    ASSERT_EQ(files->ReadWholeFile(path, back), 0u);
    EXPECT_TRUE(back == content);

    ASSERT_EQ(files->WriteWholeFile(path, {}), 0u);
    back = {1};
    ASSERT_EQ(files->ReadWholeFile(path, back), 0u);
    EXPECT_TRUE(back.empty());

    back = {1};
    EXPECT_EQ(files->ReadWholeFile(folder + L"\\absent.json", back), static_cast<Win32Error>(ERROR_FILE_NOT_FOUND));
    EXPECT_TRUE(back.empty());
    EXPECT_NE(files->WriteWholeFile(folder + L"\\missing\\x.json", content), 0u);

    ::DeleteFileW(path.c_str());
    ::RemoveDirectoryW(folder.c_str());
}

}  // namespace
}  // namespace qv
