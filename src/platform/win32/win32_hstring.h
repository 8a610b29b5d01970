// Ownership of one Windows Runtime string: deleted when the owner goes, on
// every path, whether the string was made here or handed over by a call.
#pragma once

#include <string>
#include <utility>

#include "platform/win32/windows_api.h"

#include <winstring.h>

namespace qv {

class CHString {
public:
    CHString() = default;
    CHString(CHString&& other) noexcept : m_string(std::exchange(other.m_string, nullptr)) {}
    CHString& operator=(CHString&& other) noexcept {
        if (this != &other) reset(std::exchange(other.m_string, nullptr));
        return *this;
    }
    CHString(const CHString&) = delete;
    CHString& operator=(const CHString&) = delete;
    ~CHString() { reset(); }

    // A copy of the text, embedded nulls included. The empty text is the
    // null string, as the runtime has it.
    HRESULT Set(const std::wstring& text) {
        return ::WindowsCreateString(text.c_str(), static_cast<UINT32>(text.size()), put());
    }

    HSTRING get() const { return m_string; }
    // For out-parameters of the runtime: the slot must be empty.
    HSTRING* put() {
        reset();
        return &m_string;
    }
    void reset(HSTRING string = nullptr) {
        if (m_string) ::WindowsDeleteString(m_string);
        m_string = string;
    }

    std::wstring ToWide() const { return ToWide(m_string); }
    static std::wstring ToWide(HSTRING string) {
        UINT32 length = 0;
        const wchar_t* text = ::WindowsGetStringRawBuffer(string, &length);
        return text ? std::wstring(text, length) : std::wstring();
    }

private:
    HSTRING m_string = nullptr;
};

}  // namespace qv
