// The simulated process table, waits for the end of a process, and
// children run by a handler of the test.
#include <atomic>
#include <future>
#include <memory>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/codes.h"
#include "platform/sim/sim_platform.h"
#include "support/test_doubles.h"

namespace qv::test {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::Field;

constexpr auto kLong = std::chrono::seconds(10);

class SimProcesses : public ::testing::Test {
protected:
    CRefPtr<IProcessHandle> Open(uint32_t pid) {
        CRefPtr<IProcessHandle> handle;
        EXPECT_EQ(processes->OpenProcess(kProcessSynchronizeQueryInformation, pid, handle), ERROR_SUCCESS);
        return handle;
    }
    CRefPtr<IEvent> NewEvent() {
        CRefPtr<IEvent> event;
        EXPECT_EQ(sim->SimSync->CreateEvent(event), ERROR_SUCCESS);
        return event;
    }
    // What the wait's callback heard (whether the process ended) and on which thread.
    std::future<std::pair<bool, std::thread::id>> WaitFor(const CRefPtr<IProcessHandle>& process,
                                                          const CRefPtr<IEvent>& stop) {
        auto called = std::make_shared<std::promise<std::pair<bool, std::thread::id>>>();
        EXPECT_EQ(processes->WaitForProcessExit(process.get(), stop.get(),
                                                [called](bool ended) {
                                                    called->set_value({ended, std::this_thread::get_id()});
                                                }),
                  ERROR_SUCCESS);
        return called->get_future();
    }

    CRefPtr<CSimPlatform> sim = MakeRef<CSimPlatform>();
    CRefPtr<CSimProcesses> processes = sim->SimProcesses;
};

TEST_F(SimProcesses, UnknownAndEndedProcessesCannotBeOpened) {
    CRefPtr<IProcessHandle> handle;
    EXPECT_EQ(processes->OpenProcess(kProcessSynchronizeQueryInformation, 999, handle), ERROR_INVALID_PARAMETER);
    ASSERT_TRUE(processes->StartProcess(1200, L"C:\\a.exe"));
    ASSERT_TRUE(processes->ExitProcess(1200, 3));
    EXPECT_EQ(processes->OpenProcess(kProcessSynchronizeQueryInformation, 1200, handle), ERROR_INVALID_PARAMETER);
    EXPECT_FALSE(handle);
    EXPECT_FALSE(processes->ExitProcess(1200));
}

TEST_F(SimProcesses, AReusedIdIsAnotherProcessAndOldHandlesKeepDescribingTheOldOne) {
    const FILETIME created = FILETIME::FromTicks(133000000000001234ULL);
    ASSERT_TRUE(processes->StartProcess(1200, L"C:\\Program Files\\VLC\\VLC.exe", 4, created));
    auto old = Open(1200);
    ASSERT_TRUE(old);
    EXPECT_EQ(old->ProcessId(), 1200u);
    FILETIME creation, exit, kernel, user;
    ASSERT_EQ(old->GetProcessTimes(creation, exit, kernel, user), ERROR_SUCCESS);
    EXPECT_EQ(creation, created);
    EXPECT_EQ(exit, FILETIME{});
    uint32_t code = 0;
    ASSERT_EQ(old->GetExitCodeProcess(code), ERROR_SUCCESS);
    EXPECT_EQ(code, 259u) << "still active";

    EXPECT_FALSE(processes->StartProcess(1200, L"C:\\clash.exe"));  // the id is taken while it runs
    ASSERT_TRUE(processes->ExitProcess(1200, 7));
    ASSERT_TRUE(processes->StartProcess(1200, L"C:\\new.exe"));  // a later creation, whatever the clock says
    auto fresh = Open(1200);

    FILETIME freshCreation;
    ASSERT_EQ(old->GetProcessTimes(creation, exit, kernel, user), ERROR_SUCCESS);
    EXPECT_NE(exit, FILETIME{});
    ASSERT_EQ(fresh->GetProcessTimes(freshCreation, exit, kernel, user), ERROR_SUCCESS);
    EXPECT_GT(freshCreation.Ticks(), creation.Ticks());
    EXPECT_EQ(processes->CreationTime(1200), freshCreation);

    std::wstring path;
    old->GetModuleFileNameEx(path);
    EXPECT_EQ(path, L"C:\\Program Files\\VLC\\VLC.exe") << "as written";
    fresh->GetModuleFileNameEx(path);
    EXPECT_EQ(path, L"C:\\new.exe");
    old->GetExitCodeProcess(code);
    EXPECT_EQ(code, 7u);
}

TEST_F(SimProcesses, TheSnapshotListsRunningProcessesWithParentsAndFileNames) {
    ASSERT_TRUE(processes->StartProcess(100, L"C:\\Program Files\\Google\\Chrome\\chrome.exe"));
    ASSERT_TRUE(processes->StartProcess(104, L"C:\\Program Files\\Google\\Chrome\\chrome.exe", 100));
    ASSERT_TRUE(processes->StartProcess(108, L"C:\\Windows\\notepad.exe", 100));
    ASSERT_TRUE(processes->ExitProcess(108));

    std::vector<ProcessEntry> entries;
    ASSERT_EQ(processes->CreateToolhelp32Snapshot(entries), ERROR_SUCCESS);
    auto entry = [](uint32_t pid, uint32_t parent, const wchar_t* name) {
        return AllOf(Field(&ProcessEntry::th32ProcessID, pid), Field(&ProcessEntry::th32ParentProcessID, parent),
                     Field(&ProcessEntry::szExeFile, std::wstring(name)));
    };
    EXPECT_THAT(entries, ElementsAre(entry(100, 0, L"chrome.exe"), entry(104, 100, L"chrome.exe")));
    processes->FailOnce(L"CreateToolhelp32Snapshot", ERROR_INVALID_FUNCTION);
    EXPECT_EQ(processes->CreateToolhelp32Snapshot(entries), ERROR_INVALID_FUNCTION);
    EXPECT_TRUE(entries.empty());
}

TEST_F(SimProcesses, AWaitCallsBackOnItsOwnThreadWhenTheProcessEndsOrHasEndedOrTheStopEventIsSet) {
    for (uint32_t pid : {1200u, 1300u, 1400u}) ASSERT_TRUE(processes->StartProcess(pid, L"C:\\a.exe"));
    auto endedEarlier = Open(1300);
    ASSERT_TRUE(processes->ExitProcess(1300));
    auto stop = NewEvent();
    auto byExit = WaitFor(Open(1200), NewEvent());
    auto byEarlierExit = WaitFor(endedEarlier, NewEvent());
    auto byStop = WaitFor(Open(1400), stop);

    ASSERT_EQ(byEarlierExit.wait_for(kLong), std::future_status::ready);
    EXPECT_TRUE(byEarlierExit.get().first);
    EXPECT_EQ(byExit.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    ASSERT_TRUE(processes->ExitProcess(1200));
    stop->SetEvent();
    ASSERT_EQ(byExit.wait_for(kLong), std::future_status::ready);
    ASSERT_EQ(byStop.wait_for(kLong), std::future_status::ready);
    auto [ended, thread] = byExit.get();
    EXPECT_TRUE(ended);
    EXPECT_NE(thread, std::this_thread::get_id());
    EXPECT_FALSE(byStop.get().first);
    EXPECT_TRUE(processes->IsRunning(1400));
}

TEST_F(SimProcesses, AWaitThatCannotStartNeverCallsBack) {
    ASSERT_TRUE(processes->StartProcess(1200, L"C:\\a.exe"));
    auto handle = Open(1200);
    std::atomic<int> calls{0};
    auto done = [&](bool) { ++calls; };
    EXPECT_EQ(processes->WaitForProcessExit(nullptr, NewEvent().get(), done), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(processes->WaitForProcessExit(handle.get(), nullptr, done), ERROR_INVALID_HANDLE);
    EXPECT_EQ(processes->WaitForProcessExit(handle.get(), NewEvent().get(), nullptr), ERROR_INVALID_PARAMETER);
    processes->FailOnce(L"WaitForProcessExit", 8);
    EXPECT_EQ(processes->WaitForProcessExit(handle.get(), NewEvent().get(), done), 8u);
    ASSERT_TRUE(processes->ExitProcess(1200));
    EXPECT_EQ(processes->RunningThreadCount(), 0u);
    EXPECT_EQ(calls.load(), 0);
}

TEST_F(SimProcesses, AMachineGoingAwayEndsPendingWaitsWithoutCallingThemAndReleasesWhatTheyHeld) {
    ASSERT_TRUE(processes->StartProcess(1200, L"C:\\a.exe"));
    struct Held : CAddReleaseRef {
        explicit Held(std::atomic<bool>& gone) : m_gone(gone) {}
        ~Held() override { m_gone = true; }
        std::atomic<bool>& m_gone;
    };
    std::atomic<bool> gone{false}, called{false};
    auto held = MakeRef<Held>(gone);
    ASSERT_EQ(
        processes->WaitForProcessExit(Open(1200).get(), NewEvent().get(), [held, &called](bool) { called = true; }),
        ERROR_SUCCESS);
    held.reset();
    EXPECT_FALSE(gone.load());
    processes.reset();
    sim.reset();
    EXPECT_TRUE(gone.load());
    EXPECT_FALSE(called.load());
}

TEST_F(SimProcesses, AChildRunsTheHandlerWhileItShowsAsRunningThenEndsWithItsCode) {
    Gate gate;
    std::wstring seenApplication, seenCommandLine;
    uint32_t childPid = 0;
    processes->SetCreateProcessHandler([&](const std::wstring& application, const std::wstring& commandLine) {
        seenApplication = application;
        seenCommandLine = commandLine;
        gate.Arrive();
        return 0u;
    });
    CRefPtr<IProcessHandle> child;
    ASSERT_EQ(processes->CreateProcess(L"C:\\Program Files\\Q\\PELTAK64.exe",
                                       L"\"C:\\Program Files\\Q\\PELTAK64.exe\" x 1 \"t\"", kCreateNewConsole, child),
              ERROR_SUCCESS);
    ASSERT_TRUE(gate.WaitForArrival());
    childPid = child->ProcessId();
    EXPECT_TRUE(processes->IsRunning(childPid));
    uint32_t code = 0;
    ASSERT_EQ(child->GetExitCodeProcess(code), ERROR_SUCCESS);
    EXPECT_EQ(code, 259u);

    std::vector<ProcessEntry> entries;
    ASSERT_EQ(processes->CreateToolhelp32Snapshot(entries), ERROR_SUCCESS);
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].th32ParentProcessID, sim->SimSystem->GetCurrentProcessId());
    EXPECT_EQ(entries[0].szExeFile, L"PELTAK64.exe");

    gate.Open();
    std::vector<IWaitable*> objects{child.get()};
    EXPECT_EQ(sim->SimSync->WaitForMultipleObjects(objects, kWaitInfinite), kWaitObject0);
    ASSERT_EQ(child->GetExitCodeProcess(code), ERROR_SUCCESS);
    EXPECT_EQ(code, 0u);
    EXPECT_FALSE(processes->IsRunning(childPid));
    EXPECT_EQ(seenApplication, L"C:\\Program Files\\Q\\PELTAK64.exe");
    EXPECT_EQ(seenCommandLine, L"\"C:\\Program Files\\Q\\PELTAK64.exe\" x 1 \"t\"");
}

TEST_F(SimProcesses, WithoutAHandlerOrWithAFailureNoChildStarts) {
    CRefPtr<IProcessHandle> child;
    EXPECT_EQ(processes->CreateProcess(L"C:\\x.exe", L"x", 0, child), ERROR_FILE_NOT_FOUND);
    EXPECT_FALSE(child);
    std::atomic<int> runs{0};
    processes->SetCreateProcessHandler([&](const std::wstring&, const std::wstring&) {
        ++runs;
        return 2u;
    });
    processes->FailOnce(L"CreateProcess", ERROR_ACCESS_DENIED, L"C:\\x.exe");
    EXPECT_EQ(processes->CreateProcess(L"C:\\x.exe", L"x", 0, child), ERROR_ACCESS_DENIED);
    ASSERT_EQ(processes->CreateProcess(L"C:\\x.exe", L"x", 0, child), ERROR_SUCCESS);
    std::vector<IWaitable*> objects{child.get()};
    EXPECT_EQ(sim->SimSync->WaitForMultipleObjects(objects, kWaitInfinite), kWaitObject0);
    uint32_t code = 0;
    child->GetExitCodeProcess(code);
    EXPECT_EQ(code, 2u);
    EXPECT_EQ(runs.load(), 1);
}

}  // namespace
}  // namespace qv::test
