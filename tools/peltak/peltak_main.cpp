// PELTAK64: the helper beside ContentClassifier. See peltak_command.h and
// PELTAK64 --help.
#include <string>
#include <vector>

#include "core/text.h"
#include "peltak_command.h"

#ifdef _WIN32
int wmain(int argc, wchar_t** argv) {
    return qv::peltak::RunPeltak(std::vector<std::wstring>(argv + (argc > 0 ? 1 : 0), argv + argc));
}
#else
int main(int argc, char** argv) {
    std::vector<std::wstring> arguments;
    for (int i = 1; i < argc; ++i) arguments.push_back(qv::Utf8ToWide(argv[i]));
    return qv::peltak::RunPeltak(arguments);
}
#endif
