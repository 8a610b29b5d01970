// One process-wide table from property name to an accessor that finds the
// property in its owner object. The native-host protocol uses it to set a
// web object's property by the name of a JSON key.
#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <typeindex>
#include <utility>

namespace qv {

class _observable_property_base;

class PropertyAccessorTable {
public:
    // Finds a property inside its owner object by the offset recorded when
    // the first object of that class was built.
    struct Accessor {
        std::ptrdiff_t offset = 0;
        _observable_property_base* operator()(void* owner) const {
            return reinterpret_cast<_observable_property_base*>(static_cast<char*>(owner) + offset);
        }
    };

    static PropertyAccessorTable& Instance();

    // Enters the row once per class and property. Two classes with a
    // property of one name share the row; the class first built later wins.
    template <class Owner>
    void RegisterOnce(const char* name, std::ptrdiff_t offset) {
        Register(std::type_index(typeid(Owner)), name, offset);
    }

    // Null when no class has a property of that name.
    const Accessor* Find(const std::string& name) const;
    std::size_t size() const;
    void Clear();

private:
    void Register(std::type_index owner, const char* name, std::ptrdiff_t offset);

    mutable std::mutex m_mutex;  // rows are entered on the main thread; tests build objects elsewhere too
    std::map<std::string, Accessor> m_rows;
    std::set<std::pair<std::type_index, std::string>> m_entered;
};

}  // namespace qv
