// The program's resources where the executable has no resource section
// (Linux, the simulation): the bytes that the Windows build compiles in with
// its resource script, compiled into the program as arrays instead. The
// table is generated at configure time (cmake/NativeHostManifest.cmake).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/resources.h"

namespace qv {

inline constexpr uint32_t kEmbeddedLanguage = 1033;  // English (United States)

struct EmbeddedResource {
    uint32_t id;
    uint32_t type;
    uint32_t language;
    const uint8_t* bytes;
    std::size_t size;
};

// Every resource of the program; generated.
std::span<const EmbeddedResource> EmbeddedResourceTable();

// Finds a resource of the table as FindResourceW would:
// ERROR_RESOURCE_TYPE_NOT_FOUND when no resource has the type,
// ERROR_RESOURCE_NAME_NOT_FOUND when the type has no such id.
Win32Error FindEmbeddedResource(uint32_t id, uint32_t type, std::vector<uint8_t>& bytes);

// The resources port over the table.
class CEmbeddedResources : public CAddReleaseRef, public IResources {
public:
    Win32Error LoadResource(uint32_t id, uint32_t type, std::vector<uint8_t>& bytes) override {
        return FindEmbeddedResource(id, type, bytes);
    }
};

}  // namespace qv
