// The endpoint properties that the model reads, and where they come from on
// Linux.
//
// PKEY_Device_FriendlyName is the sink's or source's device.description.
// The four values of the automatic preset come from the device's proplist:
//
//   proplist key                         property key                 type
//   quorvane.auto-preset.feature-mode    PKEY_AutoPresetFeatureMode   VT_UI4
//   quorvane.auto-preset.content-type    PKEY_AudioContentType_EFX    VT_LPWSTR
//   quorvane.auto-preset.has             PKEY_HasAutoPreset           VT_UI4
//   quorvane.auto-preset.enable          PKEY_EnableAutoPreset        VT_UI4
//
// A proplist holds text. The numbers are read strictly: decimal digits only,
// no sign, no blanks, at most 4294967295; any other text gives a VT_LPWSTR
// with that text, a value of the wrong type, which the model reports as
// such. A missing key reads VT_EMPTY.
//
// A device that cannot carry these keys (module-null-source takes no
// properties, a hardware sink has fixed ones) gets them from a configuration
// file: $QUORVANE_ENDPOINT_PROPERTIES, else
// ${XDG_CONFIG_HOME:-$HOME/.config}/quorvane/endpoint-properties.json:
//
//   { "mic": { "quorvane.auto-preset.has": 1, "quorvane.auto-preset.content-type": "Movie" } }
//
// an object from device name to an object of the same four keys, whose
// values may be JSON numbers or strings, both taken as the text they write
// and read by the rule above. The proplist wins over the file. The file is
// read when a value is read (and parsed again only when it has changed), so
// an edit counts from the next read; it raises no property event. A file
// that is not valid JSON, too large, or of another shape is ignored as a
// whole; an entry of another shape is ignored alone.
#pragma once

#include <array>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "platform/audio.h"

namespace qv {

struct EndpointPresetKey {
    const char* proplistKey;
    PROPERTYKEY key;
    bool numeric;
};

inline constexpr std::array<EndpointPresetKey, 4> kEndpointPresetKeys{{
    {"quorvane.auto-preset.feature-mode", PKEY_AutoPresetFeatureMode, true},
    {"quorvane.auto-preset.content-type", PKEY_AudioContentType_EFX, false},
    {"quorvane.auto-preset.has", PKEY_HasAutoPreset, true},
    {"quorvane.auto-preset.enable", PKEY_EnableAutoPreset, true},
}};

// The preset key of a property key, or null.
const EndpointPresetKey* FindPresetKey(const PROPERTYKEY& key);

// Decimal digits only, within 32 bits.
bool ParseStrictUint32(std::string_view text, uint32_t& value);
// The variant that a text of the given key reads as.
PROPVARIANT PresetValueFromText(const std::string& text, bool numeric);

// Device name -> proplist key -> text.
using EndpointPropertyTable = std::map<std::string, std::map<std::string, std::string>>;
// False, and an empty table, for anything but a JSON object of objects.
bool ParseEndpointPropertyFile(std::string_view json, EndpointPropertyTable& table);

// The configuration file, cached by its identity and change time.
class CEndpointPropertyFile {
public:
    // The path from the environment, as above; empty without a home.
    static std::string DefaultPath();
    explicit CEndpointPropertyFile(std::string path) : m_path(std::move(path)) {}

    std::optional<std::string> Lookup(const std::string& device, const std::string& proplistKey);

    static constexpr std::size_t kMaxFileBytes = 1 << 20;

private:
    void Refresh();  // m_mutex held

    const std::string m_path;
    std::mutex m_mutex;
    EndpointPropertyTable m_table;
    bool m_read = false;
    unsigned long long m_device = 0, m_inode = 0;
    long long m_size = -1, m_modifiedNs = -1;
};

}  // namespace qv
