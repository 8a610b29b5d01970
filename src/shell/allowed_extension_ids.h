// The ids of the browser add-ons that may talk to the native host: the
// origins of the manifest template's "allowed_origins", read once at the
// start of the program.
#pragma once

#include <regex>
#include <set>
#include <string>

namespace qv {

// "^chrome-extension://([^/]+)": the add-on's id is the first group.
const std::regex& ExtensionOriginPattern();

// The ids of the template's allowed origins; empty when the template cannot
// be loaded or has no "allowed_origins". Origins of another shape are
// skipped. The template is the program's own resource, so text that is not
// JSON is a broken build: the parse error propagates and ends the process.
std::set<std::string> ReadAllowedExtensionIds();

}  // namespace qv
