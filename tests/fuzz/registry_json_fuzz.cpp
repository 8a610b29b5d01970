// The registry file reader. Whatever it accepts, it writes back in a form
// that it reads again to the same text: nothing read is lost on the next save.
#include <cstdlib>
#include <string>
#include <string_view>

#include "fuzz_target.h"
#include "platform/registry_json.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace qv;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    CRegistryStore store;
    std::string problem;
    if (!ReadRegistryRootJson(text, store, RegistryRoot::CurrentUser, problem)) return 0;
    const std::string written = WriteRegistryRootJson(store, RegistryRoot::CurrentUser);
    CRegistryStore again;
    if (!ReadRegistryRootJson(written, again, RegistryRoot::CurrentUser, problem)) std::abort();
    if (WriteRegistryRootJson(again, RegistryRoot::CurrentUser) != written) std::abort();
    return 0;
}
