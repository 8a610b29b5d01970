// A native host's request as a stranger on the pipe may write it: the reader
// never reads beyond what came, never reserves more than its limits allow,
// and whatever it hands on holds no more than was sent.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fuzz_target.h"
#include "platform/codes.h"
#include "web/native_host_pipe_name.h"
#include "web/native_host_request.h"

namespace {

// The bytes as one stream; the far end goes when they are used up.
class CBytesConnection : public qv::CAddReleaseRef, public qv::IPipeConnection {
public:
    CBytesConnection(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}
    qv::Win32Error WriteFile(const void*, uint32_t size, uint32_t& written) override {
        written = size;
        return qv::ERROR_SUCCESS;
    }
    qv::Win32Error ReadFile(void* data, uint32_t size, uint32_t& read) override {
        read = static_cast<uint32_t>(std::min<size_t>(size, m_size - m_at));
        if (read == 0 && size > 0) return qv::ERROR_BROKEN_PIPE;
        std::memcpy(data, m_data + m_at, read);
        m_at += read;
        return qv::ERROR_SUCCESS;
    }

private:
    const uint8_t* m_data;
    size_t m_size;
    size_t m_at = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    qv::CRefPtr<CBytesConnection> connection = qv::MakeRef<CBytesConnection>(data, size);
    std::optional<qv::NativeHostRequest> request = qv::ReadNativeHostRequest(*connection);
    if (!request) return 0;
    if (request->sourceProcessPath.size() * 2 > qv::kNativeHostMaxPathBytes) std::abort();
    if (request->body.size() > size) std::abort();
    qv::WriteNativeHostReply(*connection, request->body);
    return 0;
}
