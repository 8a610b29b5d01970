#include "platform/sim/sim_media.h"

#include "platform/codes.h"

namespace qv {

namespace {

// Media Foundation's own codes for what the simulated reader refuses.
constexpr HRESULT kFileNotFound = static_cast<HRESULT>(0x80070002u);         // HRESULT_FROM_WIN32(2)
constexpr HRESULT kNotAccepting = static_cast<HRESULT>(0xC00D36B5u);         // MF_E_NOTACCEPTING

std::optional<HRESULT> Failure(CSimFailures& failures, const wchar_t* operation,
                               std::initializer_list<std::wstring_view> targets = {}) {
    if (auto code = failures.Enter(operation, targets)) return static_cast<HRESULT>(*code);
    return std::nullopt;
}

class CSimMediaBuffer : public CAddReleaseRef, public IMFMediaBuffer {
public:
    CSimMediaBuffer(CSimFailures& failures, std::vector<uint8_t> bytes)
        : m_failures(failures), m_bytes(std::move(bytes)) {}
    HRESULT Lock(const uint8_t*& data, uint32_t& maxLength, uint32_t& currentLength) override {
        if (auto failure = Failure(m_failures, L"IMFMediaBuffer::Lock")) return *failure;
        data = m_bytes.data();
        maxLength = currentLength = static_cast<uint32_t>(m_bytes.size());
        return S_OK;
    }
    HRESULT Unlock() override { return S_OK; }

private:
    CSimFailures& m_failures;
    std::vector<uint8_t> m_bytes;
};

class CSimSample : public CAddReleaseRef, public IMFSample {
public:
    CSimSample(CSimFailures& failures, std::vector<uint8_t> bytes) : m_failures(failures), m_bytes(std::move(bytes)) {}
    HRESULT ConvertToContiguousBuffer(CRefPtr<IMFMediaBuffer>& buffer) override {
        buffer = nullptr;
        if (auto failure = Failure(m_failures, L"IMFSample::ConvertToContiguousBuffer")) return *failure;
        buffer = MakeRef<CSimMediaBuffer>(m_failures, m_bytes);
        return S_OK;
    }

private:
    CSimFailures& m_failures;
    std::vector<uint8_t> m_bytes;
};

class CSimMediaType : public CAddReleaseRef, public IMFMediaType {
public:
    CSimMediaType(CSimFailures& failures, const SimMediaFile* file) : m_failures(failures) {
        if (!file) return;
        m_values[MediaAttribute::AudioNumChannels] = file->channels;
        m_values[MediaAttribute::AudioSamplesPerSecond] = file->samplesPerSecond;
        m_values[MediaAttribute::AudioBitsPerSample] = file->bitsPerSample;
    }
    HRESULT SetGUID(MediaAttribute key, MediaTypeValue value) override {
        if (auto failure = Failure(m_failures, L"IMFMediaType::SetGUID")) return *failure;
        m_values[key] = static_cast<uint32_t>(value);
        return S_OK;
    }
    HRESULT GetUINT32(MediaAttribute key, uint32_t& value) override {
        if (auto failure = Failure(m_failures, L"IMFMediaType::GetUINT32", {AttributeName(key)})) return *failure;
        auto found = m_values.find(key);
        if (found == m_values.end()) return MF_E_ATTRIBUTENOTFOUND;
        value = found->second;
        return S_OK;
    }

private:
    static std::wstring_view AttributeName(MediaAttribute key) {
        switch (key) {
            case MediaAttribute::AudioNumChannels: return L"channels";
            case MediaAttribute::AudioSamplesPerSecond: return L"rate";
            case MediaAttribute::AudioBitsPerSample: return L"bits";
            default: return L"type";
        }
    }
    CSimFailures& m_failures;
    std::map<MediaAttribute, uint32_t> m_values;
};

class CSimSourceReader : public CAddReleaseRef, public IMFSourceReader {
public:
    CSimSourceReader(CRefPtr<CSimMedia> media, SimMediaFile file)
        : m_media(std::move(media)), m_file(std::move(file)) {}

    HRESULT SetStreamSelection(uint32_t stream, bool selected) override {
        if (auto failure = Failure(m_media->Failures(), L"IMFSourceReader::SetStreamSelection")) return *failure;
        if (stream == MF_SOURCE_READER_FIRST_AUDIO_STREAM) {
            if (!m_file.hasAudio) return MF_E_INVALIDSTREAMNUMBER;
            m_audioSelected = selected;
        } else if (stream == MF_SOURCE_READER_ALL_STREAMS) {
            m_audioSelected = m_audioSelected && selected;
        }
        return S_OK;
    }
    HRESULT SetCurrentMediaType(uint32_t stream, IMFMediaType*) override {
        if (auto failure = Failure(m_media->Failures(), L"IMFSourceReader::SetCurrentMediaType")) return *failure;
        return stream == MF_SOURCE_READER_FIRST_AUDIO_STREAM && m_file.hasAudio ? S_OK : MF_E_INVALIDSTREAMNUMBER;
    }
    HRESULT GetCurrentMediaType(uint32_t stream, CRefPtr<IMFMediaType>& type) override {
        type = nullptr;
        if (auto failure = Failure(m_media->Failures(), L"IMFSourceReader::GetCurrentMediaType")) return *failure;
        if (stream != MF_SOURCE_READER_FIRST_AUDIO_STREAM || !m_file.hasAudio) return MF_E_INVALIDSTREAMNUMBER;
        type = MakeRef<CSimMediaType>(m_media->Failures(), &m_file);
        return S_OK;
    }
    HRESULT GetPresentationAttribute(uint32_t, PresentationAttribute, MediaPropVariant& value) override {
        value = {};
        if (auto failure = Failure(m_media->Failures(), L"IMFSourceReader::GetPresentationAttribute")) return *failure;
        // A source without a duration has no such attribute, as on the
        // real platforms.
        if (!m_file.duration100ns) return MF_E_ATTRIBUTENOTFOUND;
        value = {kVtUI8, *m_file.duration100ns};
        return S_OK;
    }
    HRESULT ReadSample(uint32_t stream, uint32_t& streamFlags, CRefPtr<IMFSample>& sample) override {
        streamFlags = 0;
        sample = nullptr;
        if (auto failure = Failure(m_media->Failures(), L"IMFSourceReader::ReadSample")) return *failure;
        if (stream != MF_SOURCE_READER_FIRST_AUDIO_STREAM || !m_audioSelected) return kNotAccepting;
        if (m_next < m_file.buffers.size()) {
            sample = MakeRef<CSimSample>(m_media->Failures(), m_file.buffers[m_next++]);
            return S_OK;
        }
        streamFlags =
            m_file.typeChangesAfterBuffers ? MF_SOURCE_READERF_CURRENTMEDIATYPECHANGED : MF_SOURCE_READERF_ENDOFSTREAM;
        return S_OK;
    }

private:
    const CRefPtr<CSimMedia> m_media;
    const SimMediaFile m_file;
    bool m_audioSelected = false;
    std::size_t m_next = 0;
};

}  // namespace

CSimMedia::CSimMedia()
    : m_failures({L"MFCreateSourceReaderFromURL", L"MFCreateMediaType", L"PropVariantToInt64",
                  L"IMFSourceReader::SetStreamSelection", L"IMFSourceReader::SetCurrentMediaType",
                  L"IMFSourceReader::GetCurrentMediaType", L"IMFSourceReader::GetPresentationAttribute",
                  L"IMFSourceReader::ReadSample", L"IMFMediaType::SetGUID", L"IMFMediaType::GetUINT32",
                  L"IMFSample::ConvertToContiguousBuffer", L"IMFMediaBuffer::Lock"}) {}

HRESULT CSimMedia::MFCreateSourceReaderFromURL(const std::wstring& url, CRefPtr<IMFSourceReader>& reader) {
    reader = nullptr;
    if (auto failure = Failure(m_failures, L"MFCreateSourceReaderFromURL", {url})) return *failure;
    SimMediaFile file;
    {
        std::lock_guard lock(m_mutex);
        auto found = m_files.find(url);
        if (found == m_files.end()) return kFileNotFound;
        file = found->second;
    }
    reader = MakeRef<CSimSourceReader>(CRefPtr<CSimMedia>(this), std::move(file));
    return S_OK;
}

HRESULT CSimMedia::MFCreateMediaType(CRefPtr<IMFMediaType>& type) {
    type = nullptr;
    if (auto failure = Failure(m_failures, L"MFCreateMediaType")) return *failure;
    type = MakeRef<CSimMediaType>(m_failures, nullptr);
    return S_OK;
}

HRESULT CSimMedia::PropVariantToInt64(const MediaPropVariant& value, int64_t& result) {
    result = 0;
    if (auto failure = Failure(m_failures, L"PropVariantToInt64")) return *failure;
    switch (value.vt) {
        case kVtI4:
        case kVtUI4:
        case kVtI8:
        case kVtUI8: result = value.value; return S_OK;
        // What Windows gives for an empty value: zero.
        case kVtEmpty: return S_OK;
        default: return DISP_E_TYPEMISMATCH;
    }
}

void CSimMedia::PutMediaFile(const std::wstring& path, SimMediaFile file) {
    std::lock_guard lock(m_mutex);
    m_files[path] = std::move(file);
}

}  // namespace qv
