// Decoding a media file for its first audio stream: Media Foundation's source
// reader on Windows, FFmpeg on Linux. The operations are those of the source
// reader, one to one, with PCM out in the decoder's own resolution.
#pragma once

#include <cstdint>
#include <string>

#include "core/ref.h"
#include "platform/types.h"

namespace qv {

inline constexpr uint32_t MF_SOURCE_READER_FIRST_AUDIO_STREAM = 0xFFFFFFFDu;
inline constexpr uint32_t MF_SOURCE_READER_ALL_STREAMS = 0xFFFFFFFEu;
inline constexpr uint32_t MF_SOURCE_READER_MEDIASOURCE = 0xFFFFFFFFu;
inline constexpr uint32_t MF_SOURCE_READERF_ENDOFSTREAM = 0x2;
inline constexpr uint32_t MF_SOURCE_READERF_CURRENTMEDIATYPECHANGED = 0x20;

// The attribute keys and values that the system uses, with Media Foundation's ids.
enum class MediaAttribute : uint32_t {
    MajorType,            // MF_MT_MAJOR_TYPE
    Subtype,              // MF_MT_SUBTYPE
    AudioNumChannels,     // MF_MT_AUDIO_NUM_CHANNELS
    AudioSamplesPerSecond,  // MF_MT_AUDIO_SAMPLES_PER_SECOND
    AudioBitsPerSample,   // MF_MT_AUDIO_BITS_PER_SAMPLE
};
enum class MediaTypeValue : uint32_t {
    MediaTypeAudio,  // MFMediaType_Audio
    AudioFormatPCM,  // MFAudioFormat_PCM
};

// The presentation attributes that the system reads.
enum class PresentationAttribute : uint32_t {
    Duration,  // MF_PD_DURATION: VT_UI8, 100-ns units
};

// A PROPVARIANT as far as the system reads one: its type and, for the
// integer types, its value. Plain data, so there is nothing to clear.
inline constexpr uint16_t kVtEmpty = 0;   // VT_EMPTY
inline constexpr uint16_t kVtI4 = 3;      // VT_I4
inline constexpr uint16_t kVtI8 = 20;     // VT_I8
inline constexpr uint16_t kVtUI4 = 19;    // VT_UI4
inline constexpr uint16_t kVtUI8 = 21;    // VT_UI8
struct MediaPropVariant {
    uint16_t vt = kVtEmpty;
    int64_t value = 0;  // the bits of the integer, whatever its type
};

struct IMFMediaType : virtual IAddReleaseRef {
    virtual HRESULT SetGUID(MediaAttribute key, MediaTypeValue value) = 0;
    virtual HRESULT GetUINT32(MediaAttribute key, uint32_t& value) = 0;
};

// IMFMediaBuffer: Lock gives the bytes until Unlock.
struct IMFMediaBuffer : virtual IAddReleaseRef {
    virtual HRESULT Lock(const uint8_t*& data, uint32_t& maxLength, uint32_t& currentLength) = 0;
    virtual HRESULT Unlock() = 0;
};

struct IMFSample : virtual IAddReleaseRef {
    virtual HRESULT ConvertToContiguousBuffer(CRefPtr<IMFMediaBuffer>& buffer) = 0;
};

struct IMFSourceReader : virtual IAddReleaseRef {
    virtual HRESULT SetStreamSelection(uint32_t stream, bool selected) = 0;
    virtual HRESULT SetCurrentMediaType(uint32_t stream, IMFMediaType* type) = 0;
    virtual HRESULT GetCurrentMediaType(uint32_t stream, CRefPtr<IMFMediaType>& type) = 0;
    // GetPresentationAttribute(MF_SOURCE_READER_MEDIASOURCE, key): the
    // value copied out of the PROPVARIANT, which is cleared before return.
    virtual HRESULT GetPresentationAttribute(uint32_t stream, PresentationAttribute key, MediaPropVariant& value) = 0;
    // ReadSample with no control flags. A null sample with flags is a gap
    // or the end.
    virtual HRESULT ReadSample(uint32_t stream, uint32_t& streamFlags, CRefPtr<IMFSample>& sample) = 0;
};

struct IMediaFoundation : virtual IAddReleaseRef {
    virtual HRESULT MFCreateSourceReaderFromURL(const std::wstring& url, CRefPtr<IMFSourceReader>& reader) = 0;
    virtual HRESULT MFCreateMediaType(CRefPtr<IMFMediaType>& type) = 0;
    // PropVariantToInt64: the value as a signed 64-bit number, or the
    // failure that the conversion gives for the type.
    virtual HRESULT PropVariantToInt64(const MediaPropVariant& value, int64_t& result) = 0;
};

}  // namespace qv
