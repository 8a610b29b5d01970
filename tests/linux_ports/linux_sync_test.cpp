// Events, named mutexes and the wait over both (and processes) on Linux,
// with a second process as the mutex's other holder.
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include <gtest/gtest.h>

#include "platform/codes.h"
#include "platform/linux/linux_mutex_directory.h"
#include "platform/linux/linux_sync.h"
#include "platform/linux/linux_system.h"
#include "test_child.h"

namespace qv {
namespace {

using test::TestChild;
using namespace std::chrono_literals;

// A name of this test run alone.
std::wstring UniqueName(const wchar_t* base) {
    GUID guid;
    MakeRef<CLinuxSystem>()->CoCreateGuid(guid);
    return std::wstring(base) + GuidToString(guid);
}

// Starts the helper that holds the mutex, and waits until it does.
std::unique_ptr<TestChild> StartHolder(const std::wstring& name) {
    std::string narrow(name.begin(), name.end());
    auto holder = std::make_unique<TestChild>(std::vector<std::string>{QV_TEST_MUTEX_HOLDER, narrow});
    auto line = holder->ReadLine();
    EXPECT_EQ(line.value_or("(nothing)"), "held");
    return holder;
}

class LinuxSyncTest : public testing::Test {
protected:
    CRefPtr<CLinuxSync> sync = MakeRef<CLinuxSync>();
};

TEST_F(LinuxSyncTest, EventIsSignalledForGoodAndTheLowestSignalledIndexWins) {
    CRefPtr<IEvent> first, second;
    ASSERT_EQ(sync->CreateEvent(first), 0u);
    ASSERT_EQ(sync->CreateEvent(second), 0u);
    EXPECT_EQ(sync->WaitForMultipleObjects({first.get(), second.get()}, 0), kWaitTimeout);
    second->SetEvent();
    EXPECT_EQ(sync->WaitForMultipleObjects({first.get(), second.get()}, 0), kWaitObject0 + 1);
    first->SetEvent();
    first->SetEvent();
    EXPECT_EQ(sync->WaitForMultipleObjects({first.get(), second.get()}, kWaitInfinite), kWaitObject0);
    EXPECT_EQ(sync->WaitForMultipleObjects({first.get()}, 0), kWaitObject0) << "manual reset: it stays set";
}

TEST_F(LinuxSyncTest, WaitWithNothingSignalledLastsItsTime) {
    CRefPtr<IEvent> event;
    ASSERT_EQ(sync->CreateEvent(event), 0u);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(sync->WaitForMultipleObjects({event.get()}, 50), kWaitTimeout);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 45ms);
}

TEST_F(LinuxSyncTest, WaitRefusesWhatIsNotAHandleOfThesePorts) {
    struct Foreign : CAddReleaseRef, IWaitable {};
    auto foreign = MakeRef<Foreign>();
    CRefPtr<IEvent> event;
    ASSERT_EQ(sync->CreateEvent(event), 0u);
    EXPECT_EQ(sync->WaitForMultipleObjects({}, 0), kWaitFailed);
    EXPECT_EQ(sync->WaitForMultipleObjects({event.get(), foreign.get()}, 0), kWaitFailed);
    EXPECT_EQ(sync->WaitForMultipleObjects({event.get(), nullptr}, 0), kWaitFailed);
    std::vector<IWaitable*> tooMany(65, event.get());
    EXPECT_EQ(sync->WaitForMultipleObjects(tooMany, 0), kWaitFailed);
}

TEST_F(LinuxSyncTest, MutexExistsWhileAHandleIsOpenAndOwnershipIsRecursivePerHandle) {
    const std::wstring name = UniqueName(L"exists-");
    CRefPtr<INamedMutex> missing;
    EXPECT_EQ(sync->OpenMutex(name, missing), ERROR_FILE_NOT_FOUND);

    CRefPtr<INamedMutex> created, opened;
    ASSERT_EQ(sync->CreateMutex(name, true, created), 0u);
    ASSERT_EQ(sync->OpenMutex(name, opened), 0u);
    EXPECT_EQ(sync->WaitForMultipleObjects({opened.get()}, 0), kWaitTimeout) << "another handle holds it";
    EXPECT_EQ(sync->WaitForMultipleObjects({created.get()}, 0), kWaitObject0) << "recursive";
    EXPECT_EQ(created->ReleaseMutex(), 0u);
    EXPECT_EQ(sync->WaitForMultipleObjects({opened.get()}, 0), kWaitTimeout) << "still held once";
    EXPECT_EQ(opened->ReleaseMutex(), 288u) << "not the owner";
    EXPECT_EQ(created->ReleaseMutex(), 0u);
    EXPECT_EQ(sync->WaitForMultipleObjects({opened.get()}, 0), kWaitObject0) << "released properly";
    EXPECT_EQ(opened->ReleaseMutex(), 0u);

    created = nullptr;
    opened = nullptr;
    EXPECT_EQ(sync->OpenMutex(name, missing), ERROR_FILE_NOT_FOUND)
        << "the file stays behind, but with no handle open the mutex is gone";

    std::string directory;
    ASSERT_EQ(MutexDirectory(directory), 0u);
    EXPECT_EQ(directory, std::string(std::getenv("XDG_RUNTIME_DIR")) + "/quorvane-mutexes");
}

TEST_F(LinuxSyncTest, NamesAreKeptInsideTheFolder) {
    std::string file;
    ASSERT_TRUE(MutexFileName(L"{3BD7F352-C47B-4954-BF81-922D8C719A2E}", file));
    EXPECT_EQ(file, "{3BD7F352-C47B-4954-BF81-922D8C719A2E}");
    ASSERT_TRUE(MutexFileName(L"../x/.y\\z ü", file));
    EXPECT_EQ(file, "%2E.%2Fx%2F.y%5Cz%20%C3%BC");
    EXPECT_FALSE(MutexFileName(L"", file));
    EXPECT_FALSE(MutexFileName(std::wstring(200, L'/'), file)) << "too long once written out";

    CRefPtr<INamedMutex> mutex;
    EXPECT_EQ(sync->CreateMutex(L"", false, mutex), 123u);
    const std::wstring odd = UniqueName(L"../a b/");
    ASSERT_EQ(sync->CreateMutex(odd, false, mutex), 0u);
    CRefPtr<INamedMutex> again;
    EXPECT_EQ(sync->OpenMutex(odd, again), 0u);
}

TEST_F(LinuxSyncTest, HolderThatDiesAbandonsTheMutexAndTheWaitTakesIt) {
    const std::wstring name = UniqueName(L"abandoned-");
    auto holder = StartHolder(name);
    CRefPtr<INamedMutex> mutex;
    ASSERT_EQ(sync->OpenMutex(name, mutex), 0u);
    EXPECT_EQ(sync->WaitForMultipleObjects({mutex.get()}, 0), kWaitTimeout);

    std::thread killer([&] {
        // The killer's own timing: the wait should be blocked on the holder
        // by then; it must end abandoned either way.
        std::this_thread::sleep_for(50ms);
        holder->Kill(SIGKILL);
    });
    EXPECT_EQ(sync->WaitForMultipleObjects({mutex.get()}, 10000), kWaitAbandoned0);
    killer.join();
    EXPECT_EQ(mutex->ReleaseMutex(), 0u) << "the wait made it ours";
}

TEST_F(LinuxSyncTest, EventEndsAWaitForAHeldMutexWithoutTakingIt) {
    const std::wstring name = UniqueName(L"stop-");
    auto holder = StartHolder(name);
    CRefPtr<INamedMutex> mutex;
    ASSERT_EQ(sync->OpenMutex(name, mutex), 0u);
    CRefPtr<IEvent> stop;
    ASSERT_EQ(sync->CreateEvent(stop), 0u);
    std::thread setter([stop] {
        // The setter's own timing, as above.
        std::this_thread::sleep_for(30ms);
        stop->SetEvent();
    });
    EXPECT_EQ(sync->WaitForMultipleObjects({mutex.get(), stop.get()}, kWaitInfinite), kWaitObject0 + 1);
    setter.join();
    EXPECT_EQ(mutex->ReleaseMutex(), 288u) << "the given-up attempt took nothing";

    // Once the holder goes, the mutex is free for another process at once:
    // no helper of the given-up wait is still in the queue for it.
    holder->WriteLine("release");
    EXPECT_EQ(holder->ReadLine().value_or(""), "released");
    CRefPtr<INamedMutex> other;
    ASSERT_EQ(sync->OpenMutex(name, other), 0u);
    EXPECT_EQ(sync->WaitForMultipleObjects({other.get()}, 0), kWaitObject0);
    EXPECT_EQ(sync->WaitForMultipleObjects({mutex.get()}, 20), kWaitTimeout);
}

}  // namespace
}  // namespace qv
