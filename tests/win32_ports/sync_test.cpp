// The Windows synchronisation port against the system's own objects: events,
// named mutexes in the "Global\" namespace shared with a child process
// (which ends holding one, to abandon it), and the wait over several.
#include <thread>

#include <gtest/gtest.h>

#include "core/text.h"
#include "platform/win32/win32_security.h"
#include "platform/win32/win32_unique_handle.h"
#include "platform/win32/windows_api.h"
#include "win32_ports_support.h"

namespace qv {
namespace {

using test::ForeignEvent;
using test::StartChild;
using test::UniqueName;
using test::WaitForExit;
using test::Win32Platform;

class Win32SyncTest : public ::testing::Test {
protected:
    CRefPtr<IEvent> NewEvent() {
        CRefPtr<IEvent> event;
        EXPECT_EQ(sync->CreateEvent(event), 0u);
        return event;
    }

    CRefPtr<ISync> sync = Win32Platform()->Sync();
};

TEST_F(Win32SyncTest, AnEventStaysSetForEveryWaiterAndTheWaitNamesWhichObjectWasSignalled) {
    CRefPtr<IEvent> first = NewEvent();
    CRefPtr<IEvent> second = NewEvent();
    ASSERT_TRUE(first && second);
    EXPECT_EQ(sync->WaitForMultipleObjects({first.get(), second.get()}, 0), kWaitTimeout);
    std::thread setter([&] { second->SetEvent(); });
    EXPECT_EQ(sync->WaitForMultipleObjects({first.get(), second.get()}, 30000), kWaitObject0 + 1);
    setter.join();
    // Manual reset: still set for the next waiter.
    EXPECT_EQ(sync->WaitForMultipleObjects({second.get()}, 0), kWaitObject0);

    auto foreign = MakeRef<ForeignEvent>();
    EXPECT_EQ(sync->WaitForMultipleObjects({first.get(), foreign.get()}, 0), kWaitFailed);
    EXPECT_EQ(sync->WaitForMultipleObjects({}, 0), kWaitFailed);
    EXPECT_EQ(sync->WaitForMultipleObjects({first.get(), nullptr}, 0), kWaitFailed);
}

TEST_F(Win32SyncTest, AMutexOfAnotherProcessIsTakenWhenItsHolderGivesItBackOrDies) {
    const std::pair<const wchar_t*, uint32_t> cases[] = {{L"release", kWaitObject0 + 1},
                                                         {L"abandon", kWaitAbandoned0 + 1}};
    for (const auto& [how, taken] : cases) {
        SCOPED_TRACE(WideToUtf8(how));
        const std::wstring name = UniqueName(L"QvSyncMutex");
        CRefPtr<INamedMutex> mutex;
        EXPECT_EQ(sync->OpenMutex(name, mutex), static_cast<Win32Error>(ERROR_FILE_NOT_FOUND));
        EXPECT_FALSE(mutex);

        // The child makes Global\name and holds it until the test sets
        // Global\name-go; with "abandon" it ends still holding it.
        CUniqueHandle go(::CreateEventW(nullptr, TRUE, FALSE, (L"Global\\" + name + L"-go").c_str()));
        ASSERT_TRUE(go);
        CRefPtr<IProcessHandle> child = StartChild(L"hold-mutex " + name + L" " + how);
        ASSERT_TRUE(child);
        for (int i = 0; i < 3000 && sync->OpenMutex(name, mutex) == static_cast<Win32Error>(ERROR_FILE_NOT_FOUND); ++i)
            if (sync->WaitForMultipleObjects({child.get()}, 10) == kWaitObject0) break;  // it died instead
        ASSERT_TRUE(mutex) << "the child never made the mutex";
        CRefPtr<IEvent> never = NewEvent();
        EXPECT_EQ(sync->WaitForMultipleObjects({never.get(), mutex.get()}, 0), kWaitTimeout);
        ::SetEvent(go.get());
        // An abandoned one is taken all the same: this thread holds it now,
        // as the exit watcher holds the starter's mutex when the starter has
        // died.
        EXPECT_EQ(sync->WaitForMultipleObjects({never.get(), mutex.get()}, 30000), taken);
        ASSERT_TRUE(WaitForExit(child.get()));
        uint32_t code = 1;
        EXPECT_EQ(child->GetExitCodeProcess(code), 0u);
        EXPECT_EQ(code, 0u);
    }
}

TEST_F(Win32SyncTest, ACreatedMutexExistsWhileAHandleIsOpenAndAnOwnerCanGiveItBack) {
    const std::wstring name = UniqueName(L"QvSyncCreate");
    CRefPtr<INamedMutex> owned;
    ASSERT_EQ(sync->CreateMutex(name, true, owned), 0u);
    // Another thread finds it held; once given back, it is free to take.
    uint32_t whileHeld = 0, afterRelease = 0;
    std::thread([&] { whileHeld = sync->WaitForMultipleObjects({owned.get()}, 0); }).join();
    EXPECT_EQ(whileHeld, kWaitTimeout);
    EXPECT_EQ(owned->ReleaseMutex(), 0u);
    std::thread([&] { afterRelease = sync->WaitForMultipleObjects({owned.get()}, 0); }).join();
    // That thread ended holding it: the next taker sees it abandoned.
    EXPECT_EQ(afterRelease, kWaitObject0);
    EXPECT_EQ(sync->WaitForMultipleObjects({owned.get()}, 0), kWaitAbandoned0);
    EXPECT_EQ(owned->ReleaseMutex(), 0u);

    // A second creation opens the same object and does not take it.
    CRefPtr<INamedMutex> again;
    ASSERT_EQ(sync->CreateMutex(name, true, again), 0u);
    std::thread([&] { whileHeld = sync->WaitForMultipleObjects({again.get()}, 0); }).join();
    EXPECT_EQ(whileHeld, kWaitObject0);

    owned = nullptr;
    again = nullptr;
    CRefPtr<INamedMutex> gone;
    EXPECT_EQ(sync->OpenMutex(name, gone), static_cast<Win32Error>(ERROR_FILE_NOT_FOUND));
    EXPECT_TRUE(MutexSecurityAttributes()) << "the mutexes' security descriptor could not be built";
}

}  // namespace
}  // namespace qv
