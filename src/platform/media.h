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
    // GetPresentationAttribute(MF_SOURCE_READER_MEDIASOURCE, MF_PD_DURATION)
    // with PropVariantToInt64: the duration in 100-ns units.
    virtual HRESULT GetDuration(int64_t& duration100ns) = 0;
    // ReadSample with no control flags. A null sample with flags is a gap
    // or the end.
    virtual HRESULT ReadSample(uint32_t stream, uint32_t& streamFlags, CRefPtr<IMFSample>& sample) = 0;
};

struct IMediaFoundation : virtual IAddReleaseRef {
    virtual HRESULT MFCreateSourceReaderFromURL(const std::wstring& url, CRefPtr<IMFSourceReader>& reader) = 0;
    virtual HRESULT MFCreateMediaType(CRefPtr<IMFMediaType>& type) = 0;
};

}  // namespace qv
