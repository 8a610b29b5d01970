// Ownership of one kernel handle: closed when the owner goes, on every path.
// Some calls report failure with null, others with INVALID_HANDLE_VALUE
// (CreateFileA, CreateToolhelp32Snapshot); both read as "no handle" here, so
// a caller never closes the wrong one.
#pragma once

#include <utility>

#include "platform/win32/windows_api.h"

namespace qv {

class CUniqueHandle {
public:
    CUniqueHandle() = default;
    explicit CUniqueHandle(HANDLE handle) : m_handle(IsValid(handle) ? handle : nullptr) {}
    CUniqueHandle(CUniqueHandle&& other) noexcept : m_handle(std::exchange(other.m_handle, nullptr)) {}
    CUniqueHandle& operator=(CUniqueHandle&& other) noexcept {
        if (this != &other) reset(std::exchange(other.m_handle, nullptr));
        return *this;
    }
    CUniqueHandle(const CUniqueHandle&) = delete;
    CUniqueHandle& operator=(const CUniqueHandle&) = delete;
    ~CUniqueHandle() { reset(); }

    HANDLE get() const { return m_handle; }
    explicit operator bool() const { return m_handle != nullptr; }
    void reset(HANDLE handle = nullptr) {
        if (m_handle) ::CloseHandle(m_handle);
        m_handle = IsValid(handle) ? handle : nullptr;
    }
    // For out-parameters of the platform (DuplicateHandle): the slot must be empty.
    HANDLE* put() {
        reset();
        return &m_handle;
    }

private:
    static bool IsValid(HANDLE handle) { return handle != nullptr && handle != INVALID_HANDLE_VALUE; }
    HANDLE m_handle = nullptr;
};

}  // namespace qv
