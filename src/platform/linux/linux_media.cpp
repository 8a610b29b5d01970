#include "platform/linux/linux_media.h"

#include <limits>
#include <mutex>

#include "core/text.h"
#include "platform/codes.h"
#include "platform/linux/linux_av.h"
#include "platform/linux/linux_source_reader.h"

namespace qv {

HRESULT CLinuxMediaType::SetGUID(MediaAttribute key, MediaTypeValue value) {
    m_values[Index(key)] = value;
    return S_OK;
}

HRESULT CLinuxMediaType::GetUINT32(MediaAttribute key, uint32_t& value) {
    const Value& stored = m_values[Index(key)];
    if (std::holds_alternative<std::monostate>(stored)) return MF_E_ATTRIBUTENOTFOUND;
    if (!std::holds_alternative<uint32_t>(stored)) return MF_E_INVALIDTYPE;
    value = std::get<uint32_t>(stored);
    return S_OK;
}

void CLinuxMediaType::SetUINT32(MediaAttribute key, uint32_t value) { m_values[Index(key)] = value; }

std::optional<MediaTypeValue> CLinuxMediaType::GuidOf(MediaAttribute key) const {
    const Value& stored = m_values[Index(key)];
    if (const auto* guid = std::get_if<MediaTypeValue>(&stored)) return *guid;
    return std::nullopt;
}

// The reader's failures come back as results; FFmpeg's own log lines would
// go to a standard error that nobody reads, once per damaged frame.
CLinuxMediaFoundation::CLinuxMediaFoundation() {
    static std::once_flag quiet;
    std::call_once(quiet, [] { av_log_set_level(AV_LOG_QUIET); });
}

HRESULT CLinuxMediaFoundation::MFCreateSourceReaderFromURL(const std::wstring& url, CRefPtr<IMFSourceReader>& reader) {
    reader = nullptr;
    if (url.empty()) return E_INVALIDARG;
    AvDictionary options;
    av_dict_set(options.put(), "protocol_whitelist", "file", 0);
    const std::string path = "file:" + WideToUtf8(url);
    AVFormatContext* opened = nullptr;
    int error = avformat_open_input(&opened, path.c_str(), nullptr, options.put());
    if (error < 0) {
        // No demuxer knew the bytes. An empty file ends before any does, or
        // goes to the demuxer of its name's extension, which finds it
        // invalid.
        if (error == AVERROR_INVALIDDATA || error == AVERROR_EOF || error == AVERROR(EINVAL) ||
            error == AVERROR_DEMUXER_NOT_FOUND)
            return MF_E_UNSUPPORTED_BYTESTREAM_TYPE;
        return HresultFromAvError(error);
    }
    AvFormatPtr format(opened);
    // Formats without a header (mp3, ADTS) learn their sample format, rate
    // and channels only by decoding a little.
    error = avformat_find_stream_info(format.get(), nullptr);
    if (error < 0) return HresultFromAvError(error);
    reader = MakeRef<CLinuxSourceReader>(std::move(format));
    return S_OK;
}

HRESULT CLinuxMediaFoundation::MFCreateMediaType(CRefPtr<IMFMediaType>& type) {
    type = MakeRef<CLinuxMediaType>();
    return S_OK;
}

HRESULT CLinuxMediaFoundation::PropVariantToInt64(const MediaPropVariant& value, int64_t& result) {
    result = 0;
    switch (value.vt) {
        case kVtEmpty: return S_OK;
        case kVtI4: result = static_cast<int32_t>(value.value); return S_OK;
        case kVtUI4: result = static_cast<uint32_t>(value.value); return S_OK;
        case kVtI8: result = value.value; return S_OK;
        case kVtUI8:
            if (static_cast<uint64_t>(value.value) > static_cast<uint64_t>(std::numeric_limits<int64_t>::max()))
                return HresultFromWin32(ERROR_ARITHMETIC_OVERFLOW);
            result = value.value;
            return S_OK;
        default: return DISP_E_TYPEMISMATCH;
    }
}

}  // namespace qv
