#include "web/web_classification_objects.h"

#include <utility>

namespace qv {

CRefPtr<CWebClassificationObject> CWebClassificationObjects::Find(const WebObjectId& id) const {
    auto it = m_objects.find(id);
    return it == m_objects.end() ? nullptr : it->second;
}

void CWebClassificationObjects::Add(const WebObjectId& id, const CRefPtr<CWebClassificationObject>& object) {
    m_objects.emplace(id, object);
}

void CWebClassificationObjects::Remove(const WebObjectId& id) {
    auto it = m_objects.find(id);
    if (it == m_objects.end()) return;
    CRefPtr<CWebClassificationObject> keep = std::move(it->second);
    m_objects.erase(it);
    keep = nullptr;
}

void CWebClassificationObjects::Clear() {
    while (!m_objects.empty()) Remove(m_objects.begin()->first);
}

}  // namespace qv
