// The meta log as its outside viewer reads it: each connection is one line, a
// write of 4 bytes of length, then one of UTF-16LE text with its null.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/text.h"
#include "support/pipe_test_server.h"

namespace qv::test {

// The text of one connection, with the frame checked on the way.
inline ::testing::AssertionResult DecodeMetaLogLine(const PipeTestServer::Connection& connection, std::wstring& text) {
    if (connection.size() != 2)
        return ::testing::AssertionFailure() << "a line is two writes, got " << connection.size();
    const PipeTestServer::Message& l = connection[0];
    const PipeTestServer::Message& payload = connection[1];
    if (l.size() != 4) return ::testing::AssertionFailure() << "length field of " << l.size() << " bytes";
    const uint32_t length = l[0] | (l[1] << 8) | (l[2] << 16) | (uint32_t{l[3]} << 24);
    if (payload.size() != length)
        return ::testing::AssertionFailure() << "length says " << length << ", text has " << payload.size();
    if (length < 2 || length % 2 != 0 || payload[length - 1] != 0 || payload[length - 2] != 0)
        return ::testing::AssertionFailure() << "text does not end in a UTF-16 null";
    text = Utf16LeToWide(payload.data(), length - 2);
    return ::testing::AssertionSuccess();
}

// The lines of the connections so far; a line out of its frame fails the test.
inline std::vector<std::wstring> MetaLogLines(const PipeTestServer& server) {
    std::vector<std::wstring> lines;
    for (const PipeTestServer::Connection& connection : server.Connections()) {
        std::wstring text;
        EXPECT_TRUE(DecodeMetaLogLine(connection, text));
        lines.push_back(text);
    }
    return lines;
}

}  // namespace qv::test
