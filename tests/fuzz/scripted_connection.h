// A pipe's client end for the fuzz targets: the input's bytes handed out in
// reads of at most `piece` bytes, with a closed pipe at their end. Writes go
// nowhere.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "core/ref.h"
#include "platform/codes.h"
#include "platform/ipc.h"

namespace qv::fuzz {

class CScriptedConnection : public CAddReleaseRef, public IPipeConnection {
public:
    CScriptedConnection(const uint8_t* data, size_t size, size_t piece) : m_data(data), m_size(size), m_piece(piece) {}
    Win32Error WriteFile(const void*, uint32_t size, uint32_t& written) override {
        written = size;
        return ERROR_SUCCESS;
    }
    Win32Error ReadFile(void* data, uint32_t size, uint32_t& read) override {
        read = static_cast<uint32_t>(std::min<size_t>({size, m_piece, m_size}));
        if (read == 0 && size > 0) return ERROR_BROKEN_PIPE;
        std::memcpy(data, m_data, read);
        m_data += read;
        m_size -= read;
        return ERROR_SUCCESS;
    }

private:
    const uint8_t* m_data;
    size_t m_size;
    const size_t m_piece;
};

}  // namespace qv::fuzz
