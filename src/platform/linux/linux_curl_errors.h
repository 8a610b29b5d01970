// libcurl's results as the WinHTTP error numbers that the model expects of
// the HTTP port.
#pragma once

#include <curl/curl.h>

#include "platform/types.h"

namespace qv {

Win32Error WinHttpErrorFromCurl(CURLcode code);

}  // namespace qv
