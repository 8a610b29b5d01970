// The native-messaging manifest template that the program carries as
// resource 300 (RT_RCDATA): the JSON that tells the browsers where the
// native host is and which add-ons may talk to it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qv {

inline constexpr uint32_t kManifestTemplateResourceId = 300;

// The template's text up to its first zero byte, through the resources port;
// nothing when the platform has no resources or the load fails.
std::optional<std::string> LoadManifestTemplate();

// Bytes read as a C string would read them: up to the first zero byte.
std::string TextUpToFirstZero(const std::vector<uint8_t>& bytes);

}  // namespace qv
