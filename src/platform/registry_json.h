// One registry root as a JSON file, the form in which the Linux registry
// keeps it. The file is an object from key path (backslash separated, no
// root) to an object of values, in which a number is a REG_DWORD, a string a
// REG_SZ, and {"type": N, "hex": "..."} a value of any other type or of bytes
// that the two short forms cannot hold exactly. The empty name is the
// default value. Outside data: anything else makes the whole file malformed.
#pragma once

#include <string>
#include <string_view>

#include "platform/registry_store.h"

namespace qv {

// Replaces the root's keys with those of the text. On malformed text the
// root is left empty and problem says why.
bool ReadRegistryRootJson(std::string_view text, CRegistryStore& store, RegistryRoot root, std::string& problem);

// The root's keys as text, indented, with a line end.
std::string WriteRegistryRootJson(const CRegistryStore& store, RegistryRoot root);

}  // namespace qv
