#include "platform/sim/sim_resources.h"

#include "platform/codes.h"
#include "platform/embedded_resources.h"

namespace qv {

Win32Error CSimResources::LoadResource(uint32_t id, uint32_t type, std::vector<uint8_t>& bytes) {
    m_journal->Record(L"Resources::LoadResource", std::to_wstring(id));
    {
        std::lock_guard lock(m_mutex);
        if (m_hidden.count(id)) {
            bytes.clear();
            return ERROR_RESOURCE_NAME_NOT_FOUND;
        }
        if (auto replaced = m_replaced.find(id); replaced != m_replaced.end()) {
            bytes = replaced->second;
            return ERROR_SUCCESS;
        }
    }
    return FindEmbeddedResource(id, type, bytes);
}

void CSimResources::Hide(uint32_t id) {
    std::lock_guard lock(m_mutex);
    m_hidden.insert(id);
}

void CSimResources::Replace(uint32_t id, std::vector<uint8_t> bytes) {
    std::lock_guard lock(m_mutex);
    m_replaced[id] = std::move(bytes);
}

}  // namespace qv
