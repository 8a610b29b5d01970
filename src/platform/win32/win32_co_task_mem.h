// Ownership of text that COM hands over in task memory (IMMDevice::GetId,
// the session names and identifiers, SHGetKnownFolderPath): freed with
// CoTaskMemFree when the holder goes, also where the call failed and still
// left something behind.
#pragma once

#include <string>

#include "platform/win32/windows_api.h"

#include <objbase.h>

namespace qv {

class CCoTaskMemString {
public:
    CCoTaskMemString() = default;
    CCoTaskMemString(const CCoTaskMemString&) = delete;
    CCoTaskMemString& operator=(const CCoTaskMemString&) = delete;
    ~CCoTaskMemString() { ::CoTaskMemFree(m_text); }

    // For the out-parameter of the call.
    LPWSTR* put() {
        ::CoTaskMemFree(m_text);
        m_text = nullptr;
        return &m_text;
    }
    const wchar_t* get() const { return m_text; }
    // A null text reads as empty.
    std::wstring ToWide() const { return m_text ? std::wstring(m_text) : std::wstring(); }

private:
    LPWSTR m_text = nullptr;
};

}  // namespace qv
