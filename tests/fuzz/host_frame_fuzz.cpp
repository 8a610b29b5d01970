// What the host reads from a client: the frame around the message, fed in
// reads of sizes that the input itself chooses, and the three lines in it.
#include <algorithm>
#include <cstring>
#include <string>

#include "core/ref.h"
#include "fuzz_target.h"
#include "host_frame.h"
#include "platform/ipc.h"

namespace {

// A client's bytes, handed out in the pieces that the first byte of the
// input asks for; the end of the input is a closed pipe.
class CScriptedConnection : public qv::CAddReleaseRef, public qv::IPipeConnection {
public:
    CScriptedConnection(const uint8_t* data, size_t size) : m_data(data), m_size(size) {
        if (m_size > 0) {
            m_piece = 1 + m_data[0] % 16;
            ++m_data;
            --m_size;
        }
    }
    qv::Win32Error WriteFile(const void*, uint32_t size, uint32_t& written) override {
        written = size;
        return 0;
    }
    qv::Win32Error ReadFile(void* data, uint32_t size, uint32_t& read) override {
        read = 0;
        if (m_size == 0) return 109;  // ERROR_BROKEN_PIPE
        read = static_cast<uint32_t>(std::min<size_t>({size, m_piece, m_size}));
        std::memcpy(data, m_data, read);
        m_data += read;
        m_size -= read;
        return 0;
    }

private:
    const uint8_t* m_data;
    size_t m_size;
    size_t m_piece = 1;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    auto connection = qv::MakeRef<CScriptedConnection>(data, size);
    std::string error;
    if (auto text = qv::host::ReceiveHostFrame(*connection, error)) qv::host::ParseHostMessage(*text);
    qv::host::ParseHostMessage(std::string(reinterpret_cast<const char*>(data), size));
    return 0;
}
