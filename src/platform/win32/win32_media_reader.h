// The source reader and what it hands out (media types, samples, buffers)
// behind the port's interfaces. Each object holds one reference of the
// platform's object and forwards every call to it as it is.
//
// Only the media files include this header: mfidl.h comes before anything
// else that could bring in the audio headers.
#pragma once

#include <mfidl.h>
#include <mfreadwrite.h>

#include <cstdint>
#include <utility>

#include "core/ref.h"
#include "platform/media.h"
#include "platform/win32/windows_api.h"

namespace qv {

class CWin32MediaType : public CAddReleaseRef, public IMFMediaType {
public:
    explicit CWin32MediaType(CRefPtr<::IMFMediaType> type) : m_type(std::move(type)) {}
    HRESULT SetGUID(MediaAttribute key, MediaTypeValue value) override;
    HRESULT GetUINT32(MediaAttribute key, uint32_t& value) override;
    // For the reader, which hands the platform its own object.
    ::IMFMediaType* Platform() const { return m_type.get(); }

private:
    const CRefPtr<::IMFMediaType> m_type;
};

// Locks that the caller did not undo are undone when the object goes, so
// that an early return cannot leave the platform's buffer locked.
class CWin32MediaBuffer : public CAddReleaseRef, public IMFMediaBuffer {
public:
    explicit CWin32MediaBuffer(CRefPtr<::IMFMediaBuffer> buffer) : m_buffer(std::move(buffer)) {}
    ~CWin32MediaBuffer() override;
    HRESULT Lock(const uint8_t*& data, uint32_t& maxLength, uint32_t& currentLength) override;
    HRESULT Unlock() override;

private:
    const CRefPtr<::IMFMediaBuffer> m_buffer;
    uint32_t m_locks = 0;  // a buffer is used by one thread at a time
};

class CWin32Sample : public CAddReleaseRef, public IMFSample {
public:
    explicit CWin32Sample(CRefPtr<::IMFSample> sample) : m_sample(std::move(sample)) {}
    HRESULT ConvertToContiguousBuffer(CRefPtr<IMFMediaBuffer>& buffer) override;

private:
    const CRefPtr<::IMFSample> m_sample;
};

class CWin32SourceReader : public CAddReleaseRef, public IMFSourceReader {
public:
    explicit CWin32SourceReader(CRefPtr<::IMFSourceReader> reader) : m_reader(std::move(reader)) {}
    HRESULT SetStreamSelection(uint32_t stream, bool selected) override;
    // The type must be one that this port made (MFCreateMediaType or
    // GetCurrentMediaType); any other is E_INVALIDARG and null E_POINTER,
    // without a call.
    HRESULT SetCurrentMediaType(uint32_t stream, IMFMediaType* type) override;
    HRESULT GetCurrentMediaType(uint32_t stream, CRefPtr<IMFMediaType>& type) override;
    HRESULT GetPresentationAttribute(uint32_t stream, PresentationAttribute key, MediaPropVariant& value) override;
    HRESULT ReadSample(uint32_t stream, uint32_t& streamFlags, CRefPtr<IMFSample>& sample) override;

private:
    const CRefPtr<::IMFSourceReader> m_reader;
};

}  // namespace qv
