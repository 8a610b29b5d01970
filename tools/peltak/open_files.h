// What PELTAK64 asks of the operating system: the files another process
// holds open, and the write of the interop file that the classifier made.
// One implementation per platform (open_files_linux.cpp, open_files_win32.cpp).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/types.h"

namespace qv::peltak {

// The paths of the regular files that the process holds open, in the order
// of its descriptors or handles; a file opened twice is there twice.
// Sockets, pipes, devices, folders and files deleted since they were opened
// are left out. On failure (no such process, access denied) the error is
// returned and problem says what happened; paths is then empty.
Win32Error ListOpenFiles(uint32_t processId, std::vector<std::wstring>& paths, std::string& problem);

// Opens the existing file by its path, sharing it with everyone, writes the
// content from offset 0 and sets the end of the file after it. The first
// four bytes (the total length) go last, so that a reader never takes a
// half-written file for a complete one. On failure problem says what
// happened.
Win32Error WriteInteropFile(const std::wstring& path, const std::vector<uint8_t>& content, std::string& problem);

}  // namespace qv::peltak
