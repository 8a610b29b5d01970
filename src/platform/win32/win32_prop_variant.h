// A platform PROPVARIANT that is cleared when it goes, on every path.
#pragma once

#include "platform/win32/windows_api.h"

#include <propidl.h>

namespace qv {

class CPropVariantHolder {
public:
    CPropVariantHolder() { PropVariantInit(&m_value); }
    ~CPropVariantHolder() { ::PropVariantClear(&m_value); }
    CPropVariantHolder(const CPropVariantHolder&) = delete;
    CPropVariantHolder& operator=(const CPropVariantHolder&) = delete;
    ::PROPVARIANT* get() { return &m_value; }
    const ::PROPVARIANT& value() const { return m_value; }

private:
    ::PROPVARIANT m_value;
};

}  // namespace qv
