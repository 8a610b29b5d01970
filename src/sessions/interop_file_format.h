// The interop file through which the lister of a player's open files answers.
// Little endian throughout:
//   0   4   total length, this field included; 4 or less means nothing to read
//   4  12   reserved
//  16   4   video count (signed; 0 or less: none), then that many entries
//   .   4   audio count, then that many entries
// An entry is a signed 4-byte length in bytes, terminator included, and the
// UTF-16LE path with its terminating NUL.
//
// The file comes from another program and is not trusted: the reader checks
// every count and length against the bytes there are, and a malformed file
// gives nothing at all, never a read beyond the buffer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace qv {

inline constexpr uint32_t kInteropTotalLengthSize = 4;
inline constexpr uint32_t kInteropReservedSize = 12;
// A limit of our own on what the reader allocates: a listing of thousands of
// long paths stays far below it, and a total length field of a few gigabytes
// from a broken lister costs nothing.
inline constexpr uint32_t kInteropMaxTotalLength = 16u * 1024u * 1024u;

struct OpenedMediaFileLists {
    std::vector<std::wstring> video;
    std::vector<std::wstring> audio;
};

// The whole file, total length first. The reserved bytes are zero: nothing
// reads them.
std::vector<uint8_t> EncodeInteropFile(const OpenedMediaFileLists& lists);

// The total length field as read from the first four bytes.
uint32_t InteropTotalLength(const uint8_t (&field)[4]);

// The content after the total length field (total length - 4 bytes): each
// path is cut at its first NUL. False, with the lists empty and the fault
// said in problem, when a count or a length does not fit the bytes.
bool DecodeInteropBody(std::span<const uint8_t> body, OpenedMediaFileLists& lists, std::string& problem);

}  // namespace qv
