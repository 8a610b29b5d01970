#include "platform/win32/win32_guid.h"

namespace qv {

GUID FromWindowsGuid(const ::GUID& guid) {
    GUID result;
    result.Data1 = guid.Data1;
    result.Data2 = guid.Data2;
    result.Data3 = guid.Data3;
    for (int i = 0; i < 8; ++i) result.Data4[i] = guid.Data4[i];
    return result;
}

::GUID ToWindowsGuid(const GUID& guid) {
    ::GUID result{};
    result.Data1 = guid.Data1;
    result.Data2 = guid.Data2;
    result.Data3 = guid.Data3;
    for (int i = 0; i < 8; ++i) result.Data4[i] = guid.Data4[i];
    return result;
}

PROPERTYKEY FromWindowsPropertyKey(const ::PROPERTYKEY& key) {
    PROPERTYKEY result;
    result.fmtid = FromWindowsGuid(key.fmtid);
    result.pid = key.pid;
    return result;
}

::PROPERTYKEY ToWindowsPropertyKey(const PROPERTYKEY& key) {
    ::PROPERTYKEY result{};
    result.fmtid = ToWindowsGuid(key.fmtid);
    result.pid = key.pid;
    return result;
}

FILETIME FromWindowsFileTime(const ::FILETIME& time) { return FILETIME{time.dwLowDateTime, time.dwHighDateTime}; }

}  // namespace qv
