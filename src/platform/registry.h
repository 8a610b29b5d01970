// The registry: keys under two roots, values of a type and some bytes. On
// Windows the real one; on Linux a file of the user's and one of the machine's
// (see the Linux implementation); in the simulation, memory.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/ref.h"
#include "platform/types.h"

namespace qv {

enum class RegistryRoot : uint32_t { LocalMachine, CurrentUser };

// An open key; releasing the last reference closes it (RegCloseKey).
struct IRegistryKey : virtual IAddReleaseRef {
    // RegQueryValueExW; an empty name is the default value. 0 or an error
    // number (ERROR_FILE_NOT_FOUND when there is no such value).
    virtual Win32Error RegQueryValueEx(const std::wstring& name, uint32_t& type, std::vector<uint8_t>& data) = 0;
    // RegSetValueExW.
    virtual Win32Error RegSetValueEx(const std::wstring& name, uint32_t type, const std::vector<uint8_t>& data) = 0;
};

struct IRegistry : virtual IAddReleaseRef {
    // RegOpenKeyExW. With REG_OPTION_OPEN_LINK a link key is opened as
    // itself, so its "SymbolicLinkValue" shows.
    virtual Win32Error RegOpenKeyEx(RegistryRoot root, const std::wstring& subKey, uint32_t options, uint32_t access,
                                    CRefPtr<IRegistryKey>& key) = 0;
    // RegCreateKeyExW: opens the key, creating it and its parents as needed.
    virtual Win32Error RegCreateKeyEx(RegistryRoot root, const std::wstring& subKey, uint32_t options,
                                      uint32_t access, CRefPtr<IRegistryKey>& key) = 0;
};

// Registry flags and value types, with the platform's values.
inline constexpr uint32_t kRegOptionOpenLink = 0x8;       // REG_OPTION_OPEN_LINK
inline constexpr uint32_t kKeyRead = 0x20019;             // KEY_READ
inline constexpr uint32_t kKeyWow6464Key = 0x100;         // KEY_WOW64_64KEY
inline constexpr uint32_t kKeyAllAccessNoSync = 0xF013F;  // the access that the host registration asks for
inline constexpr uint32_t kRegSz = 1;                     // REG_SZ
inline constexpr uint32_t kRegDword = 4;                  // REG_DWORD
inline constexpr uint32_t kRegLink = 6;                   // REG_LINK

}  // namespace qv
