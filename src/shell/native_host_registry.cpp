#include "shell/native_host_registry.h"

#include <algorithm>
#include <vector>

#include "core/text.h"
#include "platform/codes.h"
#include "shell/manifest_template.h"

namespace qv {

namespace {

// The default value of the key as a path: REG_SZ of at most
// kMaxManifestPathValueBytes, up to its terminator.
bool ReadDefaultValue(IRegistryKey& key, std::wstring& path) {
    uint32_t type = 0;
    std::vector<uint8_t> data;
    if (key.RegQueryValueEx(L"", type, data) != ERROR_SUCCESS) return false;
    if (type != kRegSz || data.size() > kMaxManifestPathValueBytes) return false;
    path = Utf16LeToWide(data.data(), data.size());
    path.resize(std::min(path.size(), path.find(L'\0')));
    return true;
}

// Whether the key already names the manifest file and the file already
// holds the manifest, byte for byte.
bool AlreadyRegistered(IRegistryKey& key, IFiles& files, const std::wstring& manifestPath,
                       const std::string& manifest) {
    std::wstring named;
    if (!ReadDefaultValue(key, named) || named != manifestPath) return false;
    std::vector<uint8_t> content;
    if (files.ReadWholeFile(named, content) != ERROR_SUCCESS) return false;
    return TextUpToFirstZero(content) == manifest;
}

}  // namespace

void RegisterNativeHostInRegistry(IRegistry& registry, IFiles* files, const std::wstring& registryRoot,
                                  const std::wstring& hostName, const std::string& manifest) {
    // Opened as itself if it is a link: a link planted in the user's hive
    // must not lead the write into a key of someone else's choice.
    CRefPtr<IRegistryKey> key;
    if (registry.RegCreateKeyEx(RegistryRoot::CurrentUser, registryRoot + L"\\" + hostName, kRegOptionOpenLink,
                                kKeyAllAccessNoSync, key) != ERROR_SUCCESS)
        return;
    uint32_t type = 0;
    std::vector<uint8_t> link;
    if (key->RegQueryValueEx(L"SymbolicLinkValue", type, link) == ERROR_SUCCESS) return;

    std::wstring folder;
    if (!files || files->GetLocalAppDataFolder(folder) < 0) return;
    // Either may exist already; a folder that cannot be made fails the write.
    folder += L"\\Quorvane\\";
    files->CreateDirectory(folder);
    folder += L"NativeMessaging\\";
    files->CreateDirectory(folder);
    const std::wstring manifestPath = folder + hostName + L".json";

    if (AlreadyRegistered(*key, *files, manifestPath, manifest)) return;
    if (files->WriteWholeFile(manifestPath, std::vector<uint8_t>(manifest.begin(), manifest.end())) != ERROR_SUCCESS)
        return;
    std::vector<uint8_t> value = WideToUtf16Le(manifestPath);
    value.insert(value.end(), {0, 0});
    key->RegSetValueEx(L"", kRegSz, value);
}

}  // namespace qv
