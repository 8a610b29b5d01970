#include "platform/linux/linux_endpoint_properties.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include <nlohmann/json.hpp>

#include "core/text.h"
#include "platform/linux/linux_unique_fd.h"

namespace qv {

const EndpointPresetKey* FindPresetKey(const PROPERTYKEY& key) {
    for (const EndpointPresetKey& preset : kEndpointPresetKeys)
        if (preset.key == key) return &preset;
    return nullptr;
}

bool ParseStrictUint32(std::string_view text, uint32_t& value) {
    if (text.empty() || text.size() > 10) return false;
    uint64_t n = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return false;
        n = n * 10 + static_cast<uint64_t>(c - '0');
    }
    if (n > 0xFFFFFFFFull) return false;
    value = static_cast<uint32_t>(n);
    return true;
}

PROPVARIANT PresetValueFromText(const std::string& text, bool numeric) {
    PROPVARIANT value;
    uint32_t number = 0;
    if (numeric && ParseStrictUint32(text, number)) {
        value.vt = VT_UI4;
        value.ulVal = number;
    } else {
        value.vt = VT_LPWSTR;
        value.pwszVal = Utf8ToWide(text);
    }
    return value;
}

bool ParseEndpointPropertyFile(std::string_view json, EndpointPropertyTable& table) {
    table.clear();
    nlohmann::json document = nlohmann::json::parse(json.begin(), json.end(), nullptr, false);
    if (document.is_discarded() || !document.is_object()) return false;
    for (const auto& [device, values] : document.items()) {
        if (!values.is_object()) continue;
        auto& entry = table[device];
        for (const EndpointPresetKey& preset : kEndpointPresetKeys) {
            auto value = values.find(preset.proplistKey);
            if (value == values.end()) continue;
            if (value->is_string())
                entry[preset.proplistKey] = value->get<std::string>();
            else if (value->is_number())
                entry[preset.proplistKey] = value->dump();
        }
    }
    return true;
}

std::string CEndpointPropertyFile::DefaultPath() {
    if (const char* path = std::getenv("QUORVANE_ENDPOINT_PROPERTIES"); path && *path) return path;
    std::string config;
    if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg && xdg[0] == '/') {
        config = xdg;
    } else if (const char* home = std::getenv("HOME"); home && *home) {
        config = std::string(home) + "/.config";
    } else {
        return {};
    }
    return config + "/quorvane/endpoint-properties.json";
}

void CEndpointPropertyFile::Refresh() {
    struct stat info {};
    if (m_path.empty() || ::stat(m_path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
        m_table.clear();
        m_read = false;
        return;
    }
    const long long modified = static_cast<long long>(info.st_mtim.tv_sec) * 1000000000LL + info.st_mtim.tv_nsec;
    if (m_read && m_device == info.st_dev && m_inode == info.st_ino && m_size == info.st_size &&
        m_modifiedNs == modified)
        return;
    m_read = true;
    m_device = info.st_dev;
    m_inode = info.st_ino;
    m_size = info.st_size;
    m_modifiedNs = modified;
    m_table.clear();
    if (info.st_size < 0 || static_cast<unsigned long long>(info.st_size) > kMaxFileBytes) return;
    CUniqueFd fd(::open(m_path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd) return;
    std::string text;
    char buffer[8192];
    for (;;) {
        ssize_t n = ::read(fd.get(), buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        text.append(buffer, static_cast<std::size_t>(n));
        if (text.size() > kMaxFileBytes) return;
    }
    ParseEndpointPropertyFile(text, m_table);
}

std::optional<std::string> CEndpointPropertyFile::Lookup(const std::string& device, const std::string& proplistKey) {
    std::lock_guard lock(m_mutex);
    Refresh();
    auto entry = m_table.find(device);
    if (entry == m_table.end()) return std::nullopt;
    auto value = entry->second.find(proplistKey);
    if (value == entry->second.end()) return std::nullopt;
    return value->second;
}

}  // namespace qv
