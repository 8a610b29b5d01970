#include "decoded_file.h"

#include <cstring>

#include "core/text.h"
#include "platform/codes.h"
#include "platform/linux/linux_media.h"
#include "sessions/media_file_examination.h"

namespace qv::demo {

namespace {

std::string Hex(HRESULT hr) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<uint32_t>(hr));
    return text;
}

}  // namespace

bool DecodeWholeFile(const std::string& path, DecodedFile& file, std::string& problem) {
    auto media = MakeRef<CLinuxMediaFoundation>();
    CRefPtr<IMFSourceReader> reader;
    HRESULT hr = media->MFCreateSourceReaderFromURL(Utf8ToWide(path), reader);
    CRefPtr<IMFMediaType> decoded = Succeeded(hr) ? SelectFirstAudioStreamAsPcm(*media, *reader) : nullptr;
    if (Succeeded(hr) && !decoded) hr = E_FAIL;
    uint32_t bits = 0;
    if (Succeeded(hr)) hr = decoded->GetUINT32(MediaAttribute::AudioNumChannels, file.channels);
    if (Succeeded(hr)) hr = decoded->GetUINT32(MediaAttribute::AudioSamplesPerSecond, file.samplesPerSecond);
    if (Succeeded(hr)) hr = decoded->GetUINT32(MediaAttribute::AudioBitsPerSample, bits);
    if (Failed(hr)) {
        problem = "cannot read the sound of " + path + " (" + Hex(hr) + ")";
        return false;
    }
    if (bits != 16) {
        problem = path + " decodes to " + std::to_string(bits) + "-bit sound; the demo plays 16-bit sound only";
        return false;
    }
    for (;;) {
        uint32_t flags = 0;
        CRefPtr<IMFSample> sample;
        CRefPtr<IMFMediaBuffer> buffer;
        if (Failed(reader->ReadSample(MF_SOURCE_READER_FIRST_AUDIO_STREAM, flags, sample)) || !sample) break;
        if (Failed(sample->ConvertToContiguousBuffer(buffer))) break;
        const uint8_t* data = nullptr;
        uint32_t maxLength = 0, length = 0;
        if (Failed(buffer->Lock(data, maxLength, length))) break;
        const std::size_t first = file.samples.size();
        file.samples.resize(first + length / 2);
        std::memcpy(file.samples.data() + first, data, length / 2 * 2);
        buffer->Unlock();
    }
    if (file.samples.empty()) {
        problem = path + " has no sound to play";
        return false;
    }
    return true;
}

}  // namespace qv::demo
