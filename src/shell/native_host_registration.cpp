#include "shell/native_host_registration.h"

#include <optional>

#include "core/text.h"
#include "platform/codes.h"
#include "platform/platform.h"
#include "shell/manifest_template.h"
#include "shell/native_host_folders.h"
#include "shell/native_host_path.h"
#include "shell/native_host_registry.h"

namespace qv {

void RegisterNativeHost(std::wstring registryRoot, std::wstring hostName) {
    CRefPtr<IPlatform> platform = GetPlatform();
    if (!platform) return;
    const std::optional<std::string> manifestTemplate = LoadManifestTemplate();
    if (!manifestTemplate) return;

    // Where there is a user configuration folder (Linux) the browsers read
    // their manifests from folders, and the host is a Linux program;
    // elsewhere the registry points them at the manifest.
    CRefPtr<IFiles> files = platform->Files();
    std::wstring userConfigFolder;
    const bool browsersReadFolders = files && files->GetUserConfigFolder(userConfigFolder) == ERROR_SUCCESS;

    const std::string hostPath =
        NativeHostPath(ProgramPath(*platform), browsersReadFolders ? kLinuxNativeHost : kWindowsNativeHost);
    // The path goes into a JSON string; the rest of the template is left
    // exactly as built.
    const std::string manifest = FillManifestTemplate(*manifestTemplate, DoubleBackslashes(hostPath));

    if (browsersReadFolders) {
        RegisterNativeHostInBrowserFolders(*files, userConfigFolder, registryRoot, hostName, manifest);
        return;
    }
    CRefPtr<IRegistry> registry = platform->Registry();
    if (registry) RegisterNativeHostInRegistry(*registry, files.get(), registryRoot, hostName, manifest);
}

}  // namespace qv
