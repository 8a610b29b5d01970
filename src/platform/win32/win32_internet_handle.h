// Ownership of one WinHTTP handle (a session, a connection or a request):
// closed with WinHttpCloseHandle when the owner goes, on every path. A
// WinHTTP handle is a plain pointer that fails as null, so unique_ptr owns it
// as it stands.
#pragma once

#include <memory>

#include "platform/win32/windows_api.h"

#include <winhttp.h>

namespace qv {

struct WinHttpHandleCloser {
    void operator()(HINTERNET handle) const { ::WinHttpCloseHandle(handle); }
};

using CUniqueInternetHandle = std::unique_ptr<void, WinHttpHandleCloser>;

}  // namespace qv
