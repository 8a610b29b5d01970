// The machine's own facts as the Windows and Linux platforms give them.
#include <chrono>
#include <filesystem>
#include <set>

#include <gtest/gtest.h>

#ifdef _WIN32
#include <process.h>
#define QV_TEST_GETPID _getpid
#else
#include <unistd.h>
#define QV_TEST_GETPID getpid
#endif

#include "platform/native.h"

namespace qv {
namespace {

CRefPtr<ISystem> NativeSystem() { return CreateNativePlatform()->System(); }

TEST(NativeSystemTest, NewGuidsAreRandomVersionFourAndNeverRepeat) {
    CRefPtr<ISystem> system = NativeSystem();
    ASSERT_TRUE(system);
    std::set<GUID> seen;
    for (int i = 0; i < 64; ++i) {
        GUID guid;
        ASSERT_EQ(system->CoCreateGuid(guid), 0);
        EXPECT_EQ(guid.Data3 >> 12, 4) << "version nibble of " << i;
        EXPECT_EQ(guid.Data4[0] & 0xC0, 0x80) << "variant bits of " << i;
        seen.insert(guid);
    }
    EXPECT_EQ(seen.size(), 64u);
}

TEST(NativeSystemTest, SystemTimeIsTheWallClockCountedFrom1601) {
    constexpr uint64_t kTicksFrom1601To1970 = 116444736000000000ULL;
    auto sinceUnixEpoch = std::chrono::system_clock::now().time_since_epoch();
    uint64_t expected =
        kTicksFrom1601To1970 + std::chrono::duration_cast<std::chrono::nanoseconds>(sinceUnixEpoch).count() / 100;
    uint64_t actual = NativeSystem()->GetSystemTimeAsFileTime().Ticks();
    // Generous: only a wrong epoch or unit would miss by more than a minute.
    constexpr uint64_t kMinute = 60ULL * 10000000ULL;
    EXPECT_LT(actual > expected ? actual - expected : expected - actual, kMinute);
}

TEST(NativeSystemTest, ProcessIdAndModulePathAreThoseOfThisProgram) {
    CRefPtr<ISystem> system = NativeSystem();
    EXPECT_EQ(system->GetCurrentProcessId(), static_cast<uint32_t>(QV_TEST_GETPID()));

    std::wstring path;
    ASSERT_EQ(system->GetModuleFileName(path), 0u);
    std::filesystem::path file(path);
    EXPECT_TRUE(file.is_absolute()) << file;
    EXPECT_EQ(file.stem(), "qv_platform_tests") << file;
    EXPECT_TRUE(std::filesystem::exists(file)) << file;
}

TEST(NativeSystemTest, OnlyWindowsHasAProductType) {
    uint32_t productType = NativeSystem()->GetProductType();
#ifdef _WIN32
    // PRODUCT_UNDEFINED would mean RtlGetVersion or GetProductInfo failed.
    EXPECT_NE(productType, 0u);
#else
    EXPECT_EQ(productType, 0u);
#endif
}

}  // namespace
}  // namespace qv
