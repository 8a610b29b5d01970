// Splitting a Windows command line into arguments, as CommandLineToArgvW
// does, so that the command lines the model builds for Windows start the
// same program with the same arguments here:
// - the first argument, the program, ends at the next '"' if it starts with
//   one, else at the first blank; nothing in it is an escape;
// - later arguments are separated by blanks (space, tab) outside quotes;
//   2n backslashes before a '"' give n backslashes and the '"' opens or
//   closes quoting; 2n+1 backslashes before a '"' give n backslashes and a
//   literal '"'; backslashes before anything else stand as they are;
// - within quotes, a run of quotes counts in threes: every third one is a
//   literal '"' (so "" inside quotes closes them and reopens nothing, and
//   """ gives one '"').
#pragma once

#include <string>
#include <vector>

namespace qv {

std::vector<std::wstring> SplitCommandLine(const std::wstring& commandLine);

}  // namespace qv
