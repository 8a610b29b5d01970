// The replay tool's scenario reader: a refusal always says why.
#include <cstdlib>
#include <string>

#include "fuzz_target.h"
#include "scenario.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string error;
    auto scenario = qv::replay::ParseScenario(std::string(reinterpret_cast<const char*>(data), size), error);
    if (!scenario && error.empty()) std::abort();
    return 0;
}
