// The install offer's settings file as a user or another program may leave
// it: reading always gives an object, every key reads as its type or its
// default, and what is written back reads back as the same object.
#include <cstdlib>
#include <vector>

#include "fuzz_target.h"
#include "prompts/extension_settings.h"
#include "prompts/toast_time.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace qv;
    const std::vector<uint8_t> bytes(data, data + size);
    nlohmann::json settings = ParseExtensionSettings(bytes);
    if (!settings.is_object()) std::abort();
    const std::string key = "InstallChromeExtensionToastLastTime";
    BoolSetting(settings, "ShowInstallChromeExtensionToast", true);
    SecondsSetting(settings, "InstallChromeExtensionToastIntervalSeconds");
    std::tm time{};
    if (ParseToastTime(TextSetting(settings, key), time) && FormatToastTime(time).size() > 40) std::abort();
    // What the offer writes back is read back unchanged (invalid UTF-8 in
    // the file's text aside, which the writer replaces).
    settings[key] = "01-Jan-2026 00:00:00";
    const nlohmann::json again = ParseExtensionSettings(SerializeExtensionSettings(settings));
    if (again.size() != settings.size() || TextSetting(again, key) != "01-Jan-2026 00:00:00") std::abort();
    return 0;
}
