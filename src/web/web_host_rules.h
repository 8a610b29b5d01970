// The services whose content is of one kind, known by the host name of a
// page: spoken word, music, films. The first rule that matches decides, so
// Amazon's music subdomain is Music though Amazon is Movie, and the video
// site's music subdomain is settled before the video site is asked.
#pragma once

#include <optional>
#include <string>

#include "classify/classification.h"

namespace qv {

struct WebHostRule {
    const wchar_t* name;  // for the trace: "Voice", "Music", "Movie"
    CClassification classification;
};

// Case sensitive, as the browser gives hosts in lower case. A whole-domain
// service needs a subdomain ("www."): its rule starts with the dot.
std::optional<WebHostRule> FindWebHostRule(const std::string& host);

}  // namespace qv
