// The Windows app-service port against the system. Wine 8 implements neither
// FindPackagesByPackageFamily nor any of the runtime classes the port
// activates (AppServiceConnection, ValueSet, PropertyValue): there the
// failure paths are what runs, and are checked as Wine gives them; on
// Windows the same tests check the answers of a machine without the
// companion app. The runtime's strings and the IIDs derived from type
// signatures work on both.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/win32/win32_app_services.h"
#include "platform/win32/win32_guid.h"
#include "platform/win32/win32_hstring.h"
#include "platform/win32/win32_winrt_iid.h"
#include "platform/win32/win32_winrt_value_set.h"
#include "platform/win32/windows_api.h"
#include "support/wine_detect.h"
#include "win32_ports_support.h"
#include "winrt_fakes.h"

namespace qv {
namespace {

using test::RunningUnderWine;
using test::Win32Platform;

std::wstring Text(const ::GUID& iid) { return GuidToString(FromWindowsGuid(iid)); }

// The values that the SDK's headers carry for these instantiations.
TEST(Win32WinRtIid, DerivedIidsAreTheOnesTheSdkHeadersCarry) {
    const winrt::AppServiceIids& ids = winrt::AppServiceInterfaceIds();
    ASSERT_EQ(ids.result, S_OK);
    EXPECT_EQ(Text(ids.stringObjectMap), L"{1B0D3570-0877-5EC2-8A2C-3B9539506ACA}");
    EXPECT_EQ(Text(ids.keyValuePairIterable), L"{FE2F3D47-5D47-5499-8374-430C7CDA0204}");
    EXPECT_EQ(Text(ids.openCompletedHandler), L"{B6C6BBF2-72CA-5799-A651-D1990670097B}");
    EXPECT_EQ(Text(ids.requestReceivedHandler), L"{18C67D61-4176-5553-B18D-D8F57FE79552}");
    EXPECT_EQ(Text(ids.sendCompletedHandler), L"{7EA7D7EC-E164-52C3-8E32-BBA7126D9028}");
    EXPECT_EQ(Text(ids.serviceClosedHandler), L"{E4EFA98D-4BFC-5E61-A233-688F5F06521F}");
}

TEST(Win32HString, TextRoundTripsWithEmbeddedNullsAndSurrogatesAndEmptyTextIsTheNullString) {
    const std::wstring text(L"Toast\0name \xD83D\xDD14 \x00E9t\x00E9", 17);
    CHString string;
    ASSERT_EQ(string.Set(text), S_OK);
    EXPECT_EQ(string.ToWide(), text);
    EXPECT_EQ(::WindowsGetStringLen(string.get()), text.size());

    CHString moved(std::move(string));
    EXPECT_EQ(string.get(), nullptr);
    EXPECT_EQ(moved.ToWide(), text);

    ASSERT_EQ(moved.Set(L""), S_OK);
    EXPECT_EQ(moved.get(), nullptr);
    EXPECT_EQ(moved.ToWide(), L"");
}

TEST(Win32AppServices, APackageFamilyThatIsNotInstalledHasNoPackages) {
    CRefPtr<IAppServices> services = Win32Platform()->AppServices();
    ASSERT_TRUE(services) << "the platform offers the port";
    std::vector<uint32_t> properties{7, 7};
    const Win32Error error =
        services->FindPackagesByPackageFamily(L"Quorvane.NeverInstalled_0123456789abc", properties);
    if (RunningUnderWine())
        EXPECT_EQ(error, static_cast<Win32Error>(ERROR_CALL_NOT_IMPLEMENTED)) << "Wine 8's kernel32 lacks the call";
    else
        EXPECT_EQ(error, 0u);
    EXPECT_TRUE(properties.empty());
}

TEST(Win32AppServices, ConnectionFailsWhereTheClassIsNotRegisteredAndLeavesNothingBehind) {
    if (!RunningUnderWine()) GTEST_SKIP() << "Windows has the class; only Wine lacks it";
    CRefPtr<IAppServices> services = Win32Platform()->AppServices();
    CRefPtr<IAppServiceConnection> connection;
    ASSERT_EQ(services->CreateAppServiceConnection(connection), REGDB_E_CLASSNOTREG);
    EXPECT_FALSE(connection);

    // Each attempt's activation strings and COM state go with it.
    DWORD handlesBefore = 0, handlesAfter = 0;
    ASSERT_TRUE(::GetProcessHandleCount(::GetCurrentProcess(), &handlesBefore));
    for (int i = 0; i < 200; ++i) services->CreateAppServiceConnection(connection);
    ASSERT_TRUE(::GetProcessHandleCount(::GetCurrentProcess(), &handlesAfter));
    EXPECT_LE(handlesAfter, handlesBefore + 2);
}

TEST(Win32WinRtValueSet, TextPairsRoundTripThroughTheRuntimeSet) {
    const ValueSet message{{L"ShowToast", L"true"}, {L"Name", L"Caf\x00E9"}, {L"Empty", L""}};
    CRefPtr<winrt::IPropertySet> set;
    const HRESULT hr = winrt::CreateValueSet(message, set);
    if (RunningUnderWine()) {
        EXPECT_EQ(hr, REGDB_E_CLASSNOTREG) << "Wine 8 has no ValueSet";
        EXPECT_FALSE(set);
        return;
    }
    ASSERT_EQ(hr, S_OK);
    ValueSet read{{L"stale", L"x"}};
    ASSERT_EQ(winrt::ReadValueSet(set.get(), read), S_OK);
    EXPECT_EQ(read, message);
}

// The reading side over a set of the test's own, since Wine has no ValueSet
// to fill: every text value comes back, numbers and objects that are not
// boxed values are left out, and what the map held before goes.
TEST(Win32WinRtValueSet, ReadingKeepsTheTextValuesAndLeavesOutTheRest) {
    using test::Boxed;
    auto nested = MakeRef<test::FakeValueSet>(test::FakeEntries{{L"inner", Boxed(L"x")}});
    auto set = MakeRef<test::FakeValueSet>(test::FakeEntries{
        {L"Response", Boxed(L"OK")},
        {L"Empty", Boxed(L"")},
        {L"Count", Boxed(42)},
        {L"Nested", CRefPtr<::IInspectable>(nested.get())},
        {L"Nothing", nullptr},
        {L"Text\x00E9", Boxed(L"caf\x00E9")},
    });
    ValueSet read{{L"stale", L"x"}};
    ASSERT_EQ(winrt::ReadValueSet(set.get(), read), S_OK);
    EXPECT_EQ(read, (ValueSet{{L"Response", L"OK"}, {L"Empty", L""}, {L"Text\x00E9", L"caf\x00E9"}}));
}

}  // namespace
}  // namespace qv
