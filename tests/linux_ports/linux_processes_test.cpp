// The process port on Linux with real processes: identity through pidfds
// and start times, the snapshot, children and their exit codes, and the
// wait for an exit with its stop event.
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <future>
#include <memory>
#include <thread>

#include <gtest/gtest.h>

#include "core/text.h"
#include "platform/codes.h"
#include "platform/linux/linux_command_line.h"
#include "platform/linux/linux_proc.h"
#include "platform/linux/linux_processes.h"
#include "platform/linux/linux_sync.h"
#include "support/callback_recorders.h"
#include "test_child.h"

namespace qv {
namespace {

using test::TestChild;

FILETIME CreationOf(IProcessHandle& process) {
    FILETIME creation, exit, kernel, user;
    EXPECT_EQ(process.GetProcessTimes(creation, exit, kernel, user), 0u);
    return creation;
}

// The end of the process, waited for beside an event that is never set: a
// process handle is one more object of the wait, here the second.
constexpr uint32_t kEnded = kWaitObject0 + 1;
uint32_t WaitForEnd(ISync& sync, IProcessHandle* process) {
    CRefPtr<IEvent> never;
    EXPECT_EQ(sync.CreateEvent(never), 0u);
    return sync.WaitForMultipleObjects({never.get(), process}, 10000);
}

TEST(CommandLineTest, SplitsAsWindowsDoes) {
    using Args = std::vector<std::wstring>;
    EXPECT_EQ(SplitCommandLine(L"\"C:\\Program Files\\p.exe\" {B5A1} 1234 \"C:\\t\\a b.tmp\""),
              (Args{L"C:\\Program Files\\p.exe", L"{B5A1}", L"1234", L"C:\\t\\a b.tmp"}));
    EXPECT_EQ(SplitCommandLine(L"a\\\\\\b d\"e f\"g h"), (Args{L"a\\\\\\b", L"de fg", L"h"}))
        << "backslashes not before a quote stand";
    EXPECT_EQ(SplitCommandLine(L"p a\\\\\\\"b c"), (Args{L"p", L"a\\\"b", L"c"})) << "2n+1 backslashes: a quote";
    EXPECT_EQ(SplitCommandLine(L"p a\\\\\\\\\"b c\" d"), (Args{L"p", L"a\\\\b c", L"d"})) << "2n: quoting";
    EXPECT_EQ(SplitCommandLine(L"p a\"b\"\" c d"), (Args{L"p", L"ab\"", L"c", L"d"})) << "\"\" in quotes";
    EXPECT_EQ(SplitCommandLine(L"p \"\"\"\"\"\" x"), (Args{L"p", L"\"\"", L"x"})) << "quotes count in threes";
    EXPECT_EQ(SplitCommandLine(L"p \"\" \t x  "), (Args{L"p", L"", L"x"})) << "an empty argument";
    EXPECT_EQ(SplitCommandLine(L"\"a\\\"b c"), (Args{L"a\\", L"b", L"c"})) << "no escapes in the program";
    EXPECT_TRUE(SplitCommandLine(L"  ").empty());
}

TEST(ProcStatTest, CommandNameMayHoldParenthesesAndBlanks) {
    ProcStat stat;
    ASSERT_TRUE(ParseProcStat("42 (a) (b c) S 7 42 42 0 -1 4194304 1 0 0 0 15 3 0 0 20 0 1 0 987654 1 2 3\n", stat));
    EXPECT_EQ(stat.comm, "a) (b c");
    EXPECT_EQ(stat.parentPid, 7u);
    EXPECT_EQ(stat.userTicks, 15u);
    EXPECT_EQ(stat.kernelTicks, 3u);
    EXPECT_EQ(stat.startTicks, 987654u);
    EXPECT_FALSE(ParseProcStat("42 (x) S 7", stat)) << "cut short";
    EXPECT_FALSE(ParseProcStat("42 x S 7 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1", stat)) << "no command name";
    EXPECT_EQ(WithoutDeletedSuffix("/usr/bin/app (deleted)"), "/usr/bin/app");
    EXPECT_EQ(WithoutDeletedSuffix("/usr/bin/app"), "/usr/bin/app");
}

TEST(LinuxProcessesTest, OpensItselfWithItsImageAndAStableStartTime) {
    auto processes = MakeRef<CLinuxProcesses>();
    CRefPtr<IProcessHandle> first, second;
    ASSERT_EQ(processes->OpenProcess(kProcessSynchronizeQueryInformation, ::getpid(), first), 0u);
    ASSERT_EQ(processes->OpenProcess(kProcessSynchronizeQueryInformation, ::getpid(), second), 0u);
    std::wstring image;
    ASSERT_EQ(first->GetModuleFileNameEx(image), 0u);
    EXPECT_EQ(std::filesystem::path(image), std::filesystem::canonical("/proc/self/exe"));
    EXPECT_EQ(CreationOf(*first), CreationOf(*second)) << "one process, one start time, at every read";
    uint32_t code = 0;
    EXPECT_EQ(first->GetExitCodeProcess(code), 0u);
    EXPECT_EQ(code, 259u);
    EXPECT_EQ(first->ProcessId(), static_cast<uint32_t>(::getpid()));

    // The start time lies in the past, within this run of the machine.
    FILETIME now = FILETIME::FromTicks(116444736000000000ULL + static_cast<uint64_t>(::time(nullptr)) * 10000000ULL);
    EXPECT_LT(CreationOf(*first).Ticks(), now.Ticks() + 20000000ULL);
    EXPECT_GT(CreationOf(*first).Ticks(), now.Ticks() - 3600ULL * 24 * 365 * 10000000ULL);
}

TEST(LinuxProcessesTest, NoSuchProcessAThreadAndAKernelThreadAreRefused) {
    auto processes = MakeRef<CLinuxProcesses>();
    CRefPtr<IProcessHandle> process;
    EXPECT_EQ(processes->OpenProcess(kProcessSynchronizeQueryInformation, 0, process), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(processes->OpenProcess(kProcessSynchronizeQueryInformation, 0x7FFFFFF0, process),
              ERROR_INVALID_PARAMETER);
    EXPECT_FALSE(process);

    std::promise<pid_t> tid;
    std::promise<void> finish;
    std::thread thread([&, finished = finish.get_future()] {
        tid.set_value(static_cast<pid_t>(::syscall(SYS_gettid)));
        finished.wait();
    });
    EXPECT_EQ(processes->OpenProcess(kProcessSynchronizeQueryInformation, tid.get_future().get(), process),
              ERROR_INVALID_PARAMETER)
        << "a thread's id is no process id";
    finish.set_value();
    thread.join();

    // kthreadd, the parent of kernel threads, has no image to tell.
    ProcStat kthreadd;
    if (ReadProcStat(2, kthreadd) == 0 && kthreadd.comm == "kthreadd") {
        EXPECT_EQ(processes->OpenProcess(kProcessSynchronizeQueryInformation, 2, process), ERROR_ACCESS_DENIED);
    }
}

TEST(LinuxProcessesTest, SnapshotHasEveryProcessWithItsParentAndImageName) {
    TestChild child({"sleep", "30"});
    ASSERT_TRUE(child.Started());
    auto processes = MakeRef<CLinuxProcesses>();
    std::vector<ProcessEntry> snapshot;
    ASSERT_EQ(processes->CreateToolhelp32Snapshot(snapshot), 0u);
    const ProcessEntry* self = nullptr;
    const ProcessEntry* sleeper = nullptr;
    for (const auto& entry : snapshot) {
        if (entry.th32ProcessID == static_cast<uint32_t>(::getpid())) self = &entry;
        if (entry.th32ProcessID == static_cast<uint32_t>(child.Pid())) sleeper = &entry;
    }
    ASSERT_NE(self, nullptr);
    EXPECT_EQ(self->th32ParentProcessID, static_cast<uint32_t>(::getppid()));
    EXPECT_EQ(self->szExeFile, L"qv_linux_ports_tests");
    ASSERT_NE(sleeper, nullptr);
    EXPECT_EQ(sleeper->th32ParentProcessID, static_cast<uint32_t>(::getpid()));
    EXPECT_EQ(sleeper->szExeFile, L"sleep");
}

TEST(LinuxProcessesTest, TwoProcessesDifferInStartTimeAndAHandleStaysWithItsProcess) {
    auto processes = MakeRef<CLinuxProcesses>();
    auto sync = MakeRef<CLinuxSync>();
    TestChild a({"sleep", "30"});
    // Not a synchronisation: the start-time clock ticks 100 times a second,
    // and the second start must fall on a later tick.
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    TestChild b({"sleep", "30"});
    CRefPtr<IProcessHandle> first, second;
    ASSERT_EQ(processes->OpenProcess(kProcessSynchronizeQueryInformation, a.Pid(), first), 0u);
    ASSERT_EQ(processes->OpenProcess(kProcessSynchronizeQueryInformation, b.Pid(), second), 0u);
    EXPECT_LT(CreationOf(*first).Ticks(), CreationOf(*second).Ticks());
    EXPECT_EQ(sync->WaitForMultipleObjects({first.get()}, 20), kWaitTimeout) << "it still runs";

    const FILETIME before = CreationOf(*first);
    a.Kill(SIGKILL);
    a.Wait();
    EXPECT_EQ(WaitForEnd(*sync, first.get()), kEnded) << "the handle is signalled when its process ends";
    FILETIME creation, exit, kernel, user;
    ASSERT_EQ(first->GetProcessTimes(creation, exit, kernel, user), 0u);
    EXPECT_EQ(creation, before) << "the ended process keeps its identity";
    EXPECT_GE(exit.Ticks(), creation.Ticks());
    uint32_t code = 259;
    EXPECT_EQ(first->GetExitCodeProcess(code), 0u);
    EXPECT_EQ(code, 0u) << "not our child: its code is not knowable";
    CRefPtr<IProcessHandle> reopened;
    EXPECT_EQ(processes->OpenProcess(kProcessSynchronizeQueryInformation, a.Pid(), reopened), ERROR_INVALID_PARAMETER);
}

TEST(LinuxProcessesTest, ChildGetsItsArgumentsAndGivesItsExitCode) {
    auto processes = MakeRef<CLinuxProcesses>();
    auto sync = MakeRef<CLinuxSync>();
    CRefPtr<IProcessHandle> child;
    // The shell ends with the number of arguments after its name: three.
    ASSERT_EQ(processes->CreateProcess(L"/bin/sh", L"\"/bin/sh\" -c \"exit $#\" name a \"b c\" d\\\"e",
                                       kCreateNewConsole, child),
              0u);
    ASSERT_TRUE(child);
    ASSERT_EQ(WaitForEnd(*sync, child.get()), kEnded);
    uint32_t code = 0;
    ASSERT_EQ(child->GetExitCodeProcess(code), 0u);
    EXPECT_EQ(code, 3u);
    std::wstring image;
    EXPECT_EQ(child->GetModuleFileNameEx(image), 0u);
    EXPECT_FALSE(image.empty());

    ASSERT_EQ(processes->CreateProcess(L"", L"sh -c \"kill -9 $$\"", 0, child), 0u) << "found in PATH";
    ASSERT_EQ(WaitForEnd(*sync, child.get()), kEnded);
    ASSERT_EQ(child->GetExitCodeProcess(code), 0u);
    EXPECT_EQ(code, 128u + SIGKILL);

    EXPECT_EQ(processes->CreateProcess(L"/nonexistent/helper", L"helper", 0, child), ERROR_FILE_NOT_FOUND);
    EXPECT_FALSE(child);
}

TEST(LinuxProcessesTest, ExitWaitCallsBackOnItsOwnThreadForTheEndOrTheStopEvent) {
    auto processes = MakeRef<CLinuxProcesses>();
    auto sync = MakeRef<CLinuxSync>();
    CRefPtr<IEvent> stop;
    for (const bool ends : {true, false}) {
        TestChild child({"sleep", "30"});
        CRefPtr<IProcessHandle> process;
        ASSERT_EQ(processes->OpenProcess(kProcessSynchronizeQueryInformation, child.Pid(), process), 0u);
        ASSERT_EQ(sync->CreateEvent(stop), 0u);
        // Shared with the waiting thread, which may outlive a failed test.
        auto log = std::make_shared<test::CallLog>();
        ASSERT_EQ(processes->WaitForProcessExit(process.get(), stop.get(),
                                                [log](bool ended) { log->Add(ended ? L"ended" : L"stopped"); }),
                  0u);
        process = nullptr;  // the thread holds its own
        if (ends) {
            child.Kill(SIGTERM);
        } else {
            stop->SetEvent();
        }
        ASSERT_TRUE(log->WaitFor([](const auto& calls) { return !calls.empty(); }, std::chrono::seconds(10)));
        EXPECT_EQ(log->Calls(), std::vector<std::wstring>{ends ? L"ended" : L"stopped"});
        EXPECT_NE(log->Threads().front(), std::this_thread::get_id());
    }
    EXPECT_EQ(processes->WaitForProcessExit(nullptr, stop.get(), [](bool) {}), ERROR_INVALID_PARAMETER);
}

}  // namespace
}  // namespace qv
