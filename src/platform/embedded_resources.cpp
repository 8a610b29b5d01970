#include "platform/embedded_resources.h"

#include <algorithm>

#include "platform/codes.h"

namespace qv {

Win32Error FindEmbeddedResource(uint32_t id, uint32_t type, std::vector<uint8_t>& bytes) {
    bytes.clear();
    const auto table = EmbeddedResourceTable();
    if (std::none_of(table.begin(), table.end(), [&](const EmbeddedResource& r) { return r.type == type; }))
        return ERROR_RESOURCE_TYPE_NOT_FOUND;
    const auto found = std::find_if(table.begin(), table.end(),
                                    [&](const EmbeddedResource& r) { return r.type == type && r.id == id; });
    if (found == table.end()) return ERROR_RESOURCE_NAME_NOT_FOUND;
    bytes.assign(found->bytes, found->bytes + found->size);
    return ERROR_SUCCESS;
}

}  // namespace qv
