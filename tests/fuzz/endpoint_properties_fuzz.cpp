// The endpoint properties file and the proplist texts that become preset
// values: a table is either read whole or refused whole.
#include <cstdlib>
#include <string>
#include <string_view>

#include "fuzz_target.h"
#include "platform/linux/linux_endpoint_properties.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace qv;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    EndpointPropertyTable table;
    if (!ParseEndpointPropertyFile(text, table) && !table.empty()) std::abort();
    for (const auto& [device, values] : table)
        for (const auto& [key, value] : values)
            for (const EndpointPresetKey& preset : kEndpointPresetKeys)
                if (key == preset.proplistKey) PresetValueFromText(value, preset.numeric);
    uint32_t number = 0;
    PresetValueFromText(std::string(text), true);
    if (ParseStrictUint32(text, number) && (text.empty() || text.size() > 10)) std::abort();
    return 0;
}
