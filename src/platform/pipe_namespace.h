// Pipe names are machine-wide (the system's named pipes; abstract sockets on
// Linux), so test programs that run side by side would hear each other's
// classifiers. QUORVANE_PIPE_NAMESPACE=NS (up to 32 visible ASCII
// characters) puts every pipe name of a process and its children under
// "NS:": "\\.\pipe\Foo" becomes "\\.\pipe\NS:Foo". The test main sets it for
// each test program; the product leaves it unset.
#pragma once

#include <string>

namespace qv {

// The name as this process uses it: with the namespace after the pipe
// prefix when one is set and the name has the prefix, unchanged otherwise.
std::wstring NamespacedPipeName(const std::wstring& name);

}  // namespace qv
