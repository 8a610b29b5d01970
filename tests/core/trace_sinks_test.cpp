// Where the trace goes and when it is on: the log pipes of an outside viewer,
// served for real on their own names through the machine's pipes, and the
// registry switch, with the simulated machine's registry and product type.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/format.h"
#include "core/text.h"
#include "core/trace.h"
#include "platform/codes.h"
#include "platform/thread_id.h"
#include "support/main_thread_harness.h"
#include "support/pipe_test_server.h"

namespace qv {
namespace {

using test::PipeTestServer;
constexpr auto LM = RegistryRoot::LocalMachine;
const std::wstring kSwitchKey = L"Software\\Quorvane\\Logging\\APO";

std::wstring LogPipeName(int slot) {
    return FormatW(L"\\\\.\\pipe\\{68327F92-4C65-4484-860D-DA80B61FCDBA}.Quorvane_Log_%i", slot);
}

class TraceSinksTest : public ::testing::Test {
protected:
    void SetUp() override {
        pipes = harness.platform->Pipes();
        // A viewer that some other program runs would be found first.
        for (int slot = 0; slot <= 9; ++slot) {
            if (pipes->WaitNamedPipe(LogPipeName(slot), 0) != ERROR_FILE_NOT_FOUND)
                GTEST_SKIP() << "log pipe " << slot << " is served by another program just now";
        }
    }

    test::MainThreadHarness harness{false};
    CRefPtr<IPipes> pipes;
    CRefPtr<ITraceFuncCallTarget> target = MakeRef<CTraceFuncCallTarget>();
    DBG_TRACE* record = target->GetTrace();
};

TEST_F(TraceSinksTest, LogPipeOnSlotThreeAloneIsFoundAndLinesArriveAsUtf16WithTheirZero) {
    PipeTestServer slot3(pipes, LogPipeName(3));
    PipeTestServer slot5(pipes, LogPipeName(5));
    ASSERT_EQ(slot3.CreateError(), 0u);
    ASSERT_EQ(slot5.CreateError(), 0u);

    ASSERT_TRUE(DBG_TRACE_Start(record));
    ASSERT_TRUE(record->logPipe);
    DBG_TRACE_SetName(record);
    record->Enabled.store(true);
    const std::wstring smile = Utf8ToWide("\xF0\x9F\x98\x80");  // U+1F600
    DBG_TRACE_Print(record, L"hello %s\n", smile);
    { CTraceFuncCall scope(record, L"CWire::Scope", L"1"); }

    ASSERT_TRUE(slot3.WaitForMessages(3));
    const std::wstring prefix = FormatW(L"MIRADO{%i}[%i]: ", record->instance, CurrentThreadId());
    const std::vector<std::wstring> expected = {prefix + L"hello " + smile + L"\n", prefix + L"{ CWire::Scope(1)\n",
                                                prefix + L"} CWire::Scope(1)\n"};
    const auto messages = slot3.AllMessages();
    ASSERT_EQ(messages.size(), expected.size());
    for (std::size_t i = 0; i < messages.size(); ++i) {
        const auto& bytes = messages[i];
        ASSERT_GE(bytes.size(), 2u);
        EXPECT_EQ(bytes.size() % 2, 0u);
        EXPECT_EQ(bytes[bytes.size() - 2], 0);
        EXPECT_EQ(bytes[bytes.size() - 1], 0);
        EXPECT_EQ(Utf16LeToWide(bytes.data(), bytes.size() - 2), expected[i]);
    }
    // The search stops at the first pipe that opens.
    EXPECT_TRUE(slot5.AllMessages().empty());
    EXPECT_TRUE(slot5.Connections().empty());
    record->logPipe = nullptr;
}

TEST_F(TraceSinksTest, WithoutAPipeOnlyADwordSwitchOfOneTurnsTracingOn) {
    auto registry = harness.platform->SimRegistry;
    EXPECT_FALSE(DBG_TRACE_Start(record));
    registry->SetDword(LM, kSwitchKey, L"MIRADO", 1);
    EXPECT_TRUE(DBG_TRACE_Start(record));
    EXPECT_FALSE(record->logPipe);
    // Product types whose machines skip the registry.
    for (uint32_t productType : {189u, 0xABCDABCDu}) {
        harness.platform->SimSystem->ProductType = productType;
        EXPECT_FALSE(DBG_TRACE_Start(record)) << productType;
    }
    harness.platform->SimSystem->ProductType = 48;
    EXPECT_TRUE(DBG_TRACE_Start(record));

    registry->SetDword(LM, kSwitchKey, L"MIRADO", 0);
    EXPECT_FALSE(DBG_TRACE_Start(record));
    registry->SetString(LM, kSwitchKey, L"MIRADO", L"1");
    EXPECT_FALSE(DBG_TRACE_Start(record));
    registry->SetValue(LM, kSwitchKey, L"MIRADO", kRegDword, {1, 0});
    EXPECT_FALSE(DBG_TRACE_Start(record));
}

TEST_F(TraceSinksTest, SwitchKeyThatIsALinkLeavesTracingOff) {
    auto registry = harness.platform->SimRegistry;
    registry->SetDword(LM, L"Software\\Elsewhere", L"MIRADO", 1);
    registry->MakeLink(LM, kSwitchKey, LM, L"Software\\Elsewhere");
    EXPECT_FALSE(DBG_TRACE_Start(record));
}

TEST_F(TraceSinksTest, FailingRegistryLeavesTracingAsThePipesHaveIt) {
    auto registry = harness.platform->SimRegistry;
    registry->SetDword(LM, kSwitchKey, L"MIRADO", 1);
    registry->FailOpen(LM, kSwitchKey, ERROR_ACCESS_DENIED);
    EXPECT_FALSE(DBG_TRACE_Start(record));
    registry->ClearFailures();
    registry->FailQuery(LM, kSwitchKey, L"MIRADO", ERROR_MORE_DATA);
    EXPECT_FALSE(DBG_TRACE_Start(record));
    registry->ClearFailures();

    // With a pipe found, the registry cannot take tracing away.
    PipeTestServer slot0(pipes, LogPipeName(0));
    ASSERT_EQ(slot0.CreateError(), 0u);
    registry->SetDword(LM, kSwitchKey, L"MIRADO", 0);
    EXPECT_TRUE(DBG_TRACE_Start(record));
    EXPECT_TRUE(record->logPipe);
    record->logPipe = nullptr;
}

}  // namespace
}  // namespace qv
