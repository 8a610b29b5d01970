// Runs a program as a browser runs its native-messaging host: standard input
// read from one file, standard output written to another, standard error
// shared with the test; one argument, as the browser gives its caller's
// origin. Waits, within the tests' bound, for its end.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace qv::test {

// The exit code; 1000 when the program could not be started, 1001 when it
// did not end within the bound (it is then ended by force), 1002 for a death
// by a signal.
uint32_t RunWithStdFiles(const std::filesystem::path& program, const std::string& argument,
                         const std::filesystem::path& input, const std::filesystem::path& output);

#ifdef _WIN32
// The same, started as Chromium-based browsers start a host on Windows:
// through "cmd.exe /d /s /c", so that the interpreter stands between the
// caller and the program.
uint32_t RunThroughCommandInterpreter(const std::filesystem::path& program, const std::string& argument,
                                      const std::filesystem::path& input, const std::filesystem::path& output);
#endif

}  // namespace qv::test
