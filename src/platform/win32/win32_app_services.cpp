#include "platform/win32/win32_app_services.h"

#include <algorithm>

#include "platform/win32/win32_app_service_connection.h"
#include "platform/win32/win32_com_apartment.h"
#include "platform/win32/win32_winrt_value_set.h"

namespace qv {

namespace {

constexpr UINT32 kPackageFilterHead = 16;  // PACKAGE_FILTER_HEAD

// kernel32's, from Windows 8 on; mingw-w64 declares it nowhere, and a
// static import would keep the program from starting where it is missing.
using FindPackagesByPackageFamilyFunction = LONG(WINAPI*)(PCWSTR packageFamilyName, UINT32 packageFilters,
                                                          UINT32* count, PWSTR* packageFullNames, UINT32* bufferLength,
                                                          WCHAR* buffer, UINT32* packageProperties);

FindPackagesByPackageFamilyFunction ResolveFindPackages() {
    static const auto function = reinterpret_cast<FindPackagesByPackageFamilyFunction>(
        reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"kernel32.dll"), "FindPackagesByPackageFamily")));
    return function;
}

}  // namespace

Win32Error CWin32AppServices::FindPackagesByPackageFamily(const std::wstring& familyName,
                                                          std::vector<uint32_t>& packageProperties) {
    packageProperties.clear();
    const FindPackagesByPackageFamilyFunction find = ResolveFindPackages();
    if (!find) return ERROR_CALL_NOT_IMPLEMENTED;
    UINT32 count = 0;
    UINT32 bufferLength = 0;
    std::vector<PWSTR> names;
    std::vector<WCHAR> buffer;
    std::vector<UINT32> properties;
    LONG error = find(familyName.c_str(), kPackageFilterHead, &count, nullptr, &bufferLength, nullptr, nullptr);
    // A package installed between two calls makes the next one short again:
    // each retry takes the sizes that the last call reported. The names are
    // asked for too, since the call fills the properties only beside them.
    for (int attempt = 0; error == ERROR_INSUFFICIENT_BUFFER && attempt < 8; ++attempt) {
        names.resize(count);
        buffer.resize(bufferLength);
        properties.resize(count);
        error = find(familyName.c_str(), kPackageFilterHead, &count, names.data(), &bufferLength, buffer.data(),
                     properties.data());
    }
    if (error != ERROR_SUCCESS) return static_cast<Win32Error>(error);
    properties.resize(std::min<size_t>(count, properties.size()));
    packageProperties.assign(properties.begin(), properties.end());
    return ERROR_SUCCESS;
}

HRESULT CWin32AppServices::CreateAppServiceConnection(CRefPtr<IAppServiceConnection>& connection) {
    connection = nullptr;
    EnsureComOnThisThread();
    CRefPtr<::IInspectable> instance;
    HRESULT hr = winrt::ActivateInstance(winrt::kAppServiceConnectionClass, instance);
    if (FAILED(hr)) return hr;
    CRefPtr<winrt::IAppServiceConnection> runtimeConnection;
    hr = instance->QueryInterface(winrt::kIidAppServiceConnection, reinterpret_cast<void**>(runtimeConnection.put()));
    if (FAILED(hr)) return hr;
    if (!runtimeConnection) return E_POINTER;
    connection = MakeRef<CWin32AppServiceConnection>(std::move(runtimeConnection));
    return hr;
}

}  // namespace qv
