#include "shell/native_host_folders.h"

#include <vector>

#include "core/text.h"
#include "platform/codes.h"

namespace qv {

namespace {

bool HasAttribute(uint32_t attributes, uint32_t attribute) {
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & attribute) != 0;
}

// The browser's NativeMessagingHosts folder, made if missing. False when it
// cannot be used: it is a link (the write would land wherever the link
// points, as a registry link would lead it), or not a folder.
bool PrepareHostsFolder(IFiles& files, const std::wstring& hostsFolder) {
    uint32_t attributes = INVALID_FILE_ATTRIBUTES;
    if (files.GetFileAttributes(hostsFolder, attributes) != ERROR_SUCCESS)
        return files.CreateDirectory(hostsFolder) == ERROR_SUCCESS;
    return HasAttribute(attributes, FILE_ATTRIBUTE_DIRECTORY) &&
           !HasAttribute(attributes, FILE_ATTRIBUTE_REPARSE_POINT);
}

void WriteManifestIfChanged(IFiles& files, const std::wstring& manifestPath, const std::vector<uint8_t>& manifest) {
    uint32_t attributes = INVALID_FILE_ATTRIBUTES;
    if (files.GetFileAttributes(manifestPath, attributes) == ERROR_SUCCESS) {
        // A link is not written through, and a folder of that name is not ours.
        if (HasAttribute(attributes, FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY)) return;
        std::vector<uint8_t> content;
        if (files.ReadWholeFile(manifestPath, content) == ERROR_SUCCESS && content == manifest) return;
    }
    files.WriteWholeFile(manifestPath, manifest);
}

}  // namespace

std::vector<std::wstring> BrowserConfigFolderNames(const std::wstring& registryRoot) {
    const std::wstring root = ToLowerWide(registryRoot);
    // Chromium reads its own folder, not Chrome's; it is of Chrome's family
    // and takes Chrome's hosts, as the add-on runs in both.
    if (root == L"software\\google\\chrome\\nativemessaginghosts") return {L"google-chrome", L"chromium"};
    if (root == L"software\\microsoft\\edge\\nativemessaginghosts") return {L"microsoft-edge"};
    return {};
}

void RegisterNativeHostInBrowserFolders(IFiles& files, const std::wstring& userConfigFolder,
                                        const std::wstring& registryRoot, const std::wstring& hostName,
                                        const std::string& manifest) {
    const std::vector<uint8_t> bytes(manifest.begin(), manifest.end());
    for (const std::wstring& name : BrowserConfigFolderNames(registryRoot)) {
        // A browser the user never ran has no folder, and gets none from us.
        const std::wstring browserFolder = userConfigFolder + L"/" + name;
        uint32_t attributes = INVALID_FILE_ATTRIBUTES;
        if (files.GetFileAttributes(browserFolder, attributes) != ERROR_SUCCESS ||
            !HasAttribute(attributes, FILE_ATTRIBUTE_DIRECTORY))
            continue;
        const std::wstring hostsFolder = browserFolder + L"/NativeMessagingHosts";
        if (!PrepareHostsFolder(files, hostsFolder)) continue;
        WriteManifestIfChanged(files, hostsFolder + L"/" + hostName + L".json", bytes);
    }
}

}  // namespace qv
