#include "platform/linux/linux_bus_values.h"

#include "core/text.h"

namespace qv {

int AppendValueSet(sd_bus_message* message, const ValueSet& values) {
    int r = sd_bus_message_open_container(message, 'a', "{ss}");
    for (auto entry = values.begin(); r >= 0 && entry != values.end(); ++entry) {
        r = sd_bus_message_append(message, "{ss}", WideToUtf8(entry->first).c_str(), WideToUtf8(entry->second).c_str());
    }
    if (r >= 0) r = sd_bus_message_close_container(message);
    return r;
}

int ReadValueSet(sd_bus_message* message, ValueSet& values) {
    values.clear();
    int r = sd_bus_message_enter_container(message, 'a', "{ss}");
    if (r < 0) return r;
    const char* key = nullptr;
    const char* value = nullptr;
    while ((r = sd_bus_message_read(message, "{ss}", &key, &value)) > 0) values[Utf8ToWide(key)] = Utf8ToWide(value);
    if (r < 0) return r;
    return sd_bus_message_exit_container(message);
}

}  // namespace qv
