// The program's entry: the machine's own platform, the command line as UTF-8,
// and the user's interrupt as the quit message.
#include <string>
#include <vector>

#include "core/text.h"
#include "platform/native.h"
#include "shell/entry.h"

namespace {

int Run(std::vector<std::string> arguments) {
    qv::HoldInterrupts();
    qv::SetPlatform(qv::CreateNativePlatform());
    qv::EntryHooks hooks;
    hooks.loopReady = [](const qv::CRefPtr<qv::IMessageLoop>& loop) { qv::PostQuitOnInterrupt(loop); };
    int rc = qv::RunContentClassifier(arguments, hooks);
    qv::SetPlatform(nullptr);
    return rc;
}

}  // namespace

#ifdef _WIN32
int wmain(int argc, wchar_t** argv) {
    std::vector<std::string> arguments;
    for (int i = 0; i < argc; ++i) arguments.push_back(qv::WideToUtf8(argv[i]));
    return Run(std::move(arguments));
}
#else
int main(int argc, char** argv) { return Run(std::vector<std::string>(argv, argv + argc)); }
#endif
