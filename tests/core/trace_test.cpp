// The trace lines: prefix, scopes and their indentation, the cut at 4096
// characters, and silence when tracing is off.
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "core/trace.h"
#include "platform/sim/sim_debug_output.h"
#include "platform/thread_id.h"

namespace qv {
namespace {

class TraceTest : public testing::Test {
protected:
    void SetUp() override {
        record = target->GetTrace();
        record->debugOutput = output;
        DBG_TRACE_SetName(record);
        record->Enabled.store(true);
    }

    std::wstring Prefix(uint32_t threadId) const {
        return L"MIRADO{" + std::to_wstring(record->instance) + L"}[" + std::to_wstring(threadId) + L"]: ";
    }
    std::wstring Prefix() const { return Prefix(CurrentThreadId()); }

    std::vector<std::wstring> Lines() const { return output->Lines(); }

    CRefPtr<CSimDebugOutput> output = MakeRef<CSimDebugOutput>();
    CRefPtr<ITraceFuncCallTarget> target = MakeRef<CTraceFuncCallTarget>();
    DBG_TRACE* record = nullptr;
};

TEST_F(TraceTest, LineIsNameInstanceThreadIdAndMessageAndTheShortPrefixLeavesOutTheThread) {
    DBG_TRACE_Print(record, L"Value = %i, name = %s.\n", 5, std::wstring(L"x"));
    // Text without arguments is written as it stands, per cent signs and all.
    DBG_TRACE_Print(record, L"100% sure: %s %i %\n");
    uint32_t otherId = 0;
    std::thread([&] {
        otherId = CurrentThreadId();
        DBG_TRACE_Print(record, L"from elsewhere\n");
    }).join();
    ASSERT_NE(otherId, CurrentThreadId());
    record->NoThreadId = 1;
    DBG_TRACE_Print(record, L"text\n");

    EXPECT_EQ(Lines(),
              (std::vector<std::wstring>{Prefix() + L"Value = 5, name = x.\n", Prefix() + L"100% sure: %s %i %\n",
                                         Prefix(otherId) + L"from elsewhere\n",
                                         L"MIRADO{" + std::to_wstring(record->instance) + L"}: text\n"}));
}

TEST(TraceInstance, NamingGivesMiradoAndTheNextInstanceNumberOnceCountingFromTwo) {
    // The counter is process-wide, so the rule is checked in a fresh process
    // of this program that names two records and exits with their numbers.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            auto a = MakeRef<CTraceFuncCallTarget>();
            auto b = MakeRef<CTraceFuncCallTarget>();
            DBG_TRACE_SetName(a->GetTrace());
            DBG_TRACE_SetName(b->GetTrace());
            DBG_TRACE_SetName(a->GetTrace());  // a record that has its number keeps it
            if (a->GetTrace()->name != L"MIRADO") std::_Exit(1);
            std::_Exit(static_cast<int>(a->GetTrace()->instance * 10 + b->GetTrace()->instance));
        },
        testing::ExitedWithCode(23), "");
}

TEST_F(TraceTest, DepthBeyond511StopsAt1023AndExitLinesThenDoNotMatch) {
    constexpr int kDepth = 520;
    std::vector<std::unique_ptr<CTraceFuncCall>> scopes;
    for (int i = 0; i < kDepth; ++i) scopes.push_back(std::make_unique<CTraceFuncCall>(record, L"Deep"));
    EXPECT_EQ(record->indent.load(), 1023);
    while (!scopes.empty()) scopes.pop_back();
    EXPECT_EQ(record->indent.load(), 0);

    const std::vector<std::wstring> lines = Lines();
    ASSERT_EQ(lines.size(), 2u * kDepth);
    const std::size_t prefix = Prefix().size();
    auto indentOf = [&](const std::wstring& line) {
        return static_cast<int>(line.find_first_not_of(L' ', prefix) - prefix);
    };
    for (int k = 0; k < kDepth; ++k) {
        // Scope k opens at 2k, capped at 1023; closing it (the (kDepth-k)-th
        // close) brings 1023 down by 2 each time, floored at 0.
        const std::wstring& entry = lines[k];
        const std::wstring& exit = lines[2 * kDepth - 1 - k];
        ASSERT_EQ(entry.substr(prefix + indentOf(entry)), L"{ Deep()\n");
        ASSERT_EQ(exit.substr(prefix + indentOf(exit)), L"} Deep()\n");
        EXPECT_EQ(indentOf(entry), std::min(2 * k, 1023)) << "entry of scope " << k;
        EXPECT_EQ(indentOf(exit), std::max(0, 1023 - 2 * (kDepth - k))) << "exit of scope " << k;
    }
}

TEST_F(TraceTest, LineThatWouldReach4096CharactersIsCutAndEndsInEllipsis) {
    const std::size_t room = DBG_TRACE::kLineChars - 1 - Prefix().size();
    DBG_TRACE_Print(record, std::wstring(room, L'a').c_str());
    DBG_TRACE_Print(record, std::wstring(room + 1, L'b').c_str());
    DBG_TRACE_Print(record, L"%s", std::wstring(5000, L'c'));

    const std::vector<std::wstring> lines = Lines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], Prefix() + std::wstring(room, L'a')) << "4095 characters fit whole";
    for (std::size_t i : {1u, 2u}) {
        EXPECT_EQ(lines[i].size(), 4095u);
        EXPECT_EQ(lines[i].substr(4091), L" ...");
        EXPECT_EQ(lines[i].compare(0, Prefix().size(), Prefix()), 0);
    }
}

TEST_F(TraceTest, NothingIsWrittenWhileTracingIsOffOrWithoutARecord) {
    record->Enabled.store(false);
    {
        CTraceFuncCall scope(record, L"Silent", L"x");
        CTraceFuncCall inner(record, L"Inner");
    }
    EXPECT_EQ(record->indent.load(), 0) << "a silent scope must not move the indentation";

    DBG_TRACE_Print(nullptr, L"nothing %i\n", 1);
    DBG_TRACE_Print(nullptr, L"nothing\n");
    DBG_TRACE_WriteLine(nullptr, L"nothing\n");
    DBG_TRACE_SetName(nullptr);
    { CTraceFuncCall scope(nullptr, L"Nothing", L"x"); }
    EXPECT_FALSE(TraceEnabled(nullptr));
    EXPECT_EQ(TraceRecordOf(nullptr), nullptr);
    EXPECT_TRUE(Lines().empty());
}

}  // namespace
}  // namespace qv
