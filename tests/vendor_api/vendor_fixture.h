// A folder of its own for each vendor library test: the library (or a double)
// copied in under the library's own name, the parameter file, and a user
// profile for the browsers, all pointed to through the environment; the port
// of the machine's platform made over the folder, with its trace kept.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/debug_output.h"
#include "platform/vendor_api.h"

namespace qv::test {

class CTraceRecorder : public CAddReleaseRef, public IDebugOutput {
public:
    void OutputDebugString(const std::wstring& line) override { lines.push_back(line); }
    std::vector<std::wstring> lines;
};

void SetEnvironment(const char* name, const std::filesystem::path& value);

class VendorFixture : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Copies a built library beside the "program" as the vendor library.
    void Place(const char* builtFile);
    // The port of this platform over the folder, as the platform makes it.
    CRefPtr<IVendorApi> MakePort();
    std::filesystem::path ParameterFile() const { return m_folder / "orbent-parameters.json"; }
    // The folder that stands for the user's profile: XDG_CONFIG_HOME on
    // Linux, LOCALAPPDATA on Windows.
    std::filesystem::path Profile() const { return m_folder / "profile"; }
    std::string ReadFile(const std::filesystem::path& path) const;
    void WriteFile(const std::filesystem::path& path, const std::string& text) const;

    std::filesystem::path m_folder;
    CRefPtr<CTraceRecorder> m_trace;
    CRefPtr<IVendorApi> m_port;

private:
    std::filesystem::path m_savedProfile;
};

}  // namespace qv::test
