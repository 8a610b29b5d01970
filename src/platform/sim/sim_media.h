// Media files of the simulated machine: a test puts a file's stream facts and
// the buffers its decoder gives, and may make any step of the reading fail.
// Each reader walks its own copy of the buffers, so a file read twice gives
// the same sound twice.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/media.h"
#include "platform/sim/sim_failures.h"

namespace qv {

struct SimMediaFile {
    bool hasAudio = true;  // without it the audio stream cannot be selected
    uint32_t channels = 2;
    uint32_t samplesPerSecond = 44100;
    uint32_t bitsPerSample = 16;
    // In 100-ns units; without one the duration cannot be read.
    std::optional<int64_t> duration100ns;
    // Decoded buffers in order; the end of the stream follows the last.
    std::vector<std::vector<uint8_t>> buffers;
    // After the buffers the type changes instead of the stream ending.
    bool typeChangesAfterBuffers = false;
};

class CSimMedia : public CAddReleaseRef, public IMediaFoundation {
public:
    // The operations that a test can make fail. A failure aimed at one
    // attribute of GetUINT32 names it: "channels", "rate" or "bits".
    CSimMedia();

    HRESULT MFCreateSourceReaderFromURL(const std::wstring& url, CRefPtr<IMFSourceReader>& reader) override;
    HRESULT MFCreateMediaType(CRefPtr<IMFMediaType>& type) override;
    HRESULT PropVariantToInt64(const MediaPropVariant& value, int64_t& result) override;

    void PutMediaFile(const std::wstring& path, SimMediaFile file);
    CSimFailures& Failures() { return m_failures; }

private:
    std::mutex m_mutex;
    std::map<std::wstring, SimMediaFile> m_files;
    CSimFailures m_failures;
};

}  // namespace qv
