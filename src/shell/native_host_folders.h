// The Linux way of registering the native host: the browsers of a Linux
// desktop read manifests from a NativeMessagingHosts folder in their own
// configuration folder, so the manifest file there is the pointer itself.
#pragma once

#include <string>
#include <vector>

#include "platform/files.h"

namespace qv {

// The configuration folders (under the user's configuration folder) of the
// browsers that read the native hosts of the registry root; none for a root
// of another browser.
std::vector<std::wstring> BrowserConfigFolderNames(const std::wstring& registryRoot);

// Writes the manifest as <host>.json into the NativeMessagingHosts folder of
// each of those browsers that the user has, unless it says the same already.
void RegisterNativeHostInBrowserFolders(IFiles& files, const std::wstring& userConfigFolder,
                                        const std::wstring& registryRoot, const std::wstring& hostName,
                                        const std::string& manifest);

}  // namespace qv
