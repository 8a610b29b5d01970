#include "vendor_fixture.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <system_error>

#include "platform/vendor_library_api.h"
#include "support/build_path.h"

#ifdef _WIN32
#include <windows.h>

#include "platform/win32/win32_vendor_api.h"
#else
#include <unistd.h>

#include "platform/linux/linux_vendor_api.h"
#endif

namespace qv::test {

namespace {

#ifdef _WIN32
constexpr const char* kProfileVariable = "LOCALAPPDATA";
int ProcessId() { return static_cast<int>(::GetCurrentProcessId()); }
#else
constexpr const char* kProfileVariable = "XDG_CONFIG_HOME";
int ProcessId() { return static_cast<int>(::getpid()); }
#endif

}  // namespace

void SetEnvironment(const char* name, const std::filesystem::path& value) {
#ifdef _WIN32
    const std::wstring wideName(name, name + std::strlen(name));
    ::SetEnvironmentVariableW(wideName.c_str(), value.empty() ? nullptr : value.wstring().c_str());
#else
    if (value.empty())
        ::unsetenv(name);
    else
        ::setenv(name, value.string().c_str(), 1);
#endif
}

void VendorFixture::SetUp() {
    static std::atomic<int> counter{0};
    m_folder = std::filesystem::temp_directory_path() /
               ("qv-vendor-test-" + std::to_string(ProcessId()) + "-" + std::to_string(counter.fetch_add(1)));
    std::error_code error;
    std::filesystem::remove_all(m_folder, error);
    std::filesystem::create_directories(Profile(), error);
    m_trace = MakeRef<CTraceRecorder>();
    if (const char* saved = std::getenv(kProfileVariable)) m_savedProfile = saved;
    SetEnvironment("QUORVANE_ORBENT_FILE", ParameterFile());
    SetEnvironment(kProfileVariable, Profile());
    SetEnvironment("QUORVANE_ORBENT_BROWSER", {});
}

void VendorFixture::TearDown() {
    // The library goes before its folder: Windows keeps a loaded file.
    m_port = nullptr;
    SetEnvironment("QUORVANE_ORBENT_FILE", {});
    SetEnvironment("QUORVANE_ORBENT_BROWSER", {});
    SetEnvironment(kProfileVariable, m_savedProfile);
    std::error_code error;
    std::filesystem::remove_all(m_folder, error);
}

void VendorFixture::Place(const char* builtFile) {
    std::error_code error;
    std::filesystem::copy_file(BuildPath(builtFile), m_folder / kVendorLibraryFileName,
                               std::filesystem::copy_options::overwrite_existing, error);
    ASSERT_FALSE(error) << error.message() << " copying " << builtFile;
}

CRefPtr<IVendorApi> VendorFixture::MakePort() {
#ifdef _WIN32
    m_port = CreateWin32VendorApi(m_folder.wstring(), m_trace);
#else
    m_port = CreateLinuxVendorApi(m_folder.wstring(), m_trace);
#endif
    return m_port;
}

std::string VendorFixture::ReadFile(const std::filesystem::path& path) const {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

void VendorFixture::WriteFile(const std::filesystem::path& path, const std::string& text) const {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
}

}  // namespace qv::test
