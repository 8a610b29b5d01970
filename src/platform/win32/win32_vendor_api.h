// The vendor library port on Windows: ORBENT64.dll from a given folder (the
// program's own), loaded with LoadLibraryW of its full path so that no search
// path is used. Without the library, or without one of its exports, the port
// says so once through the debug output and every call fails as the
// library's absence would.
#pragma once

#include <string>

#include "platform/debug_output.h"
#include "platform/vendor_api.h"

namespace qv {

CRefPtr<IVendorApi> CreateWin32VendorApi(const std::wstring& folder, const CRefPtr<IDebugOutput>& trace);

}  // namespace qv
