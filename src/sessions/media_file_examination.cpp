#include "sessions/media_file_examination.h"

#include <cstring>

#include "platform/codes.h"

namespace qv {

namespace {

constexpr double k100nsPerSecond = 10000000.0;

// Holds the buffer's lock for as long as its bytes are read.
class CBufferLock {
public:
    explicit CBufferLock(IMFMediaBuffer& buffer) : m_buffer(buffer) {
        m_hr = m_buffer.Lock(m_data, m_maxLength, m_currentLength);
    }
    ~CBufferLock() {
        if (Succeeded(m_hr)) m_buffer.Unlock();
    }
    CBufferLock(const CBufferLock&) = delete;
    CBufferLock& operator=(const CBufferLock&) = delete;

    bool Locked() const { return Succeeded(m_hr); }
    const uint8_t* Data() const { return m_data; }
    uint32_t CurrentLength() const { return m_currentLength; }

private:
    IMFMediaBuffer& m_buffer;
    HRESULT m_hr = E_FAIL;
    const uint8_t* m_data = nullptr;
    uint32_t m_maxLength = 0;
    uint32_t m_currentLength = 0;
};

uint32_t ReadAttribute(const CCommonBase& tracer, IMFMediaType& type, MediaAttribute key, const wchar_t* failure) {
    uint32_t value = 0;
    HRESULT hr = type.GetUINT32(key, value);
    if (Failed(hr)) {
        tracer.Trace(failure, hr);
        value = 0;
    }
    return value;
}

// Decodes from the start into one interleaved stream of all channels, until
// the limit, the end of the stream, a change of type or a failure.
std::vector<float> DecodeFirstSeconds(IMFSourceReader& reader, uint32_t bitsPerSample, uint32_t limit) {
    std::vector<float> samples;
    uint64_t bytesSoFar = 0;
    for (;;) {
        uint32_t flags = 0;
        CRefPtr<IMFSample> sample;
        if (Failed(reader.ReadSample(MF_SOURCE_READER_FIRST_AUDIO_STREAM, flags, sample))) break;
        if (flags & (MF_SOURCE_READERF_CURRENTMEDIATYPECHANGED | MF_SOURCE_READERF_ENDOFSTREAM)) break;
        // A gap in the stream comes as no sample; with nothing to convert the
        // loop ends as it would at a failed conversion.
        if (!sample) break;
        CRefPtr<IMFMediaBuffer> buffer;
        if (Failed(sample->ConvertToContiguousBuffer(buffer)) || !buffer) break;
        CBufferLock lock(*buffer);
        if (!lock.Locked()) break;
        const bool known = AppendDecodedSamples(lock.Data(), lock.CurrentLength(), bitsPerSample, samples);
        bytesSoFar += lock.CurrentLength();
        // The last buffer is taken whole: the samples may run past the limit
        // by part of one buffer.
        if (bytesSoFar >= limit || !known) break;
    }
    return samples;
}

}  // namespace

CRefPtr<IMFMediaType> SelectFirstAudioStreamAsPcm(IMediaFoundation& media, IMFSourceReader& reader) {
    if (Failed(reader.SetStreamSelection(MF_SOURCE_READER_ALL_STREAMS, false))) return nullptr;
    if (Failed(reader.SetStreamSelection(MF_SOURCE_READER_FIRST_AUDIO_STREAM, true))) return nullptr;
    CRefPtr<IMFMediaType> wanted;
    if (Failed(media.MFCreateMediaType(wanted)) || !wanted) return nullptr;
    if (Failed(wanted->SetGUID(MediaAttribute::MajorType, MediaTypeValue::MediaTypeAudio))) return nullptr;
    if (Failed(wanted->SetGUID(MediaAttribute::Subtype, MediaTypeValue::AudioFormatPCM))) return nullptr;
    if (Failed(reader.SetCurrentMediaType(MF_SOURCE_READER_FIRST_AUDIO_STREAM, wanted.get()))) return nullptr;
    CRefPtr<IMFMediaType> decoded;
    if (Failed(reader.GetCurrentMediaType(MF_SOURCE_READER_FIRST_AUDIO_STREAM, decoded))) return nullptr;
    // Once more, its result not looked at.
    reader.SetStreamSelection(MF_SOURCE_READER_FIRST_AUDIO_STREAM, true);
    return decoded;
}

uint32_t EightSecondsOfBytes(uint32_t samplesPerSecond, uint32_t channelCount, uint32_t bitsPerSample) {
    return ((samplesPerSecond * channelCount) >> 3) * bitsPerSample * 8u;
}

bool AppendDecodedSamples(const uint8_t* data, uint32_t length, uint32_t bitsPerSample, std::vector<float>& samples) {
    if (bitsPerSample == 0) return false;
    const std::size_t count = static_cast<std::size_t>(uint64_t{length} * 8u / bitsPerSample);
    const std::size_t first = samples.size();
    samples.resize(first + count, 0.0f);
    float* out = samples.data() + first;
    // Little-endian words read bytewise: the buffer has no alignment to rely on.
    auto word = [&](std::size_t i) -> int32_t {
        if (2 * i + 1 >= length) return 0;
        return static_cast<int16_t>(static_cast<uint16_t>(data[2 * i] | data[2 * i + 1] << 8));
    };
    switch (bitsPerSample) {
        case 8:
            for (std::size_t i = 0; i < count; ++i)
                out[i] = static_cast<float>(static_cast<int8_t>(data[i])) * 0.0078125f;
            return true;
        case 16:
            for (std::size_t i = 0; i < count; ++i) out[i] = static_cast<float>(word(i)) * 3.0517578e-5f;
            return true;
        case 24:
            for (std::size_t i = 0; i < count; ++i) {
                // Unsigned arithmetic for the shifts; the bits are those of the
                // signed words as they were always combined.
                const uint32_t bits =
                    (((static_cast<uint32_t>(word(i + 2)) << 8 | static_cast<uint32_t>(word(i + 1))) << 8) |
                     static_cast<uint32_t>(word(i)))
                    << 8;
                out[i] = static_cast<float>(static_cast<int32_t>(bits)) * 1.1920929e-7f;
            }
            return true;
        case 32: std::memcpy(out, data, count * sizeof(float)); return true;
        default: return false;
    }
}

MediaFileFacts ExamineMediaFile(const CCommonBase& tracer, IMediaFoundation& media, const std::wstring& path,
                                bool isVideo) {
    MediaFileFacts facts;
    CRefPtr<IMFSourceReader> reader;
    HRESULT hr = media.MFCreateSourceReaderFromURL(path, reader);
    if (Failed(hr) || !reader) {
        tracer.Trace(L"Failed to decode media file at %s with error code %i.\n", path, Failed(hr) ? hr : E_POINTER);
        return facts;
    }
    CRefPtr<IMFMediaType> decoded = SelectFirstAudioStreamAsPcm(media, *reader);
    if (!decoded) return facts;

    const uint32_t channels = ReadAttribute(tracer, *decoded, MediaAttribute::AudioNumChannels,
                                            L"Failed to receive number of channels with error code %i.\n");
    const uint32_t rate = ReadAttribute(tracer, *decoded, MediaAttribute::AudioSamplesPerSecond,
                                        L"Failed to receive sample rate with error code %i.\n");
    const uint32_t bits = ReadAttribute(tracer, *decoded, MediaAttribute::AudioBitsPerSample,
                                        L"Failed to receive sample bit resolution with error code %i.\n");
    if (channels == 0 || rate == 0 || bits == 0) return facts;

    MediaPropVariant duration;
    hr = reader->GetPresentationAttribute(MF_SOURCE_READER_MEDIASOURCE, PresentationAttribute::Duration, duration);
    if (Failed(hr)) {
        tracer.Trace(L"Failed to receive duration with error code %i.\n", hr);
        return facts;
    }
    int64_t duration100ns = 0;
    hr = media.PropVariantToInt64(duration, duration100ns);
    const bool durationRead = Succeeded(hr);
    if (!durationRead) tracer.Trace(L"Failed to read duration from PROPVARIANT with error code %i.\n", hr);
    const double seconds = durationRead ? static_cast<double>(duration100ns) / k100nsPerSecond : 0.0;
    facts.info = MakeRef<CAudioStreamBasicInfo>(channels, rate, bits, seconds);

    // A video file gets stream facts but no samples.
    if (!durationRead || isVideo) return facts;
    std::vector<float> samples = DecodeFirstSeconds(*reader, bits, EightSecondsOfBytes(rate, channels, bits));
    if (!samples.empty()) facts.samples = std::make_shared<std::vector<float>>(std::move(samples));
    return facts;
}

}  // namespace qv
