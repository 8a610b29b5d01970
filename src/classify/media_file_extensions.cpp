#include "classify/media_file_extensions.h"

#include <array>

#include "core/text.h"

namespace qv {

namespace {

constexpr std::array<std::wstring_view, 20> kVideoFileExtensions{
    L"mp4",  L"avi", L"wmv", L"mov",  L"fla", L"mpeg3", L"mpg", L"m4v", L"m4a", L"mp4v",
    L"m2ts", L"ec3", L"3g2", L"3gp2", L"3gp", L"3gpp",  L"ac3", L"asf", L"wm",  L"webm"};

// "falc" is how the list has always spelled it; a real .flac file is
// therefore neither video nor audio here.
constexpr std::array<std::wstring_view, 13> kAudioFileExtensions{
    L"wav", L"wave", L"mp3", L"wma", L"aac", L"falc", L"aif", L"mp1", L"mp2", L"adt", L"adts", L"aiff", L"aifc"};

template <std::size_t N>
bool Contains(const std::array<std::wstring_view, N>& list, std::wstring_view word) {
    for (std::wstring_view entry : list)
        if (entry == word) return true;
    return false;
}

}  // namespace

MediaFileKind MediaFileKindOfExtension(std::wstring_view extension) {
    const std::wstring lower = ToLowerWide(extension);
    if (Contains(kVideoFileExtensions, lower)) return MediaFileKind::Video;
    if (Contains(kAudioFileExtensions, lower)) return MediaFileKind::Audio;
    return MediaFileKind::Other;
}

MediaFileKind MediaFileKindOfPath(std::wstring_view path) {
    const std::size_t lastSeparator = path.find_last_of(L"/\\");
    const std::wstring_view name = lastSeparator == std::wstring_view::npos ? path : path.substr(lastSeparator + 1);
    const std::size_t dot = name.rfind(L'.');
    if (dot == std::wstring_view::npos) return MediaFileKind::Other;
    return MediaFileKindOfExtension(name.substr(dot + 1));
}

}  // namespace qv
