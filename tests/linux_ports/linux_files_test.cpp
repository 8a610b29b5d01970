// The file port on Linux: the temporary folder and files of the interop,
// the per-user data folder, and whole files.
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>

#include <gtest/gtest.h>

#include "core/text.h"
#include "platform/codes.h"
#include "platform/linux/linux_files.h"
#include "sound_server.h"

namespace qv {
namespace {

class LinuxFilesTest : public testing::Test {
protected:
    CRefPtr<CLinuxFiles> files = MakeRef<CLinuxFiles>();
    std::string Folder() const { return test::SoundServer::Get().Folder(); }
};

TEST_F(LinuxFilesTest, TemporaryFolderIsTmpdirWithATrailingSlashAndNamesAreUnique) {
    std::string folder;
    ASSERT_EQ(files->GetTempPath(folder), 0u);
    EXPECT_EQ(folder, Folder() + "/tmp/");
    std::set<std::string> names;
    for (int i = 0; i < 20; ++i) {
        std::string path;
        ASSERT_EQ(files->GetTempFileName(folder, path), 0u);
        EXPECT_EQ(path.rfind(folder, 0), 0u) << path;
        EXPECT_TRUE(std::filesystem::is_regular_file(path)) << "made, not only named";
        names.insert(path);
    }
    EXPECT_EQ(names.size(), 20u);
    std::string path;
    EXPECT_EQ(files->GetTempFileName(Folder() + "/no-such-folder", path), 3u);
}

TEST_F(LinuxFilesTest, TemporaryFileIsReadWriteSharedByPathAndGoesWithItsLastReference) {
    std::string folder, path;
    ASSERT_EQ(files->GetTempPath(folder), 0u);
    ASSERT_EQ(files->GetTempFileName(folder, path), 0u);
    CRefPtr<IFile> file;
    ASSERT_EQ(files->CreateTemporaryFile(path, file), 0u);

    // Another process writes the file by path, as the helper executable does.
    { std::ofstream(path, std::ios::binary) << "written by path"; }
    ASSERT_EQ(file->FlushFileBuffers(), 0u);
    ASSERT_EQ(file->SetFilePointer(0), 0u);
    char buffer[64] = {};
    uint32_t read = 0;
    ASSERT_EQ(file->ReadFile(buffer, sizeof buffer, read), 0u);
    EXPECT_EQ(std::string(buffer, read), "written by path");

    uint32_t written = 0;
    ASSERT_EQ(file->SetFilePointer(8), 0u);
    ASSERT_EQ(file->WriteFile("XY", 2, written), 0u);
    EXPECT_EQ(written, 2u);
    ASSERT_EQ(file->SetFilePointer(0), 0u);
    ASSERT_EQ(file->ReadFile(buffer, sizeof buffer, read), 0u);
    EXPECT_EQ(std::string(buffer, read), "written XY path");
    EXPECT_EQ(file->SetFilePointer(-1), ERROR_INVALID_PARAMETER);

    file = nullptr;
    EXPECT_FALSE(std::filesystem::exists(path)) << "delete on close";
}

TEST_F(LinuxFilesTest, LocalAppDataFollowsTheXdgRules) {
    std::wstring folder;
    ASSERT_EQ(files->GetLocalAppDataFolder(folder), S_OK);
    EXPECT_EQ(WideToUtf8(folder), Folder() + "/home/.local/share") << "XDG_DATA_HOME is not set in the tests";
    ASSERT_EQ(files->GetUserConfigFolder(folder), 0u);
    EXPECT_EQ(WideToUtf8(folder), Folder() + "/home/.config") << "XDG_CONFIG_HOME is not set in the tests";
}

TEST_F(LinuxFilesTest, AttributesTellFoldersAndLinksWithoutFollowingThem) {
    const std::string folder = Folder() + "/tmp/attributes";
    std::filesystem::create_directories(folder + "/dir");
    std::ofstream(folder + "/file") << "x";
    std::filesystem::create_symlink(folder + "/file", folder + "/link-to-file");
    std::filesystem::create_directory_symlink(folder + "/dir", folder + "/link-to-dir");
    std::filesystem::create_symlink(folder + "/gone", folder + "/dangling");
    struct Case {
        const char* name;
        Win32Error error;
        uint32_t attributes;
    };
    for (const Case& c : {Case{"dir", 0, FILE_ATTRIBUTE_DIRECTORY}, Case{"file", 0, FILE_ATTRIBUTE_NORMAL},
                          Case{"link-to-file", 0, FILE_ATTRIBUTE_REPARSE_POINT},
                          Case{"link-to-dir", 0, FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY},
                          Case{"dangling", 0, FILE_ATTRIBUTE_REPARSE_POINT},
                          Case{"missing", ERROR_FILE_NOT_FOUND, INVALID_FILE_ATTRIBUTES}}) {
        uint32_t attributes = 0;
        EXPECT_EQ(files->GetFileAttributes(Utf8ToWide(folder + "/" + c.name), attributes), c.error) << c.name;
        EXPECT_EQ(attributes, c.attributes) << c.name;
    }
}

TEST_F(LinuxFilesTest, DirectoriesAndWholeFiles) {
    const std::wstring directory = Utf8ToWide(Folder() + "/tmp/made");
    EXPECT_EQ(files->CreateDirectory(directory), 0u);
    EXPECT_EQ(files->CreateDirectory(directory), 183u) << "ERROR_ALREADY_EXISTS";
    EXPECT_EQ(files->CreateDirectory(directory + L"/a/b"), 3u) << "ERROR_PATH_NOT_FOUND";

    const std::wstring file = directory + L"/ünïcode.json";
    const std::vector<uint8_t> content{'{', '}', 0, 0xFF, '\n'};
    ASSERT_EQ(files->WriteWholeFile(file, content), 0u);
    std::vector<uint8_t> back{1, 2, 3};
    ASSERT_EQ(files->ReadWholeFile(file, back), 0u);
    EXPECT_EQ(back, content);
    ASSERT_EQ(files->WriteWholeFile(file, {}), 0u);
    ASSERT_EQ(files->ReadWholeFile(file, back), 0u);
    EXPECT_TRUE(back.empty()) << "truncated, as \"wb\" does";

    EXPECT_EQ(files->ReadWholeFile(directory + L"/missing", back), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(files->ReadWholeFile(directory, back), ERROR_ACCESS_DENIED) << "a folder is no file";
    EXPECT_EQ(files->ReadWholeFile(L"/dev/zero", back), ERROR_ACCESS_DENIED) << "nor an endless device";
}

}  // namespace
}  // namespace qv
