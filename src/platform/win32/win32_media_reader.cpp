#include "platform/win32/win32_media_reader.h"

#include <mfapi.h>

#include "platform/win32/win32_media.h"
#include "platform/win32/win32_prop_variant.h"
#include "platform/win32/win32_wrap.h"

namespace qv {

namespace {

// Null for a value outside the enumeration: the caller answers E_INVALIDARG.
const ::GUID* AttributeGuid(MediaAttribute key) {
    switch (key) {
        case MediaAttribute::MajorType: return &MF_MT_MAJOR_TYPE;
        case MediaAttribute::Subtype: return &MF_MT_SUBTYPE;
        case MediaAttribute::AudioNumChannels: return &MF_MT_AUDIO_NUM_CHANNELS;
        case MediaAttribute::AudioSamplesPerSecond: return &MF_MT_AUDIO_SAMPLES_PER_SECOND;
        case MediaAttribute::AudioBitsPerSample: return &MF_MT_AUDIO_BITS_PER_SAMPLE;
    }
    return nullptr;
}

const ::GUID* TypeValueGuid(MediaTypeValue value) {
    switch (value) {
        case MediaTypeValue::MediaTypeAudio: return &MFMediaType_Audio;
        case MediaTypeValue::AudioFormatPCM: return &MFAudioFormat_PCM;
    }
    return nullptr;
}

const ::GUID* PresentationGuid(PresentationAttribute key) {
    switch (key) {
        case PresentationAttribute::Duration: return &MF_PD_DURATION;
    }
    return nullptr;
}

}  // namespace

// ---- Media type

HRESULT CWin32MediaType::SetGUID(MediaAttribute key, MediaTypeValue value) {
    const ::GUID* attribute = AttributeGuid(key);
    const ::GUID* guid = TypeValueGuid(value);
    if (!attribute || !guid) return E_INVALIDARG;
    return m_type->SetGUID(*attribute, *guid);
}

HRESULT CWin32MediaType::GetUINT32(MediaAttribute key, uint32_t& value) {
    const ::GUID* attribute = AttributeGuid(key);
    if (!attribute) return E_INVALIDARG;
    UINT32 read = 0;
    HRESULT hr = m_type->GetUINT32(*attribute, &read);
    if (SUCCEEDED(hr)) value = read;
    return hr;
}

// ---- Buffer and sample

CWin32MediaBuffer::~CWin32MediaBuffer() {
    for (; m_locks > 0; --m_locks) m_buffer->Unlock();
}

HRESULT CWin32MediaBuffer::Lock(const uint8_t*& data, uint32_t& maxLength, uint32_t& currentLength) {
    BYTE* bytes = nullptr;
    DWORD max = 0, current = 0;
    HRESULT hr = m_buffer->Lock(&bytes, &max, &current);
    if (FAILED(hr)) return hr;
    ++m_locks;
    data = bytes;
    maxLength = max;
    currentLength = current;
    return hr;
}

HRESULT CWin32MediaBuffer::Unlock() {
    HRESULT hr = m_buffer->Unlock();
    if (SUCCEEDED(hr) && m_locks > 0) --m_locks;
    return hr;
}

HRESULT CWin32Sample::ConvertToContiguousBuffer(CRefPtr<IMFMediaBuffer>& buffer) {
    return WrapNewObject<CWin32MediaBuffer, ::IMFMediaBuffer>(
        buffer, [&](::IMFMediaBuffer** contiguous) { return m_sample->ConvertToContiguousBuffer(contiguous); });
}

// ---- Source reader

HRESULT CWin32SourceReader::SetStreamSelection(uint32_t stream, bool selected) {
    return m_reader->SetStreamSelection(stream, selected ? TRUE : FALSE);
}

HRESULT CWin32SourceReader::SetCurrentMediaType(uint32_t stream, IMFMediaType* type) {
    if (!type) return E_POINTER;
    auto* own = dynamic_cast<CWin32MediaType*>(type);
    if (!own) return E_INVALIDARG;
    return m_reader->SetCurrentMediaType(stream, nullptr, own->Platform());
}

HRESULT CWin32SourceReader::GetCurrentMediaType(uint32_t stream, CRefPtr<IMFMediaType>& type) {
    return WrapNewObject<CWin32MediaType, ::IMFMediaType>(
        type, [&](::IMFMediaType** current) { return m_reader->GetCurrentMediaType(stream, current); });
}

HRESULT CWin32SourceReader::GetPresentationAttribute(uint32_t stream, PresentationAttribute key,
                                                     MediaPropVariant& value) {
    value = MediaPropVariant{};
    const ::GUID* attribute = PresentationGuid(key);
    if (!attribute) return E_INVALIDARG;
    CPropVariantHolder read;
    HRESULT hr = m_reader->GetPresentationAttribute(stream, *attribute, read.get());
    if (SUCCEEDED(hr)) value = ToMediaPropVariant(read.value());
    return hr;
}

HRESULT CWin32SourceReader::ReadSample(uint32_t stream, uint32_t& streamFlags, CRefPtr<IMFSample>& sample) {
    sample = nullptr;
    DWORD flags = 0;
    CRefPtr<::IMFSample> read;
    HRESULT hr = m_reader->ReadSample(stream, 0, nullptr, &flags, nullptr, read.put());
    streamFlags = flags;
    if (SUCCEEDED(hr) && read) sample = MakeRef<CWin32Sample>(std::move(read));
    return hr;
}

}  // namespace qv
