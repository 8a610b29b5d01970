#include "core/format.h"

#include <cstdint>

namespace qv {

std::wstring PointerArgument(const void* pointer) {
    return FormatW(L"0x%016llX", static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(pointer)));
}

}  // namespace qv
