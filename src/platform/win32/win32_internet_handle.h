// Ownership of one WinHTTP handle (a session, a connection or a request):
// closed with WinHttpCloseHandle when the owner goes, on every path.
#pragma once

#include <utility>

#include "platform/win32/windows_api.h"

#include <winhttp.h>

namespace qv {

class CUniqueInternetHandle {
public:
    CUniqueInternetHandle() = default;
    explicit CUniqueInternetHandle(HINTERNET handle) : m_handle(handle) {}
    CUniqueInternetHandle(CUniqueInternetHandle&& other) noexcept : m_handle(std::exchange(other.m_handle, nullptr)) {}
    CUniqueInternetHandle& operator=(CUniqueInternetHandle&& other) noexcept {
        if (this != &other) reset(std::exchange(other.m_handle, nullptr));
        return *this;
    }
    CUniqueInternetHandle(const CUniqueInternetHandle&) = delete;
    CUniqueInternetHandle& operator=(const CUniqueInternetHandle&) = delete;
    ~CUniqueInternetHandle() { reset(); }

    HINTERNET get() const { return m_handle; }
    explicit operator bool() const { return m_handle != nullptr; }
    void reset(HINTERNET handle = nullptr) {
        if (m_handle) ::WinHttpCloseHandle(m_handle);
        m_handle = handle;
    }

private:
    HINTERNET m_handle = nullptr;
};

}  // namespace qv
