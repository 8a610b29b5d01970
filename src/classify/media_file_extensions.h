// The file-name extensions that mark a media file as video or as audio. The
// session classifier judges an opened file by them, and the lister of a
// player's open files sorts what it finds by them: one table for both, so
// that a file the lister reports is one the classifier knows.
#pragma once

#include <string_view>

namespace qv {

enum class MediaFileKind { Other, Video, Audio };

// The extension without its dot, in any case. "m4a" counts as video, as the
// table has always had it, and ".flac" is in neither list.
MediaFileKind MediaFileKindOfExtension(std::wstring_view extension);

// The kind by the text after the last "." of the path's last part (either
// slash separates); Other when there is none.
MediaFileKind MediaFileKindOfPath(std::wstring_view path);

}  // namespace qv
