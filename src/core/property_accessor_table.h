// One process-wide table from property name to an accessor that finds the
// property in its owner object. The native-host protocol uses it to set a
// web object's property by the name of a JSON key.
#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <type_traits>
#include <typeindex>
#include <utility>
#include <vector>

#include "core/ref.h"

namespace qv {

class _observable_property_base;

class PropertyAccessorTable {
public:
    // Finds a property inside its owner object by the offset recorded when
    // the first object of that class was built.
    struct Accessor {
        std::ptrdiff_t offset = 0;
        // The part of an object that is the declaring class, or null when the
        // object is no such class. An offset applied to any other object
        // would point into foreign memory.
        void* (*ownerPart)(IAddReleaseRef* object) = nullptr;
        _observable_property_base* operator()(void* owner) const {
            return reinterpret_cast<_observable_property_base*>(static_cast<char*>(owner) + offset);
        }
    };

    static PropertyAccessorTable& Instance();

    // Enters the row once per class and property. Two classes with a
    // property of one name share the row; the class first built later wins.
    template <class Owner>
    void RegisterOnce(const char* name, std::ptrdiff_t offset) {
        Register(std::type_index(typeid(Owner)), name, Accessor{offset, &OwnerPart<Owner>});
    }

    // Null when no class has a property of that name.
    const Accessor* Find(const std::string& name) const;
    // The property of that name of this very object, whichever of the
    // classes with a property of that name it is; null when its class has
    // none. This is how text from outside reaches a property safely.
    _observable_property_base* PropertyOf(const std::string& name, IAddReleaseRef* object) const;
    std::size_t size() const;
    void Clear();

private:
    template <class Owner>
    static void* OwnerPart(IAddReleaseRef* object) {
        if constexpr (std::is_polymorphic_v<Owner> && std::is_base_of_v<IAddReleaseRef, Owner>)
            return dynamic_cast<Owner*>(object);
        else
            return nullptr;
    }
    void Register(std::type_index owner, const char* name, const Accessor& accessor);

    mutable std::mutex m_mutex;  // rows are entered on the main thread; tests build objects elsewhere too
    std::map<std::string, Accessor> m_rows;
    std::map<std::string, std::vector<Accessor>> m_everyOwner;  // every class's accessor of each name
    std::set<std::pair<std::type_index, std::string>> m_entered;
};

}  // namespace qv
