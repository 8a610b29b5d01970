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
    return TextUpToFirstZero(bytes);
}

std::string TextUpToFirstZero(const std::vector<uint8_t>& bytes) {
    return std::string(bytes.begin(), std::find(bytes.begin(), bytes.end(), uint8_t{0}));
}

}  // namespace qv
