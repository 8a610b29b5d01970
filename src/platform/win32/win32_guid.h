// The model's GUID and PROPERTYKEY against the platform's. They hold the
// same fields, but they are distinct types (the model's are portable), so
// every crossing goes through these.
#pragma once

#include "platform/types.h"
#include "platform/win32/windows_api.h"

#include <wtypes.h>

namespace qv {

GUID FromWindowsGuid(const ::GUID& guid);
::GUID ToWindowsGuid(const GUID& guid);
PROPERTYKEY FromWindowsPropertyKey(const ::PROPERTYKEY& key);
::PROPERTYKEY ToWindowsPropertyKey(const PROPERTYKEY& key);
FILETIME FromWindowsFileTime(const ::FILETIME& time);

}  // namespace qv
