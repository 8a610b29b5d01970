// Resources built into the executable (RT_RCDATA on Windows; on Linux the
// same bytes compiled into the program).
#pragma once

#include <cstdint>
#include <vector>

#include "core/ref.h"
#include "platform/types.h"

namespace qv {

inline constexpr uint32_t kRtRcData = 10;  // RT_RCDATA

struct IResources : virtual IAddReleaseRef {
    // FindResourceW, LoadResource, LockResource of the program's own module.
    // 0 or an error number (ERROR_RESOURCE_TYPE_NOT_FOUND and kin).
    virtual Win32Error LoadResource(uint32_t id, uint32_t type, std::vector<uint8_t>& bytes) = 0;
};

}  // namespace qv
