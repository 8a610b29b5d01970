// The video site's public category numbers and names, and what each
// category counts as here: the spoken-word ones as Voice, "Music" as Music,
// the rest as Movie.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "classify/classification.h"
#include "core/ref.h"

namespace qv {

// Number to name.
const std::map<int32_t, std::wstring>& YoutubeCategoryNames();
// Name to number. Two numbers share the name "Comedy"; the higher stands.
const std::map<std::wstring, int32_t>& YoutubeCategoryIds();

struct YoutubeCategoryClassification {
    int32_t Category = 0;
    float Confidence = 0.0f;
};

// A table from category name to what it counts as. Empty as made here; the
// derived class below is the one that fills it and the one that is used.
class CYoutubeCategoryClassifications : public CAddReleaseRef {
public:
    std::map<std::wstring, YoutubeCategoryClassification> Table;
};

class CYoutubeCategoryClassifications_ZK : public CYoutubeCategoryClassifications {
public:
    CYoutubeCategoryClassifications_ZK();
};

}  // namespace qv
