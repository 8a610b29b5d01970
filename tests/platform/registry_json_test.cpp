// One registry root as the JSON text of the Linux registry's files: the
// short forms, the exact form for everything else, and text that is not a
// registry file.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "core/text.h"
#include "platform/registry_json.h"

namespace qv {
namespace {

constexpr auto LM = RegistryRoot::LocalMachine;

std::vector<uint8_t> Sz(const std::wstring& text) {
    std::vector<uint8_t> bytes = WideToUtf16Le(text);
    bytes.insert(bytes.end(), {0, 0});
    return bytes;
}

void Put(CRegistryStore& store, const std::wstring& key, const std::wstring& name, uint32_t type,
         std::vector<uint8_t> data) {
    store.PutKey(LM, key).values[ToLowerWide(name)] = RegistryValue{name, type, std::move(data)};
}

const RegistryValue* Find(const CRegistryStore& store, const std::wstring& key, const std::wstring& name) {
    auto k = store.Keys(LM).find(CRegistryStore::CanonicalPath(key));
    if (k == store.Keys(LM).end()) return nullptr;
    auto v = k->second.values.find(ToLowerWide(name));
    return v == k->second.values.end() ? nullptr : &v->second;
}

TEST(RegistryJsonTest, ValuesTakeTheShortFormOnlyWhenItHoldsThemExactly) {
    CRegistryStore store;
    Put(store, L"Software\\Quorvane\\Logging\\APO", L"MIRADO", kRegDword, {1, 0, 0, 0});
    Put(store, L"Software\\Hosts\\com.quorvane", L"", kRegSz, Sz(L"C:\\Users\\\u00e9\\x.json"));
    Put(store, L"Software\\Odd", L"Short dword", kRegDword, {1, 2});
    Put(store, L"Software\\Odd", L"No terminator", kRegSz, WideToUtf16Le(L"ab"));
    Put(store, L"Software\\Odd", L"Inner null", kRegSz, Sz(std::wstring(L"a\0b", 3)));
    Put(store, L"Software\\Odd", L"Lone surrogate", kRegSz, {0x00, 0xD8, 0, 0});
    Put(store, L"Software\\Odd", L"Binary", 3, {0x00, 0xff, 0x10});

    nlohmann::json written = nlohmann::json::parse(WriteRegistryRootJson(store, LM));
    EXPECT_EQ(written["Software\\Quorvane\\Logging\\APO"]["MIRADO"], 1);
    EXPECT_EQ(written["Software\\Hosts\\com.quorvane"][""], "C:\\Users\\\xc3\xa9\\x.json");
    const auto& odd = written["Software\\Odd"];
    EXPECT_EQ(odd["Short dword"], (nlohmann::json{{"type", 4}, {"hex", "0102"}}));
    EXPECT_EQ(odd["No terminator"], (nlohmann::json{{"type", 1}, {"hex", "61006200"}}));
    EXPECT_EQ(odd["Inner null"]["type"], 1);
    EXPECT_EQ(odd["Lone surrogate"]["hex"], "00d80000");
    EXPECT_EQ(odd["Binary"], (nlohmann::json{{"type", 3}, {"hex", "00ff10"}}));

    // And every value comes back byte for byte.
    CRegistryStore back;
    std::string problem;
    ASSERT_TRUE(ReadRegistryRootJson(WriteRegistryRootJson(store, LM), back, LM, problem)) << problem;
    for (const auto& [path, key] : store.Keys(LM)) {
        for (const auto& [lower, value] : key.values) {
            const RegistryValue* read = Find(back, key.path, value.name);
            ASSERT_TRUE(read) << WideToUtf8(key.path) << " " << WideToUtf8(value.name);
            EXPECT_EQ(read->name, value.name);
            EXPECT_EQ(read->type, value.type);
            EXPECT_EQ(read->data, value.data) << WideToUtf8(value.name);
        }
    }
}

TEST(RegistryJsonTest, ParentsAreImpliedAndEmptyLeavesKept) {
    CRegistryStore store;
    Put(store, L"A\\B\\C", L"v", kRegDword, {5, 0, 0, 0});
    store.PutKey(LM, L"Empty\\Leaf");
    nlohmann::json written = nlohmann::json::parse(WriteRegistryRootJson(store, LM));
    EXPECT_EQ(written, (nlohmann::json{{"A\\B\\C", {{"v", 5}}}, {"Empty\\Leaf", nlohmann::json::object()}}));

    CRegistryStore back;
    std::string problem;
    ASSERT_TRUE(ReadRegistryRootJson(written.dump(), back, LM, problem));
    RegistryKeyLocation location;
    RegistryRootSet created;
    EXPECT_EQ(back.OpenKey(LM, L"a\\b", true, false, location, created), 0u);
    EXPECT_EQ(back.OpenKey(LM, L"Empty\\Leaf", true, false, location, created), 0u);
}

TEST(RegistryJsonTest, HandWrittenFormsAndSpellingsAreAccepted) {
    CRegistryStore store;
    std::string problem;
    ASSERT_TRUE(ReadRegistryRootJson(R"({
        "software\\quorvane\\logging\\apo": {"mirado": -1, "Text": "x"},
        "SOFTWARE\\Quorvane\\Logging\\APO": {"Hex": {"hex": "0A0b", "type": 3}},
        "Software\\Max": {"d": 4294967295}
    })",
                                     store, LM, problem))
        << problem;
    const RegistryValue* mirado = Find(store, L"Software\\Quorvane\\Logging\\APO", L"MIRADO");
    ASSERT_TRUE(mirado);
    EXPECT_EQ(mirado->data, (std::vector<uint8_t>{0xff, 0xff, 0xff, 0xff}));
    ASSERT_TRUE(Find(store, L"software\\quorvane\\logging\\apo", L"hex"));
    EXPECT_EQ(Find(store, L"software\\quorvane\\logging\\apo", L"hex")->data, (std::vector<uint8_t>{0x0a, 0x0b}));
    EXPECT_EQ(Find(store, L"Software\\Quorvane\\Logging\\APO", L"Text")->data, Sz(L"x"));
    EXPECT_EQ(Find(store, L"Software\\Max", L"d")->data, (std::vector<uint8_t>{0xff, 0xff, 0xff, 0xff}));
}

TEST(RegistryJsonTest, AnythingElseIsMalformedAndLeavesTheRootEmpty) {
    const char* cases[] = {
        "",
        "{",
        "[]",
        "\"text\"",
        R"({"Key": 1})",
        R"({"Key": []})",
        R"({"Key": {"v": true}})",
        R"({"Key": {"v": null}})",
        R"({"Key": {"v": 1.5}})",
        R"({"Key": {"v": 4294967296}})",
        R"({"Key": {"v": -2147483649}})",
        R"({"Key": {"v": [1]}})",
        R"({"Key": {"v": {"type": 3}}})",
        R"({"Key": {"v": {"type": 3, "hex": "abc"}}})",
        R"({"Key": {"v": {"type": 3, "hex": "zz"}}})",
        R"({"Key": {"v": {"type": -1, "hex": ""}}})",
        R"({"Key": {"v": {"type": 3, "hex": "", "extra": 0}}})",
        R"({"Key": {"v": {"type": 3, "hex": {"deeper": {}}}}})",
        "{\"Key\": {\"v\": \"\xff\xfe\"}}",
    };
    for (const char* text : cases) {
        CRegistryStore store;
        store.PutKey(LM, L"Before");
        std::string problem;
        EXPECT_FALSE(ReadRegistryRootJson(text, store, LM, problem)) << text;
        EXPECT_FALSE(problem.empty()) << text;
        EXPECT_EQ(store.Keys(LM).size(), 1u) << text;  // the root alone
    }
}

TEST(RegistryJsonTest, DeepNestingIsRefusedWithoutExhaustingTheStack) {
    std::string text = "{\"Key\": {\"v\": " + std::string(200000, '[') + std::string(200000, ']') + "}}";
    CRegistryStore store;
    std::string problem;
    EXPECT_FALSE(ReadRegistryRootJson(text, store, LM, problem));
}

}  // namespace
}  // namespace qv
