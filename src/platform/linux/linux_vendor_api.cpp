#include "platform/linux/linux_vendor_api.h"

#include <dlfcn.h>
#include <unistd.h>

#include <memory>

#include "core/text.h"
#include "platform/codes.h"
#include "platform/vendor_library_api.h"

namespace qv {

CRefPtr<IVendorApi> CreateLinuxVendorApi(const std::wstring& folder, const CRefPtr<IDebugOutput>& trace) {
    std::wstring path = folder;
    if (!path.empty() && path.back() != L'/') path += L'/';
    path += kVendorLibraryFileName;
    const std::string file = WideToUtf8(path);

    auto absent = [&](Win32Error error, const std::string& missing) {
        if (trace) trace->OutputDebugString(VendorLibraryAbsentLine(path, error, missing));
        return CVendorLibraryApi::Absent(error);
    };
    // Only a full path counts: dlopen would search the library path for a
    // bare name.
    if (file.empty() || file[0] != '/' || ::access(file.c_str(), F_OK) != 0) return absent(ERROR_MOD_NOT_FOUND, {});
    std::shared_ptr<void> library(::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL), [](void* handle) {
        if (handle) ::dlclose(handle);
    });
    // A file that is there but no loadable library (ERROR_BAD_EXE_FORMAT).
    if (!library) return absent(193, {});

    VendorLibraryExports exports;
    std::string missing;
    if (!ResolveVendorExports([&](const char* name) { return ::dlsym(library.get(), name); }, exports, missing))
        return absent(ERROR_PROC_NOT_FOUND, missing);
    if (trace) trace->OutputDebugString(VendorLibraryLoadedLine(path));
    return MakeRef<CVendorLibraryApi>(std::move(library), exports, true, ERROR_SUCCESS);
}

}  // namespace qv
