// A native host's request as a stranger on the pipe may write it: the reader
// never reads beyond what came, never reserves more than its limits allow,
// and whatever it hands on holds no more than was sent.
#include <cstdint>
#include <cstdlib>

#include "fuzz_target.h"
#include "scripted_connection.h"
#include "web/native_host_pipe_name.h"
#include "web/native_host_request.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    auto connection = qv::MakeRef<qv::fuzz::CScriptedConnection>(data, size, SIZE_MAX);
    std::optional<qv::NativeHostRequest> request = qv::ReadNativeHostRequest(*connection);
    if (!request) return 0;
    if (request->sourceProcessPath.size() * 2 > qv::kNativeHostMaxPathBytes) std::abort();
    if (request->body.size() > size) std::abort();
    qv::WriteNativeHostReply(*connection, request->body);
    return 0;
}
