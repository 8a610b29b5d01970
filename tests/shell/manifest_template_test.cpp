// The native-messaging manifest template that the program carries, and the
// add-on ids read from it, on the simulated platform (the same embedded
// bytes as the Linux program's).
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/codes.h"
#include "platform/sim/sim_platform.h"
#include "shell/allowed_extension_ids.h"
#include "shell/manifest_template.h"

namespace qv {
namespace {

const std::string kAddOnOrigin = std::string("chrome-extension://") + QV_ADDON_ID + "/";

class ManifestTemplateTest : public testing::Test {
protected:
    void SetUp() override { SetPlatform(platform); }
    void TearDown() override { SetPlatform(nullptr); }

    std::string Resource(uint32_t id) {
        std::vector<uint8_t> bytes;
        EXPECT_EQ(platform->Resources()->LoadResource(id, kRtRcData, bytes), 0u) << id;
        return {bytes.begin(), bytes.end()};
    }

    CRefPtr<CSimPlatform> platform = MakeRef<CSimPlatform>();
};

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end; (end = text.find("\r\n", start)) != std::string::npos; start = end + 2)
        lines.push_back(text.substr(start, end - start));
    lines.push_back(text.substr(start));
    return lines;
}

TEST_F(ManifestTemplateTest, TemplateIsCrlfTextWithTheLayoutAndTheAddOnAsTheFifthOrigin) {
    const std::string text = Resource(kManifestTemplateResourceId);
    ASSERT_FALSE(text.empty());
    EXPECT_EQ(text.back(), '}') << "no line end after the closing brace";
    EXPECT_EQ(text.find('\0'), std::string::npos);
    const std::vector<std::string> expected = {
        "{",
        "  \"name\": \"com.quorvane.contentclassifier\",",
        "  \"description\": \"Quorvane Audio Content Classifier Native Host\",",
        "  \"path\": \"${NativeHostExePath}\",",
        "  \"type\": \"stdio\",",
        "  \"allowed_origins\": [",
        "    \"chrome-extension://aabbccddeeffgghhiijjkkllmmnnoopp/\",",
        "    \"chrome-extension://ppoonnmmllkkjjiihhggffeeddccbbaa/\",",
        "    \"chrome-extension://abcdefghijklmnopabcdefghijklmnop/\",",
        "    \"chrome-extension://ponmlkjihgfedcbaponmlkjihgfedcba/\",",
        "    \"" + kAddOnOrigin + "\"",
        "  ]",
        "}",
    };
    EXPECT_EQ(Lines(text), expected);

    // Without the add-on's line and the comma before it, only the fixed
    // origins are left, whose text has a fixed length.
    const std::string fifth = ",\r\n    \"" + kAddOnOrigin + "\"";
    const std::size_t at = text.find(fifth);
    ASSERT_NE(at, std::string::npos);
    EXPECT_EQ(std::string(text).erase(at, fifth.size()).size(), 443u);
}

TEST_F(ManifestTemplateTest, TheUsbTemplatesDifferOnlyInTheName) {
    std::string usb = Resource(kManifestTemplateResourceId);
    const std::string name = "\"com.quorvane.contentclassifier\"";
    usb.replace(usb.find(name), name.size(), "\"com.quorvane.contentclassifier.usb\"");
    for (uint32_t id : {301u, 302u, 303u}) EXPECT_EQ(Resource(id), usb) << id;
}

TEST_F(ManifestTemplateTest, MissingResourcesFailAsFindResourceDoes) {
    std::vector<uint8_t> bytes{1};
    EXPECT_EQ(platform->Resources()->LoadResource(304, kRtRcData, bytes), ERROR_RESOURCE_NAME_NOT_FOUND);
    EXPECT_TRUE(bytes.empty());
    EXPECT_EQ(platform->Resources()->LoadResource(300, 6, bytes), ERROR_RESOURCE_TYPE_NOT_FOUND);
}

TEST_F(ManifestTemplateTest, NoTemplateMeansNoAllowedIds) {
    platform->SimResources->Hide(kManifestTemplateResourceId);
    EXPECT_TRUE(ReadAllowedExtensionIds().empty());
    SetPlatform(nullptr);
    EXPECT_TRUE(ReadAllowedExtensionIds().empty());
}

TEST_F(ManifestTemplateTest, AllowedIdsComeFromMatchingOriginsOnlyAndATemplateThatIsNotJsonThrows) {
    struct Case {
        std::string manifest;
        std::set<std::string> ids;
    };
    const Case cases[] = {
        {R"({"allowed_origins": ["chrome-extension://one/", "https://two/", 3, " chrome-extension://x/", "chrome-extension://three"]})",
         {"one", "three"}},
        {R"({"name": "x"})", {}},
        {R"({"allowed_origins": []})", {}},
        // The text ends at the first zero byte.
        {std::string(R"({"allowed_origins": ["chrome-extension://one/"]})") + '\0' + "garbage", {"one"}},
    };
    for (const Case& c : cases) {
        platform->SimResources->Replace(kManifestTemplateResourceId, {c.manifest.begin(), c.manifest.end()});
        EXPECT_EQ(ReadAllowedExtensionIds(), c.ids) << c.manifest;
    }
    const std::string broken = R"({"allowed_origins": [)";
    platform->SimResources->Replace(kManifestTemplateResourceId, {broken.begin(), broken.end()});
    EXPECT_THROW(ReadAllowedExtensionIds(), std::exception);
}

}  // namespace
}  // namespace qv
