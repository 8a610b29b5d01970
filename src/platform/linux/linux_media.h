// Media on Linux: FFmpeg (libavformat, libavcodec, libswresample) behind
// the operations of Media Foundation's source reader. The reader serves the
// first audio stream of a local file, decoded to interleaved integer PCM in
// the resolution that Media Foundation gives for the same file (see
// linux_source_reader.h).
#pragma once

#include <array>
#include <optional>
#include <variant>

#include "platform/media.h"

namespace qv {

// A media type as an attribute store: each key holds nothing, a value of
// the media type enumeration (SetGUID) or a number (the reader's types).
class CLinuxMediaType : public CAddReleaseRef, public IMFMediaType {
public:
    HRESULT SetGUID(MediaAttribute key, MediaTypeValue value) override;
    // MF_E_ATTRIBUTENOTFOUND for a key never set, MF_E_INVALIDTYPE for a
    // key that holds a GUID, as Media Foundation's attribute store answers.
    HRESULT GetUINT32(MediaAttribute key, uint32_t& value) override;

    void SetUINT32(MediaAttribute key, uint32_t value);
    std::optional<MediaTypeValue> GuidOf(MediaAttribute key) const;

private:
    using Value = std::variant<std::monostate, MediaTypeValue, uint32_t>;
    static constexpr std::size_t kKeys = static_cast<std::size_t>(MediaAttribute::AudioBitsPerSample) + 1;
    static std::size_t Index(MediaAttribute key) { return static_cast<std::size_t>(key); }
    std::array<Value, kKeys> m_values{};
};

class CLinuxMediaFoundation : public CAddReleaseRef, public IMediaFoundation {
public:
    CLinuxMediaFoundation();

    // The path is a local file: it is opened through FFmpeg's file protocol
    // only, so that neither a name with a colon nor a playlist inside the
    // file can lead FFmpeg to another protocol. A file that no demuxer
    // recognises is MF_E_UNSUPPORTED_BYTESTREAM_TYPE; a missing one is
    // HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND).
    HRESULT MFCreateSourceReaderFromURL(const std::wstring& url, CRefPtr<IMFSourceReader>& reader) override;
    HRESULT MFCreateMediaType(CRefPtr<IMFMediaType>& type) override;
    // As propsys converts: VT_EMPTY is 0 and succeeds; the four integer
    // types convert, a VT_UI8 above the signed range being an overflow;
    // anything else is DISP_E_TYPEMISMATCH. On failure the result is 0.
    HRESULT PropVariantToInt64(const MediaPropVariant& value, int64_t& result) override;
};

}  // namespace qv
