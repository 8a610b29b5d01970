// The vendor library port on Linux: libORBENT64.so from a given folder (the
// program's own), opened with dlopen of its full path. Without the library,
// or without one of its exports, the port says so once through the debug
// output and every call fails as the library's absence would.
#pragma once

#include <string>

#include "platform/debug_output.h"
#include "platform/vendor_api.h"

namespace qv {

CRefPtr<IVendorApi> CreateLinuxVendorApi(const std::wstring& folder, const CRefPtr<IDebugOutput>& trace);

}  // namespace qv
