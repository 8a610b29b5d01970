#include "core/property_accessor_table.h"

namespace qv {

PropertyAccessorTable& PropertyAccessorTable::Instance() {
    static PropertyAccessorTable table;
    return table;
}

void PropertyAccessorTable::Register(std::type_index owner, const char* name, const Accessor& accessor) {
    std::lock_guard lock(m_mutex);
    if (!m_entered.emplace(owner, name).second) return;
    m_rows[name] = accessor;
    m_everyOwner[name].push_back(accessor);
}

const PropertyAccessorTable::Accessor* PropertyAccessorTable::Find(const std::string& name) const {
    std::lock_guard lock(m_mutex);
    auto it = m_rows.find(name);
    return it == m_rows.end() ? nullptr : &it->second;
}

_observable_property_base* PropertyAccessorTable::PropertyOf(const std::string& name, IAddReleaseRef* object) const {
    std::lock_guard lock(m_mutex);
    auto it = m_everyOwner.find(name);
    if (it == m_everyOwner.end() || !object) return nullptr;
    for (const Accessor& accessor : it->second) {
        if (void* owner = accessor.ownerPart(object)) return accessor(owner);
    }
    return nullptr;
}

std::size_t PropertyAccessorTable::size() const {
    std::lock_guard lock(m_mutex);
    return m_rows.size();
}

void PropertyAccessorTable::Clear() {
    std::lock_guard lock(m_mutex);
    m_rows.clear();
    m_everyOwner.clear();
    m_entered.clear();
}

}  // namespace qv
