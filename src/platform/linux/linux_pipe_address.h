// How a pipe name becomes a local socket address on Linux.
//
// A leading "\\.\pipe\" is recognised in any case and written in lower case;
// the rest of the name stays exactly as it is (so, unlike on Windows, the
// part after the prefix is case-sensitive). The whole text, prefix included,
// in UTF-8, is the name of a SOCK_SEQPACKET socket in the abstract namespace:
// "\\.\Pipe\Foo" is the socket "@\\.\pipe\Foo" that `ss -xl` shows. Such a
// name belongs to the network namespace, needs no file, and goes with the
// process that holds it. A name without the prefix, or with nothing after
// it, is no pipe name (ERROR_INVALID_NAME); one whose address does not fit a
// sockaddr_un (107 bytes) gives ERROR_FILENAME_EXCED_RANGE. A pipe namespace
// (platform/pipe_namespace.h) goes after the prefix.
#pragma once

#include <string>
#include <sys/socket.h>
#include <sys/un.h>

#include "platform/types.h"

namespace qv {

struct PipeAddress {
    sockaddr_un address{};
    socklen_t length = 0;
    // The bytes after sun_path's leading zero.
    std::string abstractName;
    const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&address); }
};

inline constexpr Win32Error kErrorInvalidName = 123;

Win32Error PipeAddressFromName(const std::wstring& name, PipeAddress& address);

}  // namespace qv
