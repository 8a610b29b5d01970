#include "web/native_host_request.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/codes.h"
#include "web/native_host_pipe_name.h"

namespace qv {

namespace {

// Reads exactly size bytes; a message longer than asked for (a host that
// wrote several fields at once) still gives its first bytes, and the rest
// comes with the next read.
bool ReadExactly(IPipeConnection& connection, void* data, uint32_t size) {
    auto* bytes = static_cast<uint8_t*>(data);
    uint32_t done = 0;
    while (done < size) {
        uint32_t read = 0;
        const Win32Error error = connection.ReadFile(bytes + done, size - done, read);
        if (error != ERROR_SUCCESS && error != ERROR_MORE_DATA) return false;
        if (read == 0 && error == ERROR_SUCCESS) return false;
        done += read;
    }
    return true;
}

bool ReadUint32(IPipeConnection& connection, uint32_t& value) {
    uint8_t bytes[4];
    if (!ReadExactly(connection, bytes, 4)) return false;
    value = static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 |
            static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
    return true;
}

bool WriteAll(IPipeConnection& connection, const void* data, uint32_t size) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    uint32_t done = 0;
    while (done < size) {
        uint32_t written = 0;
        if (connection.WriteFile(bytes + done, size - done, written) != ERROR_SUCCESS || written == 0) return false;
        done += written;
    }
    return true;
}

// The path as UTF-16LE up to its first NUL; the bytes are little-endian on
// every platform, whatever wchar_t is.
std::wstring PathFromBytes(const std::vector<uint8_t>& bytes) {
    std::wstring path;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const auto unit = static_cast<char16_t>(bytes[i] | bytes[i + 1] << 8);
        if (unit == 0) break;
        path.push_back(static_cast<wchar_t>(unit));
    }
    return path;
}

}  // namespace

std::optional<NativeHostRequest> ReadNativeHostRequest(IPipeConnection& connection) {
    NativeHostRequest request;
    uint32_t pathSize = 0;
    if (!ReadUint32(connection, request.sourceProcessId) || !ReadUint32(connection, pathSize)) return std::nullopt;

    // The buffer holds the longest path; a longer one is read into it only as
    // far as it goes and the rest is read and dropped, so that the fields
    // behind it still line up. The terminator goes at the end of what was
    // sent, inside the buffer.
    std::vector<uint8_t> path(std::min(pathSize, kNativeHostMaxPathBytes));
    if (!ReadExactly(connection, path.data(), static_cast<uint32_t>(path.size()))) return std::nullopt;
    for (uint32_t rest = pathSize - static_cast<uint32_t>(path.size()); rest > 0;) {
        uint8_t sink[4096];
        const uint32_t chunk = std::min<uint32_t>(rest, sizeof sink);
        if (!ReadExactly(connection, sink, chunk)) return std::nullopt;
        rest -= chunk;
    }
    if (pathSize > kNativeHostMaxPathBytes)
        request.refusal =
            "its path size " + std::to_string(pathSize) + " is over " + std::to_string(kNativeHostMaxPathBytes);
    else if (pathSize % 2 != 0)
        request.refusal = "its path size " + std::to_string(pathSize) + " is odd";
    request.sourceProcessPath = PathFromBytes(path);

    uint32_t bodySize = 0;
    if (!ReadUint32(connection, bodySize) || bodySize > kNativeHostMaxBodyBytes) return std::nullopt;
    // The body grows with what comes, a piece at a time, so that a size
    // that nobody sends costs nothing.
    constexpr uint32_t kPiece = 1024 * 1024;
    uint32_t done = 0;
    while (done < bodySize) {
        const uint32_t want = std::min(kPiece, bodySize - done);
        request.body.resize(done + want);
        uint32_t read = 0;
        const Win32Error error = connection.ReadFile(request.body.data() + done, want, read);
        done += read;
        if ((error != ERROR_SUCCESS && error != ERROR_MORE_DATA) || (read == 0 && error == ERROR_SUCCESS)) break;
    }
    if (done < bodySize && request.refusal.empty())
        request.refusal = "its body ended after " + std::to_string(done) + " of " + std::to_string(bodySize) + " bytes";
    request.body.resize(done);
    return request;
}

bool WriteNativeHostReply(IPipeConnection& connection, const std::string& reply) {
    const auto size = static_cast<uint32_t>(reply.size());
    const uint8_t sizeBytes[4] = {static_cast<uint8_t>(size), static_cast<uint8_t>(size >> 8),
                                  static_cast<uint8_t>(size >> 16), static_cast<uint8_t>(size >> 24)};
    if (!WriteAll(connection, sizeBytes, 4)) return false;
    if (size > 0 && !WriteAll(connection, reply.data(), size)) return false;
    uint8_t acknowledgement[4];
    ReadExactly(connection, acknowledgement, 4);
    return true;
}

}  // namespace qv
