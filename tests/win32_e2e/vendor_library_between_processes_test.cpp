// The classifier, ContentClassifier.exe, started as a process of its own from
// a folder with the vendor's library beside it, with a library of that name
// that lacks its functions, and with none: what it says at start is read
// through the system's debug output, as a viewer on the machine would read it.
//
// Under Wine no toast can be made in the classifier's process: Wine tells of
// no endpoint that comes or goes, and of no session. The app service port's
// failure under Wine is therefore shown in the port's own tests; here the
// start of the program is what runs between processes.
#include <atomic>
#include <chrono>
#include <filesystem>
#include <optional>
#include <ostream>
#include <string>
#include <system_error>

#include <gtest/gtest.h>

#include "child_process.h"
#include "core/text.h"
#include "debug_output_monitor.h"
#include "platform/vendor_library_api.h"
#include "platform/win32/windows_api.h"
#include "support/build_path.h"

namespace qv {
namespace {

using namespace std::chrono_literals;
using test::ChildProcess;
using test::DebugOutputMonitor;

// A cold Wine prefix takes seconds to start a process.
constexpr std::chrono::milliseconds kStepLimit = 30s;

struct StartCase {
    const char* what;
    const char* library;  // copied beside the classifier as its vendor library; none when null
    std::string said;     // after the folder's name
};
void PrintTo(const StartCase& start, std::ostream* out) { *out << start.what; }

class VendorLibraryBetweenProcessesTest : public ::testing::TestWithParam<StartCase> {
protected:
    void SetUp() override {
        static std::atomic<int> count{0};
        m_name = "qv-vendor-e2e-" + std::to_string(::GetCurrentProcessId()) + "-" + std::to_string(++count);
        m_folder = std::filesystem::temp_directory_path() / m_name;
        std::filesystem::create_directories(m_folder);
    }
    void TearDown() override {
        // The library and the program stay locked while it runs.
        if (m_classifier && HasFailure()) {
            const std::optional<uint32_t> code = m_classifier->WaitForExit(0ms);
            std::printf("---- the classifier (%s) wrote to its debug output:\n%s---- and to its console:\n%s---- end\n",
                        code ? ("ended with " + std::to_string(*code)).c_str() : "still running",
                        m_monitor.Output(m_classifier->Id()).c_str(), m_classifier->Output().c_str());
        }
        m_classifier.reset();
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }

    void Place(const std::filesystem::path& from, const std::wstring& as) {
        std::filesystem::copy_file(from, m_folder / as, std::filesystem::copy_options::overwrite_existing);
    }

    std::string m_name;
    std::filesystem::path m_folder;
    DebugOutputMonitor m_monitor;
    std::unique_ptr<ChildProcess> m_classifier;
};

TEST_P(VendorLibraryBetweenProcessesTest, TheClassifierSaysAtStartWhatItFoundBesideIt) {
    ASSERT_EQ(m_monitor.Failure(), "");
    const StartCase& start = GetParam();
    ASSERT_NO_THROW(Place(test::BesideTestProgram(L"ContentClassifier.exe"), L"ContentClassifier.exe"));
    if (start.library) {
        ASSERT_NO_THROW(Place(test::BuildPath(start.library), kVendorLibraryFileName));
    }

    m_classifier =
        std::make_unique<ChildProcess>((m_folder / L"ContentClassifier.exe").wstring(), std::vector<std::wstring>{});
    ASSERT_TRUE(m_classifier->Started());
    // The folder's own name shows that the copy beside this program was the
    // one tried, not one found on a search path.
    const std::string expected = "Vendor library " + WideToUtf8(m_folder.wstring()) + "\\ORBENT64.dll" + start.said;
    EXPECT_TRUE(m_monitor.WaitForLineWith(m_classifier->Id(), expected, kStepLimit))
        << "expected \"" << expected << "\"";
}

INSTANTIATE_TEST_SUITE_P(Starts, VendorLibraryBetweenProcessesTest,
                         ::testing::Values(StartCase{"Reference", QV_ORBENT_LIBRARY, " loaded"},
                                           StartCase{"Absent", nullptr, " not loaded with error code 126"},
                                           // A library of that name without the vendor's functions:
                                           // it loads, and the first function looked up is missing.
                                           StartCase{"Foreign", QV_FOREIGN_LIBRARY, " lacks ORBAPOAPI_"}),
                         [](const ::testing::TestParamInfo<StartCase>& info) { return std::string(info.param.what); });

}  // namespace
}  // namespace qv
