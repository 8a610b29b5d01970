// The interop file as a broken or hostile lister may write it: the reader
// never reads beyond the bytes, and whatever it accepts writes back and
// reads back the same.
#include <cstdlib>
#include <span>

#include "fuzz_target.h"
#include "sessions/interop_file_format.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    qv::OpenedMediaFileLists lists;
    std::string problem;
    if (!qv::DecodeInteropBody(std::span<const uint8_t>(data, size), lists, problem)) {
        if (!lists.video.empty() || !lists.audio.empty()) std::abort();
        return 0;
    }
    const std::vector<uint8_t> again = qv::EncodeInteropFile(lists);
    qv::OpenedMediaFileLists reread;
    if (!qv::DecodeInteropBody(std::span<const uint8_t>(again).subspan(4), reread, problem)) std::abort();
    if (reread.video != lists.video || reread.audio != lists.audio) std::abort();
    return 0;
}
