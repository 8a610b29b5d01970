// The reference ORBENT64's parameter file reader. Whatever a file holds, what
// was read is written back in a form that reads again to the same store:
// nothing kept is lost when the library saves.
#include <cstdlib>
#include <string_view>

#include "fuzz_target.h"
#include "orbent_parameters.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const orbent::ParameterTable table = orbent::ParseParameterFile(text);
    for (const auto& [endpoint, parameters] : table)
        for (const auto& [key, value] : parameters)
            if (value.size() > orbent::kLargestValue) std::abort();
    if (orbent::ParseParameterFile(orbent::SerializeParameterFile(table)) != table) std::abort();
    return 0;
}
