// The Windows process port with real processes: the child program beside the
// test program, started through the port, looked at the way the model looks
// at the processes behind audio sessions, and waited for.
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "core/text.h"
#include "platform/win32/windows_api.h"
#include "support/wait_until.h"
#include "win32_ports_support.h"

namespace qv {
namespace {

using test::ForeignEvent;
using test::StartChild;
using test::Win32Platform;

// Ends a child that the test no longer needs, with a code of its choosing.
void Terminate(uint32_t processId, uint32_t code) {
    HANDLE process = ::OpenProcess(PROCESS_TERMINATE, FALSE, processId);
    ASSERT_TRUE(process);
    EXPECT_TRUE(::TerminateProcess(process, code));
    ::CloseHandle(process);
}

// What a wait's callback saw, written on the wait's thread.
struct ExitReport {
    std::atomic<int> calls{0};
    std::atomic<bool> ended{false};
    std::atomic<DWORD> thread{0};
};

class Win32ProcessesTest : public ::testing::Test {
protected:
    std::function<void(bool)> ReportTo(const std::shared_ptr<ExitReport>& report) {
        return [report](bool ended) {
            report->ended = ended;
            report->thread = ::GetCurrentThreadId();
            ++report->calls;
        };
    }

    CRefPtr<IProcesses> processes = Win32Platform()->Processes();
    CRefPtr<ISync> sync = Win32Platform()->Sync();
};

TEST_F(Win32ProcessesTest, AChildOpenedAsTheModelOpensItShowsItsImageParentTimesAndItsWaitsEnd) {
    const FILETIME before = Win32Platform()->System()->GetSystemTimeAsFileTime();
    CRefPtr<IProcessHandle> child = StartChild(L"sleep 60000 0", kCreateNewConsole);
    ASSERT_TRUE(child);

    // The model asks for no more than this, which is not enough for the
    // module list under Wine: the image path must come all the same.
    CRefPtr<IProcessHandle> opened;
    ASSERT_EQ(processes->OpenProcess(kProcessSynchronizeQueryInformation, child->ProcessId(), opened), 0u);
    EXPECT_EQ(opened->ProcessId(), child->ProcessId());
    std::wstring image;
    EXPECT_EQ(opened->GetModuleFileNameEx(image), 0u);
    EXPECT_EQ(ToLowerWide(image), ToLowerWide(test::ChildProgramPath()));

    FILETIME creation, exit, kernel, user;
    ASSERT_EQ(opened->GetProcessTimes(creation, exit, kernel, user), 0u);
    // The clocks may differ in grain: a second of slack either way.
    EXPECT_GE(creation.Ticks() + 10'000'000, before.Ticks());
    EXPECT_LE(creation.Ticks(), Win32Platform()->System()->GetSystemTimeAsFileTime().Ticks() + 10'000'000);

    std::vector<ProcessEntry> snapshot;
    ASSERT_EQ(processes->CreateToolhelp32Snapshot(snapshot), 0u);
    int rows = 0;
    for (const ProcessEntry& entry : snapshot) {
        if (entry.th32ProcessID != child->ProcessId()) continue;
        ++rows;
        EXPECT_EQ(entry.th32ParentProcessID, ::GetCurrentProcessId());
        EXPECT_EQ(ToLowerWide(entry.szExeFile), L"qv_win32_test_child.exe");
    }
    EXPECT_EQ(rows, 1);

    uint32_t code = 0;
    ASSERT_EQ(opened->GetExitCodeProcess(code), 0u);
    EXPECT_EQ(code, 259u);  // STILL_ACTIVE

    // Two waits: one stopped while the child runs, one that learns of its
    // end on a thread of its own.
    CRefPtr<IEvent> stopFirst, stopSecond;
    ASSERT_EQ(sync->CreateEvent(stopFirst), 0u);
    ASSERT_EQ(sync->CreateEvent(stopSecond), 0u);
    auto stopped = std::make_shared<ExitReport>();
    auto ended = std::make_shared<ExitReport>();
    ASSERT_EQ(processes->WaitForProcessExit(opened.get(), stopFirst.get(), ReportTo(stopped)), 0u);
    ASSERT_EQ(processes->WaitForProcessExit(opened.get(), stopSecond.get(), ReportTo(ended)), 0u);
    stopFirst->SetEvent();
    ASSERT_TRUE(test::WaitUntil([&] { return stopped->calls == 1; }));
    EXPECT_FALSE(stopped->ended);
    // The thread waits on handles of its own: the caller's may go at once.
    stopSecond = nullptr;
    Terminate(child->ProcessId(), 7);
    ASSERT_TRUE(test::WaitUntil([&] { return ended->calls == 1; }));
    EXPECT_TRUE(ended->ended);
    EXPECT_NE(ended->thread.load(), ::GetCurrentThreadId());
    EXPECT_EQ(stopped->calls, 1) << "a stopped wait calls back once";
    ASSERT_EQ(opened->GetExitCodeProcess(code), 0u);
    EXPECT_EQ(code, 7u);
}

TEST_F(Win32ProcessesTest, BadRequestsFailWithTheSystemsCodesAndHandOutNothing) {
    CRefPtr<IProcessHandle> process;
    EXPECT_EQ(processes->OpenProcess(kProcessSynchronizeQueryInformation, 0xFFFFFFF0u, process),
              static_cast<Win32Error>(ERROR_INVALID_PARAMETER));
    EXPECT_FALSE(process);
    EXPECT_EQ(processes->CreateProcess(L"C:\\no\\such\\program.exe", L"program.exe", 0, process),
              static_cast<Win32Error>(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(processes->CreateProcess(test::ChildProgramPath() + L".missing", L"", 0, process),
              static_cast<Win32Error>(ERROR_FILE_NOT_FOUND));
    EXPECT_FALSE(process);

    ASSERT_EQ(processes->OpenProcess(kProcessSynchronizeQueryInformation, ::GetCurrentProcessId(), process), 0u);
    auto report = std::make_shared<ExitReport>();
    auto foreign = MakeRef<ForeignEvent>();
    EXPECT_EQ(processes->WaitForProcessExit(process.get(), foreign.get(), ReportTo(report)),
              static_cast<Win32Error>(ERROR_INVALID_HANDLE));
    EXPECT_EQ(processes->WaitForProcessExit(nullptr, foreign.get(), ReportTo(report)),
              static_cast<Win32Error>(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(report->calls, 0);
}

}  // namespace
}  // namespace qv
