#include "classify/classification.h"

namespace qv {

const wchar_t* ClassificationName(int32_t category) {
    switch (category) {
        case CategoryUndefined: return L"";
        case CategoryMovie: return L"Movie";
        case CategoryVoice: return L"Voice";
        case CategoryGame: return L"Game";
        default: return L"AnyContent";
    }
}

const std::map<std::wstring, int32_t>& ClassificationByName() {
    static const std::map<std::wstring, int32_t> map{
        {L"", CategoryUndefined}, {L"Movie", CategoryMovie}, {L"Voice", CategoryVoice},
        {L"Game", CategoryGame},  {L"AnyContent", CategoryMusic}, {L"Music", CategoryMusic},
    };
    return map;
}

int32_t CategoryFromName(const std::wstring& name) {
    const auto& map = ClassificationByName();
    auto it = map.find(name);
    return it == map.end() ? CategoryUndefined : it->second;
}

}  // namespace qv
