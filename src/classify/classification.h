// The value that every classifier produces and every later stage passes on.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace qv {

enum ContentCategory : int32_t {
    CategoryUndefined = -1,  // nothing known; a property of this value counts as not set
    CategoryNone = 0,        // the fallback when nothing classifiable plays
    CategoryMusic = 1,
    CategoryMovie = 2,
    CategoryVoice = 3,
    CategoryGame = 4,
};

// Who produced a classification; carried along, never tested.
enum ClassificationSource : int32_t {
    SourceNobody = 0,
    SourceLocalAnalysis = 1,  // samples or file extension of a session
    SourceSessionRules = 2,   // process name or microphone of a session
    SourceWebPage = 3,
};

struct CClassification {
    int32_t Category = CategoryUndefined;
    float Confidence = 0.0f;
    int32_t Priority = 0;  // decides between sessions: the larger wins
    int32_t Source = SourceNobody;
    bool VoiceRejected = false;  // the sample analysis ran and found no speech

    // Narrow on purpose: Category, Priority and Confidence only (a float
    // compare, so NaN is unequal to everything). A value that differs only in
    // Source or VoiceRejected is not a change, and a property keeps the old one.
    friend bool operator==(const CClassification& a, const CClassification& b) {
        return a.Category == b.Category && a.Priority == b.Priority && a.Confidence == b.Confidence;
    }
};

// The word of a category towards the outside: "" for -1, "Movie", "Voice",
// "Game" for 2 to 4, and "AnyContent" for everything else, 0 and 1 included.
const wchar_t* ClassificationName(int32_t category);

// Text to category, exact and case sensitive, with six entries; a text not in
// the map counts as -1. "AnyContent" reads as Music (1), never as None.
const std::map<std::wstring, int32_t>& ClassificationByName();
int32_t CategoryFromName(const std::wstring& name);

}  // namespace qv
