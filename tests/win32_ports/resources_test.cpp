// The resources port on Windows: the manifest templates that the resource
// script compiles into the program (this test program carries them too)
// read back through FindResourceW as the bytes that the other platforms embed.
#include <vector>

#include <gtest/gtest.h>

#include "platform/embedded_resources.h"
#include "platform/win32/windows_api.h"
#include "win32_ports_support.h"

namespace qv {
namespace {

using test::Win32Platform;

TEST(Win32ResourcesTest, TheTemplatesAreTheEmbeddedBytesInEnglishUs) {
    CRefPtr<IResources> resources = Win32Platform()->Resources();
    ASSERT_TRUE(resources);
    for (uint32_t id : {300u, 301u, 302u, 303u}) {
        std::vector<uint8_t> compiled, embedded;
        ASSERT_EQ(resources->LoadResource(id, kRtRcData, compiled), 0u) << id;
        ASSERT_EQ(FindEmbeddedResource(id, kRtRcData, embedded), 0u) << id;
        EXPECT_EQ(compiled, embedded) << id;
        EXPECT_TRUE(::FindResourceExW(nullptr, MAKEINTRESOURCEW(10), MAKEINTRESOURCEW(id),
                                      MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US)))
            << id << " in language 1033";
    }
}

TEST(Win32ResourcesTest, MissingResourcesGiveTheSystemsErrors) {
    CRefPtr<IResources> resources = Win32Platform()->Resources();
    std::vector<uint8_t> bytes{1};
    EXPECT_EQ(resources->LoadResource(304, kRtRcData, bytes), static_cast<Win32Error>(ERROR_RESOURCE_NAME_NOT_FOUND));
    EXPECT_TRUE(bytes.empty());
    EXPECT_EQ(resources->LoadResource(300, 6, bytes), static_cast<Win32Error>(ERROR_RESOURCE_TYPE_NOT_FOUND));
}

}  // namespace
}  // namespace qv
