#include "platform/win32/win32_vendor_api.h"

#include <memory>

#include "platform/vendor_library_api.h"
#include "platform/win32/windows_api.h"

namespace qv {

CRefPtr<IVendorApi> CreateWin32VendorApi(const std::wstring& folder, const CRefPtr<IDebugOutput>& trace) {
    std::wstring path = folder;
    if (!path.empty() && path.back() != L'\\' && path.back() != L'/') path += L'\\';
    path += kVendorLibraryFileName;

    auto absent = [&](Win32Error error, const std::string& missing) {
        if (trace) trace->OutputDebugString(VendorLibraryAbsentLine(path, error, missing));
        return CVendorLibraryApi::Absent(error);
    };
    // A relative path would make LoadLibraryW search; only the folder given
    // counts.
    if (folder.empty()) return absent(ERROR_MOD_NOT_FOUND, {});
    HMODULE module = ::LoadLibraryW(path.c_str());
    if (!module) return absent(::GetLastError(), {});
    std::shared_ptr<void> library(module, [](void* handle) { ::FreeLibrary(static_cast<HMODULE>(handle)); });

    VendorLibraryExports exports;
    std::string missing;
    auto find = [&](const char* name) { return reinterpret_cast<void*>(::GetProcAddress(module, name)); };
    if (!ResolveVendorExports(find, exports, missing)) return absent(ERROR_PROC_NOT_FOUND, missing);
    if (trace) trace->OutputDebugString(VendorLibraryLoadedLine(path));
    return MakeRef<CVendorLibraryApi>(std::move(library), exports, true, ERROR_SUCCESS);
}

}  // namespace qv
