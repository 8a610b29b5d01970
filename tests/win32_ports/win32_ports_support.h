// What the Windows port tests share: the platform under test, the child
// program beside the test program, names no other run uses, and whether
// the runner promised audio endpoints.
#pragma once

#ifdef _WIN32

#include <cstdint>
#include <string>

#include "core/ref.h"
#include "platform/platform.h"

namespace qv::test {

CRefPtr<IPlatform> Win32Platform();

// qv_win32_test_child.exe, in the folder of the running test program.
std::wstring ChildProgramPath();
// Starts the child with the arguments through the process port; null (with
// a test failure) when it does not start.
CRefPtr<IProcessHandle> StartChild(const std::wstring& arguments, uint32_t creationFlags = 0);
// Waits for the process through the synchronisation port; false on time-out.
bool WaitForExit(IProcessHandle* process, uint32_t timeoutMs = 30000);

// A name of this test process alone: the prefix, the process id, a count.
std::wstring UniqueName(const std::wstring& prefix);

// cmake/wine-run --with-pulseaudio says so: a test that finds no endpoint
// then fails, where it would otherwise skip.
bool AudioServerPromised();

}  // namespace qv::test

#endif  // _WIN32
