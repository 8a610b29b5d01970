// Paths that the build gives the tests as compile definitions are Unix
// paths; a Windows test program under Wine reaches them through the drive Z:.
#pragma once

#include <filesystem>

namespace qv::test {

std::filesystem::path BuildPath(const char* path);

}  // namespace qv::test
