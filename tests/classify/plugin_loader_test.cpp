// The loader of the content-discrimination plug-in: where it looks, what it
// says when the library or an export is missing, what it calls, and how the
// answer's largest score is found.
#include <cmath>
#include <limits>
#include <tuple>

#include <gtest/gtest.h>

#include "classify/content_discrimination.h"
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

TEST_F(PluginLoaderTest, ALibraryNotBesideTheExecutableOrNoLibraryIsReportedWithItsCode) {
    // Without a callback the failure is silent; unloading what never loaded
    // does nothing.
    EXPECT_FALSE(LoadContentDiscrimination({}));
    UnloadContentDiscrimination();
    EXPECT_FALSE(plugin.Load());
    EXPECT_EQ(plugin.messages, (Messages{{L"Failed to load ZKAICC64.dll with error code 126\n", 126}}));
    EXPECT_FALSE(ContentDiscriminationLoaded());

    // One folder down is not beside it either.
    const std::filesystem::path below = plugin.Folder() / "plugins";
    std::filesystem::create_directories(below);
    ASSERT_TRUE(plugin.Place(L"zkaicc64_double_movie"));
    std::filesystem::rename(plugin.PluginPath(), below / plugin.PluginPath().filename());
    EXPECT_FALSE(plugin.Load());
    ASSERT_EQ(plugin.messages.size(), 2u);
    EXPECT_EQ(plugin.messages[1].second, 126u);

    // A file of the name that is no library is refused with its own code.
    ASSERT_TRUE(plugin.PlaceGarbage());
    EXPECT_FALSE(plugin.Load());
    ASSERT_EQ(plugin.messages.size(), 3u);
    const auto& [text, code] = plugin.messages[2];
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

// The export left out of the double, its old name in the message, whether
// Run was found before the miss, and the Terminate calls at the unload.
using MissingExportCase = std::tuple<const wchar_t*, const wchar_t*, bool, int>;

class MissingExportTest : public PluginLoaderTest, public ::testing::WithParamInterface<MissingExportCase> {};

TEST_P(MissingExportTest, IsNamedByItsOldNameAndTheLibraryIsNotInitialised) {
    const auto& [missing, oldName, runFoundBeforeTheMiss, terminateCallsAtUnload] = GetParam();
    ASSERT_TRUE(plugin.PlaceTestDouble(std::wstring(L"qv_test_plugin_without_") + missing));
    EXPECT_FALSE(plugin.Load());
    EXPECT_EQ(plugin.messages, (Messages{{L"Failed to load access " + std::wstring(oldName) +
                                              L" from ContentDiscriminationCpp.dll with error code " +
                                              std::to_wstring(ERROR_PROC_NOT_FOUND) + L"\n",
                                          ERROR_PROC_NOT_FOUND}}));
    // The exports found before the miss stay set; the network counts as
    // there exactly when Run was among them.
    EXPECT_EQ(ContentDiscriminationLoaded(), runFoundBeforeTheMiss);
    EXPECT_EQ(CallCount("ContentDiscrimination_Initialize"), 0);

    UnloadContentDiscrimination();
    EXPECT_EQ(CallCount("ContentDiscrimination_Terminate"), terminateCallsAtUnload);
}

INSTANTIATE_TEST_SUITE_P(
    Exports, MissingExportTest,
    ::testing::Values(MissingExportCase{L"initialize", L"content_discrimination_initialize", false, 0},
                      MissingExportCase{L"terminate", L"content_discrimination_terminate", false, 0},
                      MissingExportCase{L"run", L"content_discrimination", false, 1},
                      MissingExportCase{L"freeoutput", L"content_discrimination_free_classifier_output", true, 1},
                      MissingExportCase{L"modelversion", L"content_discrimination_model_version", true, 1}));

// ---- The largest of the three scores

TEST(LargestScoreIndex, TakesTheLargestGivesTiesToTheLaterIndexAndNeverLetsANaNLead) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    struct Case {
        double scores[3];
        int largest;
    };
    const Case cases[] = {{{0.9, 0.05, 0.05}, 0},
                          {{0.1, 0.7, 0.2}, 1},
                          {{0.1, 0.2, 0.7}, 2},
                          {{0.5, 0.5, 0.1}, 1},
                          {{0.2, 0.2, 0.2}, 2},
                          {{0.6, 0.1, 0.6}, 2},
                          {{-3.0, -2.0, -5.0}, 1},
                          // At the head a NaN stays there: every comparison with it fails.
                          {{nan, 0.2, 0.1}, 0},
                          {{nan, 0.9, 0.9}, 0},
                          {{0.1, nan, 0.2}, 2},
                          {{0.3, nan, 0.1}, 0},
                          {{0.1, 0.2, nan}, 1}};
    for (const Case& c : cases)
        EXPECT_EQ(LargestScoreIndex(c.scores), c.largest) << c.scores[0] << ", " << c.scores[1] << ", " << c.scores[2];
}

}  // namespace
}  // namespace qv::test
