#include "platform/win32/win32_property_store.h"

#include "platform/win32/win32_guid.h"
#include "platform/win32/win32_prop_variant.h"

namespace qv {

PROPVARIANT FromWindowsPropVariant(const ::PROPVARIANT& value) {
    PROPVARIANT result;
    result.vt = static_cast<VARTYPE>(value.vt);
    if (value.vt == ::VT_LPWSTR) {
        if (value.pwszVal) result.pwszVal = value.pwszVal;
    } else if (value.vt != ::VT_EMPTY) {
        // The union's first four bytes: the whole value for the 32-bit types,
        // the low half of the wider ones.
        result.ulVal = value.ulVal;
    }
    return result;
}

HRESULT CWin32PropertyStore::GetValue(const PROPERTYKEY& key, PROPVARIANT& value) {
    value = PROPVARIANT{};
    const ::PROPERTYKEY windowsKey = ToWindowsPropertyKey(key);
    CPropVariantHolder read;
    HRESULT hr = m_store->GetValue(windowsKey, read.get());
    if (SUCCEEDED(hr)) value = FromWindowsPropVariant(read.value());
    return hr;
}

}  // namespace qv
