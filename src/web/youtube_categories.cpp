#include "web/youtube_categories.h"

namespace qv {

const std::map<int32_t, std::wstring>& YoutubeCategoryNames() {
    static const std::map<int32_t, std::wstring> names = {
        {1, L"Film & Animation"},
        {2, L"Autos & Vehicles"},
        {10, L"Music"},
        {15, L"Pets & Animals"},
        {17, L"Sports"},
        {18, L"Short Movies"},
        {19, L"Travel & Events"},
        {20, L"Gaming"},
        {21, L"Videoblogging"},
        {22, L"People & Blogs"},
        {23, L"Comedy"},
        {24, L"Entertainment"},
        {25, L"News & Politics"},
        {26, L"Howto & Style"},
        {27, L"Education"},
        {28, L"Science & Technology"},
        {29, L"Nonprofits & Activism"},
        {30, L"Movies"},
        {31, L"Anime/Animation"},
        {32, L"Action/Adventure"},
        {33, L"Classics"},
        {34, L"Comedy"},
        {35, L"Documentary"},
        {36, L"Drama"},
        {37, L"Family"},
        {38, L"Foreign"},
        {39, L"Horror"},
        {40, L"Sci-Fi/Fantasy"},
        {41, L"Thriller"},
        {42, L"Shorts"},
        {43, L"Shows"},
        {44, L"Trailers"},
    };
    return names;
}

const std::map<std::wstring, int32_t>& YoutubeCategoryIds() {
    static const std::map<std::wstring, int32_t> ids = [] {
        std::map<std::wstring, int32_t> result;
        for (const auto& [number, name] : YoutubeCategoryNames()) result[name] = number;
        return result;
    }();
    return ids;
}

CYoutubeCategoryClassifications_ZK::CYoutubeCategoryClassifications_ZK() {
    Table = {
        {L"Film & Animation", {CategoryMovie, 1.0f}},
        {L"Autos & Vehicles", {CategoryMovie, 0.8f}},
        {L"Music", {CategoryMusic, 1.0f}},
        {L"Pets & Animals", {CategoryMovie, 0.8f}},
        {L"Sports", {CategoryMovie, 0.8f}},
        {L"Short Movies", {CategoryMovie, 0.8f}},
        {L"Travel & Events", {CategoryVoice, 1.0f}},
        {L"Gaming", {CategoryMovie, 1.0f}},
        {L"Videoblogging", {CategoryMovie, 0.8f}},
        {L"People & Blogs", {CategoryVoice, 0.8f}},
        {L"Comedy", {CategoryMovie, 0.8f}},
        {L"Entertainment", {CategoryMovie, 1.0f}},
        {L"News & Politics", {CategoryVoice, 1.0f}},
        {L"Howto & Style", {CategoryVoice, 0.8f}},
        {L"Education", {CategoryMovie, 1.0f}},
        {L"Science & Technology", {CategoryVoice, 0.8f}},
        {L"Nonprofits & Activism", {CategoryVoice, 1.0f}},
        {L"Movies", {CategoryMovie, 0.8f}},
        {L"Anime/Animation", {CategoryMovie, 0.8f}},
        {L"Action/Adventure", {CategoryMovie, 0.8f}},
        {L"Classics", {CategoryMovie, 0.8f}},
        {L"Documentary", {CategoryMovie, 0.8f}},
        {L"Drama", {CategoryMovie, 0.8f}},
        {L"Family", {CategoryMovie, 0.8f}},
        {L"Foreign", {CategoryMovie, 0.8f}},
        {L"Horror", {CategoryMovie, 0.8f}},
        {L"Sci-Fi/Fantasy", {CategoryMovie, 0.8f}},
        {L"Thriller", {CategoryMovie, 0.8f}},
        {L"Shorts", {CategoryMovie, 0.8f}},
        {L"Shows", {CategoryMovie, 0.8f}},
        {L"Trailers", {CategoryMovie, 0.8f}},
    };
}

}  // namespace qv
