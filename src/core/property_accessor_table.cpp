#include "core/property_accessor_table.h"

namespace qv {

PropertyAccessorTable& PropertyAccessorTable::Instance() {
    static PropertyAccessorTable table;
    return table;
}

void PropertyAccessorTable::Register(std::type_index owner, const char* name, std::ptrdiff_t offset) {
    std::lock_guard lock(m_mutex);
    if (!m_entered.emplace(owner, name).second) return;
    m_rows[name] = Accessor{offset};
}

const PropertyAccessorTable::Accessor* PropertyAccessorTable::Find(const std::string& name) const {
    std::lock_guard lock(m_mutex);
    auto it = m_rows.find(name);
    return it == m_rows.end() ? nullptr : &it->second;
}

std::size_t PropertyAccessorTable::size() const {
    std::lock_guard lock(m_mutex);
    return m_rows.size();
}

void PropertyAccessorTable::Clear() {
    std::lock_guard lock(m_mutex);
    m_rows.clear();
    m_entered.clear();
}

}  // namespace qv
