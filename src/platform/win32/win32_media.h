// The media port on Windows: Media Foundation's source reader. The entry
// point has called MFStartup; this port starts nothing and shuts nothing
// down. No Media Foundation header is seen here, so that the platform's
// other files may include the audio headers in any order (the two families
// define TIMECODE_SAMPLE differently); the reader's objects are in
// win32_media_reader.h.
#pragma once

#include "platform/media.h"
#include "platform/win32/windows_api.h"

#include <propidl.h>

namespace qv {

// The PROPVARIANT as the port carries it: VT_I4 and VT_I8 keep their value
// sign-extended, VT_UI4 and VT_UI8 keep their bits; any other type keeps
// its type alone. The platform's variant is not cleared here.
MediaPropVariant ToMediaPropVariant(const ::PROPVARIANT& value);
// The way back, for the integer types and VT_EMPTY. False for any other
// type: the port never held its value, so there is nothing to rebuild. The
// result owns no memory and needs no clearing.
bool ToWindowsPropVariant(const MediaPropVariant& value, ::PROPVARIANT& result);

class CWin32MediaFoundation : public CAddReleaseRef, public IMediaFoundation {
public:
    HRESULT MFCreateSourceReaderFromURL(const std::wstring& url, CRefPtr<IMFSourceReader>& reader) override;
    HRESULT MFCreateMediaType(CRefPtr<IMFMediaType>& type) override;
    // A type that ToWindowsPropVariant cannot rebuild is E_INVALIDARG,
    // without a call.
    HRESULT PropVariantToInt64(const MediaPropVariant& value, int64_t& result) override;
};

}  // namespace qv
