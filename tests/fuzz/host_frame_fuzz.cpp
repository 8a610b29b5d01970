// What the host reads from a client: the frame around the message, fed in
// reads of sizes that the first byte of the input chooses, and the three
// lines in it.
#include <string>

#include "fuzz_target.h"
#include "host_frame.h"
#include "scripted_connection.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const size_t piece = size > 0 ? 1 + data[0] % 16 : 1;
    auto connection = qv::MakeRef<qv::fuzz::CScriptedConnection>(data + (size > 0), size - (size > 0), piece);
    std::string error;
    if (auto text = qv::host::ReceiveHostFrame(*connection, error)) qv::host::ParseHostMessage(*text);
    qv::host::ParseHostMessage(std::string(reinterpret_cast<const char*>(data), size));
    return 0;
}
