// What quorvane-host printed, read back: one entry per classification it
// heard, from lines such as
//   [08:10:19.202 +0.238s] Quorvane demo speakers: Movie
//   [08:10:33.063 +14.100s] Quorvane demo speakers: (withdrawn)
// Its other lines ("started ...", "the classifier stopped with exit code
// 0") and the classifier's own output, which shares the stream, are not
// entries.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qv::test {

struct HeardWord {
    double secondsSinceStart = 0;
    std::string output;  // the endpoint's name as the host shows it
    std::string word;    // "(withdrawn)" for the empty classification
};

inline constexpr const char* kWithdrawn = "(withdrawn)";

std::optional<HeardWord> ParseHostLine(std::string_view line);
std::vector<HeardWord> ParseHostOutput(std::string_view text);
// The words heard on one output, in order.
std::vector<std::string> WordsFor(const std::vector<HeardWord>& heard, const std::string& output);
// The words of the classifier's own "<endpoint> >>> Classified as '<word>'"
// lines for one endpoint id, in order.
std::vector<std::string> ClassifierPrintedWords(std::string_view text, const std::string& endpointId);

}  // namespace qv::test
