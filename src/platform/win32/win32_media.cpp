#include "platform/win32/win32_media.h"

#include <mfapi.h>
#include <propvarutil.h>

#include "platform/win32/win32_com_apartment.h"
#include "platform/win32/win32_media_reader.h"
#include "platform/win32/win32_wrap.h"

namespace qv {

MediaPropVariant ToMediaPropVariant(const ::PROPVARIANT& value) {
    MediaPropVariant result;
    result.vt = value.vt;
    switch (value.vt) {
        case ::VT_I4: result.value = value.lVal; break;
        case ::VT_UI4: result.value = value.ulVal; break;
        case ::VT_I8: result.value = value.hVal.QuadPart; break;
        case ::VT_UI8: result.value = static_cast<int64_t>(value.uhVal.QuadPart); break;
        default: break;
    }
    return result;
}

bool ToWindowsPropVariant(const MediaPropVariant& value, ::PROPVARIANT& result) {
    PropVariantInit(&result);
    switch (value.vt) {
        case kVtEmpty: break;
        case kVtI4: result.lVal = static_cast<LONG>(value.value); break;
        case kVtUI4: result.ulVal = static_cast<ULONG>(value.value); break;
        case kVtI8: result.hVal.QuadPart = value.value; break;
        case kVtUI8: result.uhVal.QuadPart = static_cast<ULONGLONG>(value.value); break;
        default: return false;
    }
    result.vt = value.vt;
    return true;
}

HRESULT CWin32MediaFoundation::MFCreateSourceReaderFromURL(const std::wstring& url, CRefPtr<IMFSourceReader>& reader) {
    // The decoder may run on a thread of its own, which COM must know.
    EnsureComOnThisThread();
    return WrapNewObject<CWin32SourceReader, ::IMFSourceReader>(reader, [&](::IMFSourceReader** created) {
        return ::MFCreateSourceReaderFromURL(url.c_str(), nullptr, created);
    });
}

HRESULT CWin32MediaFoundation::MFCreateMediaType(CRefPtr<IMFMediaType>& type) {
    return WrapNewObject<CWin32MediaType, ::IMFMediaType>(type, ::MFCreateMediaType);
}

HRESULT CWin32MediaFoundation::PropVariantToInt64(const MediaPropVariant& value, int64_t& result) {
    ::PROPVARIANT variant;
    if (!ToWindowsPropVariant(value, variant)) return E_INVALIDARG;
    LONGLONG converted = 0;
    HRESULT hr = ::PropVariantToInt64(variant, &converted);
    if (SUCCEEDED(hr)) result = converted;
    return hr;
}

}  // namespace qv
