// The install offer's memory between runs: one small JSON object per browser
// add-on in the user's local application data. The file is the user's and may
// be anything: a missing, empty, truncated or foreign file, or a key of the
// wrong type, counts as the defaults (the offer shows), never as a crash.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "core/ref.h"
#include "platform/files.h"

namespace qv {

// The folder Quorvane\ContentClassifier\Settings below the local application
// data, and the file of an add-on in it. The separator is the one of the
// platform's own folder: "/" when that folder starts with "/".
std::wstring ExtensionSettingsFolder(const std::wstring& localAppData);
std::wstring ExtensionSettingsPath(const std::wstring& localAppData, const std::wstring& extensionId);

// The object held in a file's bytes; an empty object for anything else.
nlohmann::json ParseExtensionSettings(const std::vector<uint8_t>& bytes);
// Indented by 4, with a line end, as users may read and edit it.
std::vector<uint8_t> SerializeExtensionSettings(const nlohmann::json& settings);

// A key's value with its default when absent or of another type. A number is
// taken as seconds only when it is a whole number from 0 to 4294967295.
bool BoolSetting(const nlohmann::json& settings, const std::string& key, bool fallback);
std::string TextSetting(const nlohmann::json& settings, const std::string& key);
uint32_t SecondsSetting(const nlohmann::json& settings, const std::string& key);

// Makes every folder of path that is missing; errors are left to the write.
void CreateFolders(IFiles& files, const std::wstring& path);
// Writes beside the file and moves the copy into place, so that a reader (or
// a crash in the middle) never sees half a file.
Win32Error WriteFileAtomically(IFiles& files, const std::wstring& path, const std::vector<uint8_t>& content);

}  // namespace qv
