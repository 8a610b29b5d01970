// The Windows way of registering the native host: a manifest file in the
// user's local application data, named by the default value of the host's
// key under the browser's registry root.
#pragma once

#include <string>

#include "platform/files.h"
#include "platform/registry.h"

namespace qv {

// The longest default value that is read back as the manifest's path.
inline constexpr std::size_t kMaxManifestPathValueBytes = 2048;

void RegisterNativeHostInRegistry(IRegistry& registry, IFiles* files, const std::wstring& registryRoot,
                                  const std::wstring& hostName, const std::string& manifest);

}  // namespace qv
