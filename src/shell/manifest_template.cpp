#include "shell/manifest_template.h"

#include <algorithm>
#include <vector>

#include "platform/codes.h"
#include "platform/platform.h"

namespace qv {

std::optional<std::string> LoadManifestTemplate() {
    CRefPtr<IPlatform> platform = GetPlatform();
    CRefPtr<IResources> resources = platform ? platform->Resources() : nullptr;
    if (!resources) return std::nullopt;
    std::vector<uint8_t> bytes;
    if (resources->LoadResource(kManifestTemplateResourceId, kRtRcData, bytes) != ERROR_SUCCESS) return std::nullopt;
    // The text ends at its first zero byte, as a C string would.
    const auto end = std::find(bytes.begin(), bytes.end(), uint8_t{0});
    return std::string(bytes.begin(), end);
}

}  // namespace qv
