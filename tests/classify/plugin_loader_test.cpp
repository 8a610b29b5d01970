// The loader of the content-discrimination plug-in: where it looks, what it
// says when the library or an export is missing, what it calls, and how the
// answer's largest score is found.
#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "classify/content_discrimination.h"
#include "core/text.h"
#include "platform/codes.h"
#include "plugin_beside.h"
#include "support/main_thread_harness.h"

namespace qv::test {
namespace {

using Messages = std::vector<std::pair<std::wstring, uint32_t>>;

class PluginLoaderTest : public ::testing::Test {
protected:
    // How often the double that is in place now had an export called, read
    // through a handle of the test's own on the same file.
    int CallCount(const char* exportName) {
        if (!m_counter) {
            EXPECT_EQ(h.platform->Plugins()->LoadLibrary(plugin.PluginPath().wstring(), m_counterModule), 0u);
            if (!m_counterModule) return -1;
            m_counter = reinterpret_cast<int (*)(const char*)>(m_counterModule->GetProcAddress("QvDoubleCallCount"));
        }
        return m_counter ? m_counter(exportName) : -1;
    }

    void TearDown() override {
        UnloadContentDiscrimination();
        if (m_counterModule) m_counterModule->FreeLibrary();
    }

    MainThreadHarness h{false};
    PluginBeside plugin{*h.platform};

private:
    CRefPtr<ILoadedModule> m_counterModule;
    int (*m_counter)(const char*) = nullptr;
};

TEST_F(PluginLoaderTest, AMissingLibraryIsReportedWithItsCode) {
    EXPECT_FALSE(plugin.Load());
    EXPECT_EQ(plugin.messages, (Messages{{L"Failed to load ZKAICC64.dll with error code 126\n", 126}}));
    EXPECT_FALSE(ContentDiscriminationLoaded());
}

TEST_F(PluginLoaderTest, OnlyTheExecutablesOwnFolderIsSearched) {
    // The plug-in one folder down is not beside the executable.
    const std::filesystem::path below = plugin.Folder() / "plugins";
    std::filesystem::create_directories(below);
    ASSERT_TRUE(plugin.Place(L"zkaicc64_double_movie"));
    std::filesystem::rename(plugin.PluginPath(), below / plugin.PluginPath().filename());
    EXPECT_FALSE(plugin.Load());
    ASSERT_EQ(plugin.messages.size(), 1u);
    EXPECT_EQ(plugin.messages[0].second, 126u);
}

TEST_F(PluginLoaderTest, WithoutACallbackAFailureIsSilent) {
    EXPECT_FALSE(LoadContentDiscrimination({}));
    EXPECT_FALSE(ContentDiscriminationLoaded());
}

TEST_F(PluginLoaderTest, AFileThatIsNoLibraryIsRefused) {
    ASSERT_TRUE(plugin.PlaceGarbage());
    EXPECT_FALSE(plugin.Load());
    ASSERT_EQ(plugin.messages.size(), 1u);
    const auto& [text, code] = plugin.messages[0];
    EXPECT_NE(code, 0u);
    EXPECT_EQ(text, L"Failed to load ZKAICC64.dll with error code " + std::to_wstring(code) + L"\n");
    EXPECT_FALSE(ContentDiscriminationLoaded());
}

TEST_F(PluginLoaderTest, ALibraryWithAllFiveExportsIsInitialisedAndTerminated) {
    ASSERT_TRUE(plugin.PlaceTestDouble(L"qv_test_plugin_without_none"));
    EXPECT_TRUE(plugin.Load());
    EXPECT_TRUE(plugin.messages.empty());
    EXPECT_TRUE(ContentDiscriminationLoaded());
    EXPECT_EQ(CallCount("ContentDiscrimination_Initialize"), 1);
    EXPECT_EQ(CallCount("ContentDiscrimination_Terminate"), 0);

    UnloadContentDiscrimination();
    EXPECT_EQ(CallCount("ContentDiscrimination_Terminate"), 1);
    EXPECT_FALSE(ContentDiscriminationLoaded()) << "nothing may ask a library that has gone";
}

struct MissingExportCase {
    const wchar_t* library;
    const wchar_t* message;
    bool runFoundBeforeTheMiss;
    int terminateCallsAtUnload;
};

void PrintTo(const MissingExportCase& c, std::ostream* os) { *os << WideToUtf8(c.library); }

class MissingExportTest : public PluginLoaderTest, public ::testing::WithParamInterface<MissingExportCase> {};

TEST_P(MissingExportTest, IsNamedByItsOldNameAndTheLibraryIsNotInitialised) {
    const MissingExportCase& c = GetParam();
    ASSERT_TRUE(plugin.PlaceTestDouble(c.library));
    EXPECT_FALSE(plugin.Load());
    EXPECT_EQ(plugin.messages,
              (Messages{{std::wstring(c.message) + L"with error code " + std::to_wstring(ERROR_PROC_NOT_FOUND) + L"\n",
                         ERROR_PROC_NOT_FOUND}}));
    // The exports found before the miss stay set; the network counts as
    // there exactly when Run was among them.
    EXPECT_EQ(ContentDiscriminationLoaded(), c.runFoundBeforeTheMiss);
    EXPECT_EQ(CallCount("ContentDiscrimination_Initialize"), 0);

    UnloadContentDiscrimination();
    EXPECT_EQ(CallCount("ContentDiscrimination_Terminate"), c.terminateCallsAtUnload);
}

INSTANTIATE_TEST_SUITE_P(
    Exports, MissingExportTest,
    ::testing::Values(
        MissingExportCase{L"qv_test_plugin_without_initialize",
                          L"Failed to load access content_discrimination_initialize from ContentDiscriminationCpp.dll ",
                          false, 0},
        MissingExportCase{L"qv_test_plugin_without_terminate",
                          L"Failed to load access content_discrimination_terminate from ContentDiscriminationCpp.dll ",
                          false, 0},
        MissingExportCase{L"qv_test_plugin_without_run",
                          L"Failed to load access content_discrimination from ContentDiscriminationCpp.dll ", false, 1},
        MissingExportCase{L"qv_test_plugin_without_freeoutput",
                          L"Failed to load access content_discrimination_free_classifier_output from "
                          L"ContentDiscriminationCpp.dll ",
                          true, 1},
        MissingExportCase{L"qv_test_plugin_without_modelversion",
                          L"Failed to load access content_discrimination_model_version from "
                          L"ContentDiscriminationCpp.dll ",
                          true, 1}));

TEST_F(PluginLoaderTest, TheShippedDoubleWithoutRunIsRefusedTheSameWay) {
    ASSERT_TRUE(plugin.Place(L"zkaicc64_double_no_run"));
    EXPECT_FALSE(plugin.Load());
    EXPECT_EQ(plugin.messages,
              (Messages{{L"Failed to load access content_discrimination from ContentDiscriminationCpp.dll with error "
                         L"code 127\n",
                         127}}));
    EXPECT_FALSE(ContentDiscriminationLoaded());
}

TEST_F(PluginLoaderTest, UnloadingWhatWasNeverLoadedDoesNothing) {
    UnloadContentDiscrimination();
    UnloadContentDiscrimination();
    EXPECT_FALSE(ContentDiscriminationLoaded());
}

// ---- The largest of the three scores

int Largest(double movie, double music, double voice) {
    const double scores[3] = {movie, music, voice};
    return LargestScoreIndex(scores);
}

TEST(LargestScoreIndex, TakesTheLargestAndGivesTiesToTheLaterIndex) {
    EXPECT_EQ(Largest(0.9, 0.05, 0.05), 0);
    EXPECT_EQ(Largest(0.1, 0.7, 0.2), 1);
    EXPECT_EQ(Largest(0.1, 0.2, 0.7), 2);
    EXPECT_EQ(Largest(0.5, 0.5, 0.1), 1);
    EXPECT_EQ(Largest(0.2, 0.2, 0.2), 2);
    EXPECT_EQ(Largest(0.6, 0.1, 0.6), 2);
    EXPECT_EQ(Largest(-3.0, -2.0, -5.0), 1);
}

TEST(LargestScoreIndex, ANaNNeverTakesTheLead) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    // At the head it stays there: every comparison with it fails.
    EXPECT_EQ(Largest(nan, 0.2, 0.1), 0);
    EXPECT_EQ(Largest(nan, 0.9, 0.9), 0);
    EXPECT_EQ(Largest(0.1, nan, 0.2), 2);
    EXPECT_EQ(Largest(0.3, nan, 0.1), 0);
    EXPECT_EQ(Largest(0.1, 0.2, nan), 1);
}

}  // namespace
}  // namespace qv::test
