#include "support/build_path.h"

#include <string>

namespace qv::test {

std::filesystem::path BuildPath(const char* path) {
    std::string text = path;
#ifdef _WIN32
    if (!text.empty() && text[0] == '/') {
        for (char& c : text)
            if (c == '/') c = '\\';
        text = "Z:" + text;
    }
#endif
    return std::filesystem::path(text);
}

}  // namespace qv::test
