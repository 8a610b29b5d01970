#include "host_transcript.h"

#include <cstdlib>

namespace qv::test {

namespace {

std::vector<std::string_view> Lines(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        std::size_t newline = text.find('\n');
        // A last line without its line feed may still be being written.
        if (newline == std::string_view::npos) break;
        lines.push_back(text.substr(0, newline));
        text.remove_prefix(newline + 1);
    }
    return lines;
}

}  // namespace

std::optional<HeardWord> ParseHostLine(std::string_view line) {
    if (line.empty() || line.front() != '[') return std::nullopt;
    const std::size_t close = line.find("] ");
    const std::size_t plus = line.find(" +");
    if (close == std::string_view::npos || plus == std::string_view::npos || plus > close) return std::nullopt;
    std::string stamp(line.substr(plus + 2, close - plus - 2));
    if (stamp.empty() || stamp.back() != 's') return std::nullopt;
    stamp.pop_back();
    char* end = nullptr;
    const double seconds = std::strtod(stamp.c_str(), &end);
    if (!end || *end) return std::nullopt;
    std::string_view rest = line.substr(close + 2);
    const std::size_t colon = rest.rfind(": ");
    if (colon == std::string_view::npos || colon == 0) return std::nullopt;
    HeardWord heard{seconds, std::string(rest.substr(0, colon)), std::string(rest.substr(colon + 2))};
    if (heard.word.empty()) return std::nullopt;
    return heard;
}

std::vector<HeardWord> ParseHostOutput(std::string_view text) {
    std::vector<HeardWord> heard;
    for (std::string_view line : Lines(text))
        if (std::optional<HeardWord> entry = ParseHostLine(line)) heard.push_back(*entry);
    return heard;
}

std::vector<std::string> WordsFor(const std::vector<HeardWord>& heard, const std::string& output) {
    std::vector<std::string> words;
    for (const HeardWord& entry : heard)
        if (entry.output == output) words.push_back(entry.word);
    return words;
}

std::vector<std::string> ClassifierPrintedWords(std::string_view text, const std::string& endpointId) {
    const std::string prefix = endpointId + " >>> Classified as '";
    std::vector<std::string> words;
    for (std::string_view line : Lines(text)) {
        if (line.size() <= prefix.size() + 1 || line.substr(0, prefix.size()) != prefix || line.back() != '\'')
            continue;
        words.emplace_back(line.substr(prefix.size(), line.size() - prefix.size() - 1));
    }
    return words;
}

}  // namespace qv::test
