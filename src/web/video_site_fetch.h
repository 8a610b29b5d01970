// One GET of a path on the video site's web host over the platform's HTTP
// port, with the body as text. Runs on any thread; it touches no model
// object.
#pragma once

#include <functional>
#include <string>

#include "platform/types.h"

namespace qv {

// The site's main web host. Configuration: the same host whose domain the
// page's address is matched against.
inline constexpr const wchar_t* kVideoSiteHost = L"www.youtube.com";

// 0, or the platform's error number of the call that failed. The body is
// taken whatever the response's status, as no header is read. `cancelled`
// is asked before each step up to the response and around each read; a
// cancelled fetch leaves `result` empty. The platform's time-outs apply.
Win32Error FetchVideoSiteText(const std::wstring& path, std::wstring& result, const std::function<bool()>& cancelled);

}  // namespace qv
