// What PELTAK64 reads from the browser's standard input, handed out in
// pieces of sizes that the first byte of the input chooses: every message
// read is made of the input's own bytes in order, and framed again it gives
// back those bytes.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fuzz_target.h"
#include "native_messaging_frame.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const size_t piece = 1 + data[0] % 16;
    const std::string input(reinterpret_cast<const char*>(data) + 1, size - 1);
    size_t offset = 0;
    const qv::peltak::ByteSource source = [&](void* out, size_t wanted) {
        const size_t n = std::min({wanted, piece, input.size() - offset});
        std::memcpy(out, input.data() + offset, n);
        offset += n;
        return n;
    };
    std::string message, problem, frame;
    size_t consumed = 0;
    while (qv::peltak::ReadNativeMessage(source, message, problem) == qv::peltak::FrameRead::Message) {
        if (!qv::peltak::EncodeNativeMessage(message, frame, problem)) continue;
        if (input.compare(consumed, frame.size(), frame) != 0) std::abort();
        consumed += frame.size();
    }
    return 0;
}
