// The pipe between the browser's native host (PELTAK64) and the classifier.
// A classifier takes the lowest free slot, so a native host tries them all.
#pragma once

#include <cstdint>
#include <string>

namespace qv {

inline constexpr int kNativeHostPipeSlots = 10;
// The longest browser path that the classifier reads, in bytes of UTF-16
// with its terminator; a longer one is cut.
inline constexpr uint32_t kNativeHostMaxPathBytes = 2048;

// "\\.\pipe\{68327F92-4C65-4484-860D-DA80B61FCDBA}.Quorvane_CoCl_<slot>".
std::wstring NativeHostPipeName(int slot);

}  // namespace qv
