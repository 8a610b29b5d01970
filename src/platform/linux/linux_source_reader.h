// The source reader on Linux: one open file, its first audio stream decoded
// on demand, one decoded frame per ReadSample.
//
// The PCM is interleaved and signed, in the resolution that Media
// Foundation's decoders give for the same file:
//   u8, u8p          8 bits, unsigned as in a WAV file (Media Foundation's
//                    8-bit PCM is unsigned too)
//   s16, s16p        16 bits
//   s32, s32p        24 bits, packed in 3 little-endian bytes, when the
//                    decoder says that 24 or fewer bits are real (a 24-bit
//                    WAV or FLAC: the decoder gives them in the top bytes);
//                    32 bits otherwise
//   s64, s64p        32 bits
//   flt, fltp, dbl,  16 bits: mp3, AAC, Vorbis and Opus decode to float, and
//   dblp             Media Foundation's decoders give 16-bit PCM for them
// Video and every other stream is never decoded: their packets are dropped
// as the demuxer hands them over.
#pragma once

#include <mutex>
#include <vector>

#include "platform/linux/linux_av.h"
#include "platform/media.h"

namespace qv {

class CLinuxSourceReader : public CAddReleaseRef, public IMFSourceReader {
public:
    // The file opened, its stream information read.
    explicit CLinuxSourceReader(AvFormatPtr format);

    // A stream is FIRST_AUDIO_STREAM, ALL_STREAMS or an index of the file.
    // Only the first audio stream starts selected, since it is the only one
    // that the reader delivers.
    HRESULT SetStreamSelection(uint32_t stream, bool selected) override;
    // The type must be audio and PCM; the decoder opens here.
    HRESULT SetCurrentMediaType(uint32_t stream, IMFMediaType* type) override;
    // Before SetCurrentMediaType, the native type: channels and rate, and
    // the bits only for a PCM codec. After it, the decoded PCM.
    HRESULT GetCurrentMediaType(uint32_t stream, CRefPtr<IMFMediaType>& type) override;
    // The container's duration in 100-ns units. A source that does not know
    // its duration (a raw stream read from a pipe, which FFmpeg can neither
    // seek to its end nor measure) has no such attribute on Windows either:
    // MF_E_ATTRIBUTENOTFOUND, with the value left VT_EMPTY, so that the model
    // meets the same failure on both. A caller that converts the value
    // regardless gets 0, as PropVariantToInt64 makes of VT_EMPTY.
    HRESULT GetPresentationAttribute(uint32_t stream, PresentationAttribute key, MediaPropVariant& value) override;
    // One decoded frame; at the end MF_SOURCE_READERF_ENDOFSTREAM with no
    // sample, on every later call too. When the decoded channels, rate or
    // resolution change, the first sample in the new format comes with
    // MF_SOURCE_READERF_CURRENTMEDIATYPECHANGED. A packet that the decoder
    // rejects as damaged is skipped, as Media Foundation's decoders do.
    HRESULT ReadSample(uint32_t stream, uint32_t& streamFlags, CRefPtr<IMFSample>& sample) override;

private:
    // What the model sees of the decoded sound.
    struct PcmType {
        uint32_t channels = 0;
        uint32_t rate = 0;
        uint32_t bits = 0;
        friend bool operator==(const PcmType&, const PcmType&) = default;
    };
    // What the converter was made for: the decoded frame's format and the
    // packed one that it writes.
    struct ConverterFormats {
        int from = AV_SAMPLE_FMT_NONE;
        int channels = 0;
        int rate = 0;
        int to = AV_SAMPLE_FMT_NONE;
        friend bool operator==(const ConverterFormats&, const ConverterFormats&) = default;
    };

    // The index of the file's stream, or -1 for none.
    int StreamIndex(uint32_t stream) const;
    bool IsAudioStream(uint32_t stream) const;
    HRESULT OpenDecoder();
    PcmType TypeOf(AVSampleFormat format, int channels, int rate) const;
    // The next frame into m_frame: S_OK, S_FALSE at the end, or a failure.
    HRESULT DecodeFrame();
    HRESULT Convert(const AVFrame& frame, std::vector<uint8_t>& pcm);

    std::mutex m_mutex;
    AvFormatPtr m_format;
    int m_audio = -1;  // the first audio stream's index
    AvCodecContextPtr m_decoder;
    AvPacketPtr m_packet;
    AvFramePtr m_frame;
    SwrPtr m_converter;
    ConverterFormats m_converterFormats;
    PcmType m_type;
    bool m_draining = false;  // the file has ended; the decoder gives what it holds
    bool m_ended = false;
};

}  // namespace qv
