#include "sessions/interop_file_format.h"

#include <cstring>

#include "core/text.h"

namespace qv {

namespace {

void AppendUint32(std::vector<uint8_t>& out, uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8) out.push_back(static_cast<uint8_t>(value >> shift));
}

uint32_t ReadUint32(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 | static_cast<uint32_t>(p[2]) << 16 |
           static_cast<uint32_t>(p[3]) << 24;
}

void AppendList(std::vector<uint8_t>& out, const std::vector<std::wstring>& paths) {
    AppendUint32(out, static_cast<uint32_t>(paths.size()));
    for (const std::wstring& path : paths) {
        std::vector<uint8_t> text = WideToUtf16Le(path);
        text.push_back(0);
        text.push_back(0);
        AppendUint32(out, static_cast<uint32_t>(text.size()));
        out.insert(out.end(), text.begin(), text.end());
    }
}

// Walks the body with every read checked against what is left.
class CBodyReader {
public:
    explicit CBodyReader(std::span<const uint8_t> body) : m_body(body) {}

    bool Skip(std::size_t size) {
        if (m_body.size() - m_offset < size) return false;
        m_offset += size;
        return true;
    }
    bool ReadInt32(int32_t& value) {
        if (m_body.size() - m_offset < 4) return false;
        value = static_cast<int32_t>(ReadUint32(m_body.data() + m_offset));
        m_offset += 4;
        return true;
    }
    // A path of the given length in bytes, cut at its first NUL.
    bool ReadText(int32_t length, std::wstring& text) {
        if (length < 0 || m_body.size() - m_offset < static_cast<std::size_t>(length)) return false;
        const uint8_t* start = m_body.data() + m_offset;
        std::size_t units = static_cast<std::size_t>(length) / 2;
        for (std::size_t i = 0; i < units; ++i) {
            if (start[2 * i] == 0 && start[2 * i + 1] == 0) {
                units = i;
                break;
            }
        }
        text = Utf16LeToWide(start, units * 2);
        m_offset += static_cast<std::size_t>(length);
        return true;
    }

private:
    std::span<const uint8_t> m_body;
    std::size_t m_offset = 0;
};

bool ReadList(CBodyReader& reader, std::vector<std::wstring>& paths, const char* name, std::string& problem) {
    int32_t count = 0;
    if (!reader.ReadInt32(count)) {
        problem = std::string("the ") + name + " count lies beyond the end";
        return false;
    }
    for (int32_t i = 0; i < count; ++i) {
        int32_t length = 0;
        std::wstring text;
        if (!reader.ReadInt32(length) || !reader.ReadText(length, text)) {
            problem = std::string("the ") + name + " entry " + std::to_string(i) + " of " + std::to_string(count) +
                      " does not fit";
            return false;
        }
        paths.push_back(std::move(text));
    }
    return true;
}

}  // namespace

std::vector<uint8_t> EncodeInteropFile(const OpenedMediaFileLists& lists) {
    std::vector<uint8_t> out(kInteropTotalLengthSize + kInteropReservedSize, 0);
    AppendList(out, lists.video);
    AppendList(out, lists.audio);
    const uint32_t total = static_cast<uint32_t>(out.size());
    for (int i = 0; i < 4; ++i) out[i] = static_cast<uint8_t>(total >> (8 * i));
    return out;
}

uint32_t InteropTotalLength(const uint8_t (&field)[4]) { return ReadUint32(field); }

bool DecodeInteropBody(std::span<const uint8_t> body, OpenedMediaFileLists& lists, std::string& problem) {
    lists = {};
    CBodyReader reader(body);
    if (!reader.Skip(kInteropReservedSize)) {
        problem = "the reserved bytes lie beyond the end";
        return false;
    }
    if (ReadList(reader, lists.video, "video", problem) && ReadList(reader, lists.audio, "audio", problem)) return true;
    lists = {};
    return false;
}

}  // namespace qv
