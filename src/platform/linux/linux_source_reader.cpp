#include "platform/linux/linux_source_reader.h"

#include <atomic>

#include "platform/codes.h"
#include "platform/linux/linux_media.h"

namespace qv {

namespace {

// The bytes of one decoded frame, handed out by Lock until Unlock.
class CLinuxMediaBuffer : public CAddReleaseRef, public IMFMediaBuffer {
public:
    explicit CLinuxMediaBuffer(std::vector<uint8_t> bytes) : m_bytes(std::move(bytes)) {}
    HRESULT Lock(const uint8_t*& data, uint32_t& maxLength, uint32_t& currentLength) override {
        data = m_bytes.data();
        maxLength = currentLength = static_cast<uint32_t>(m_bytes.size());
        m_locks.fetch_add(1);
        return S_OK;
    }
    HRESULT Unlock() override {
        uint32_t locks = m_locks.load();
        do {
            if (locks == 0) return MF_E_INVALIDREQUEST;
        } while (!m_locks.compare_exchange_weak(locks, locks - 1));
        return S_OK;
    }

private:
    const std::vector<uint8_t> m_bytes;
    std::atomic<uint32_t> m_locks{0};
};

// A sample of one buffer, which is contiguous already.
class CLinuxSample : public CAddReleaseRef, public IMFSample {
public:
    explicit CLinuxSample(std::vector<uint8_t> bytes) : m_buffer(MakeRef<CLinuxMediaBuffer>(std::move(bytes))) {}
    HRESULT ConvertToContiguousBuffer(CRefPtr<IMFMediaBuffer>& buffer) override {
        buffer = m_buffer;
        return S_OK;
    }

private:
    const CRefPtr<IMFMediaBuffer> m_buffer;
};

// The interleaved integer format that the converter writes for a width.
AVSampleFormat PackedFormatFor(uint32_t bits) {
    switch (bits) {
        case 8: return AV_SAMPLE_FMT_U8;
        case 16: return AV_SAMPLE_FMT_S16;
        default: return AV_SAMPLE_FMT_S32;  // 24 is packed from it afterwards
    }
}

}  // namespace

CLinuxSourceReader::CLinuxSourceReader(AvFormatPtr format) : m_format(std::move(format)) {
    for (unsigned i = 0; i < m_format->nb_streams; ++i) {
        AVStream* stream = m_format->streams[i];
        const bool firstAudio = m_audio < 0 && stream->codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
        if (firstAudio) m_audio = static_cast<int>(i);
        stream->discard = firstAudio ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
}

int CLinuxSourceReader::StreamIndex(uint32_t stream) const {
    if (stream == MF_SOURCE_READER_FIRST_AUDIO_STREAM) return m_audio;
    return stream < m_format->nb_streams ? static_cast<int>(stream) : -1;
}

bool CLinuxSourceReader::IsAudioStream(uint32_t stream) const { return m_audio >= 0 && StreamIndex(stream) == m_audio; }

HRESULT CLinuxSourceReader::SetStreamSelection(uint32_t stream, bool selected) {
    std::lock_guard lock(m_mutex);
    const AVDiscard discard = selected ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    if (stream == MF_SOURCE_READER_ALL_STREAMS) {
        for (unsigned i = 0; i < m_format->nb_streams; ++i) m_format->streams[i]->discard = discard;
        return S_OK;
    }
    const int index = StreamIndex(stream);
    if (index < 0) return MF_E_INVALIDSTREAMNUMBER;
    m_format->streams[index]->discard = discard;
    return S_OK;
}

CLinuxSourceReader::PcmType CLinuxSourceReader::TypeOf(AVSampleFormat format, int channels, int rate) const {
    PcmType type{static_cast<uint32_t>(channels), static_cast<uint32_t>(rate), 0};
    switch (av_get_packed_sample_fmt(format)) {
        case AV_SAMPLE_FMT_U8: type.bits = 8; break;
        case AV_SAMPLE_FMT_S16: type.bits = 16; break;
        case AV_SAMPLE_FMT_S32: {
            const int real = m_decoder->bits_per_raw_sample;
            type.bits = real > 16 && real <= 24 ? 24 : 32;
            break;
        }
        case AV_SAMPLE_FMT_S64: type.bits = 32; break;
        case AV_SAMPLE_FMT_FLT:
        case AV_SAMPLE_FMT_DBL: type.bits = 16; break;
        default: break;
    }
    return type;
}

HRESULT CLinuxSourceReader::OpenDecoder() {
    const AVStream* stream = m_format->streams[m_audio];
    const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
    if (!codec) return MF_E_TOPO_CODEC_NOT_FOUND;
    AvCodecContextPtr decoder(avcodec_alloc_context3(codec));
    AvPacketPtr packet(av_packet_alloc());
    AvFramePtr frame(av_frame_alloc());
    if (!decoder || !packet || !frame) return E_OUTOFMEMORY;
    int error = avcodec_parameters_to_context(decoder.get(), stream->codecpar);
    if (error < 0) return HresultFromAvError(error);
    decoder->pkt_timebase = stream->time_base;
    error = avcodec_open2(decoder.get(), codec, nullptr);
    if (error < 0) return HresultFromAvError(error);
    m_decoder = std::move(decoder);
    m_packet = std::move(packet);
    m_frame = std::move(frame);

    // Most decoders know their output format once open; the others had it
    // found by the stream information's trial decoding.
    AVSampleFormat format = m_decoder->sample_fmt;
    if (format == AV_SAMPLE_FMT_NONE) format = static_cast<AVSampleFormat>(stream->codecpar->format);
    m_type = TypeOf(format, m_decoder->ch_layout.nb_channels, m_decoder->sample_rate);
    if (m_type.bits == 0 || m_type.channels == 0 || m_type.rate == 0) {
        m_decoder.reset();
        return MF_E_INVALIDMEDIATYPE;
    }
    return S_OK;
}

HRESULT CLinuxSourceReader::SetCurrentMediaType(uint32_t stream, IMFMediaType* type) {
    std::lock_guard lock(m_mutex);
    if (!IsAudioStream(stream)) return MF_E_INVALIDSTREAMNUMBER;
    auto* ours = dynamic_cast<CLinuxMediaType*>(type);
    if (!ours || ours->GuidOf(MediaAttribute::MajorType) != MediaTypeValue::MediaTypeAudio ||
        ours->GuidOf(MediaAttribute::Subtype) != MediaTypeValue::AudioFormatPCM)
        return MF_E_INVALIDMEDIATYPE;
    return m_decoder ? S_OK : OpenDecoder();
}

HRESULT CLinuxSourceReader::GetCurrentMediaType(uint32_t stream, CRefPtr<IMFMediaType>& type) {
    std::lock_guard lock(m_mutex);
    type = nullptr;
    if (!IsAudioStream(stream)) return MF_E_INVALIDSTREAMNUMBER;
    CRefPtr<CLinuxMediaType> made = MakeRef<CLinuxMediaType>();
    made->SetGUID(MediaAttribute::MajorType, MediaTypeValue::MediaTypeAudio);
    if (m_decoder) {
        made->SetGUID(MediaAttribute::Subtype, MediaTypeValue::AudioFormatPCM);
        made->SetUINT32(MediaAttribute::AudioNumChannels, m_type.channels);
        made->SetUINT32(MediaAttribute::AudioSamplesPerSecond, m_type.rate);
        made->SetUINT32(MediaAttribute::AudioBitsPerSample, m_type.bits);
    } else {
        const AVCodecParameters& native = *m_format->streams[m_audio]->codecpar;
        made->SetUINT32(MediaAttribute::AudioNumChannels, static_cast<uint32_t>(native.ch_layout.nb_channels));
        made->SetUINT32(MediaAttribute::AudioSamplesPerSecond, static_cast<uint32_t>(native.sample_rate));
        if (const int bits = av_get_bits_per_sample(native.codec_id); bits > 0)
            made->SetUINT32(MediaAttribute::AudioBitsPerSample, static_cast<uint32_t>(bits));
    }
    type = made;
    return S_OK;
}

HRESULT CLinuxSourceReader::GetPresentationAttribute(uint32_t stream, PresentationAttribute key,
                                                     MediaPropVariant& value) {
    std::lock_guard lock(m_mutex);
    value = {};
    if (stream != MF_SOURCE_READER_MEDIASOURCE) {
        // A stream's own attributes hold no presentation duration.
        return StreamIndex(stream) < 0 ? MF_E_INVALIDSTREAMNUMBER : MF_E_ATTRIBUTENOTFOUND;
    }
    if (key != PresentationAttribute::Duration) return MF_E_ATTRIBUTENOTFOUND;
    if (m_format->duration == AV_NOPTS_VALUE || m_format->duration < 0) return MF_E_ATTRIBUTENOTFOUND;
    // AV_TIME_BASE is microseconds.
    value = {kVtUI8, av_rescale(m_format->duration, 10'000'000, AV_TIME_BASE)};
    return S_OK;
}

HRESULT CLinuxSourceReader::DecodeFrame() {
    for (;;) {
        int error = avcodec_receive_frame(m_decoder.get(), m_frame.get());
        if (error == 0) return S_OK;
        if (error == AVERROR_EOF) return S_FALSE;
        if (error != AVERROR(EAGAIN)) return HresultFromAvError(error);
        if (m_draining) return S_FALSE;  // a drained decoder asks for nothing more

        error = av_read_frame(m_format.get(), m_packet.get());
        if (error == AVERROR_EOF) {
            m_draining = true;
            error = avcodec_send_packet(m_decoder.get(), nullptr);
            if (error < 0 && error != AVERROR_EOF) return HresultFromAvError(error);
            continue;
        }
        if (error < 0) return HresultFromAvError(error);
        if (m_packet->stream_index == m_audio) error = avcodec_send_packet(m_decoder.get(), m_packet.get());
        av_packet_unref(m_packet.get());
        // A damaged packet costs its own sound only.
        if (error < 0 && error != AVERROR_INVALIDDATA) return HresultFromAvError(error);
    }
}

HRESULT CLinuxSourceReader::Convert(const AVFrame& frame, std::vector<uint8_t>& pcm) {
    const AVSampleFormat target = PackedFormatFor(m_type.bits);
    const ConverterFormats formats{frame.format, frame.ch_layout.nb_channels, frame.sample_rate, target};
    if (!m_converter || !(m_converterFormats == formats)) {
        m_converter.reset();
        // Only the sample format changes: the layout is the same on both
        // sides, so the channels pass through in their order.
        AVChannelLayout layout{};
        av_channel_layout_default(&layout, formats.channels);
        SwrContext* made = nullptr;
        int error = swr_alloc_set_opts2(&made, &layout, target, formats.rate, &layout,
                                        static_cast<AVSampleFormat>(formats.from), formats.rate, 0, nullptr);
        SwrPtr converter(made);
        if (error >= 0) error = swr_init(converter.get());
        if (error < 0) return HresultFromAvError(error);
        m_converter = std::move(converter);
        m_converterFormats = formats;
    }

    const std::size_t width = static_cast<std::size_t>(av_get_bytes_per_sample(target));
    const std::size_t channels = static_cast<std::size_t>(formats.channels);
    pcm.resize(static_cast<std::size_t>(frame.nb_samples) * channels * width);
    uint8_t* out[] = {pcm.data()};
    const int converted = swr_convert(m_converter.get(), out, frame.nb_samples,
                                      const_cast<const uint8_t**>(frame.extended_data), frame.nb_samples);
    if (converted < 0) return HresultFromAvError(converted);
    const std::size_t values = static_cast<std::size_t>(converted) * channels;
    pcm.resize(values * width);
    if (m_type.bits == 24) {
        // The decoder puts the 24 bits in the top three bytes of each
        // little-endian 32-bit value: keep those, in place.
        for (std::size_t i = 0; i < values; ++i) {
            pcm[3 * i] = pcm[4 * i + 1];
            pcm[3 * i + 1] = pcm[4 * i + 2];
            pcm[3 * i + 2] = pcm[4 * i + 3];
        }
        pcm.resize(values * 3);
    }
    return S_OK;
}

HRESULT CLinuxSourceReader::ReadSample(uint32_t stream, uint32_t& streamFlags, CRefPtr<IMFSample>& sample) {
    std::lock_guard lock(m_mutex);
    streamFlags = 0;
    sample = nullptr;
    if (!IsAudioStream(stream)) return MF_E_INVALIDSTREAMNUMBER;
    // The reader gives decoded sound only, of a stream that is selected.
    if (!m_decoder || m_format->streams[m_audio]->discard == AVDISCARD_ALL) return MF_E_INVALIDREQUEST;
    if (!m_ended) {
        const HRESULT hr = DecodeFrame();
        if (Failed(hr)) return hr;
        m_ended = hr == S_FALSE;
    }
    if (m_ended) {
        streamFlags = MF_SOURCE_READERF_ENDOFSTREAM;
        return S_OK;
    }

    const PcmType type =
        TypeOf(static_cast<AVSampleFormat>(m_frame->format), m_frame->ch_layout.nb_channels, m_frame->sample_rate);
    if (type.bits == 0 || type.channels == 0 || type.rate == 0) return MF_E_INVALIDMEDIATYPE;
    if (!(type == m_type)) {
        m_type = type;
        streamFlags |= MF_SOURCE_READERF_CURRENTMEDIATYPECHANGED;
    }
    std::vector<uint8_t> pcm;
    const HRESULT hr = Convert(*m_frame, pcm);
    av_frame_unref(m_frame.get());
    if (Failed(hr)) return hr;
    sample = MakeRef<CLinuxSample>(std::move(pcm));
    return S_OK;
}

}  // namespace qv
