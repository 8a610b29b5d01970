// Events, named mutexes shared with a process that the test plays, and the
// wait over any of several objects.
#include <future>
#include <thread>

#include <gtest/gtest.h>

#include "platform/codes.h"
#include "platform/sim/sim_platform.h"

namespace qv::test {
namespace {

const std::wstring kExit = L"{6F0C8F5E-0D4B-4E0B-9E64-3D1A6E0F5C11}";
constexpr auto kLong = std::chrono::seconds(10);

class SimSync : public ::testing::Test {
protected:
    CRefPtr<IEvent> NewEvent() {
        CRefPtr<IEvent> event;
        EXPECT_EQ(sync->CreateEvent(event), ERROR_SUCCESS);
        return event;
    }
    CRefPtr<INamedMutex> OpenMutex(const std::wstring& name) {
        CRefPtr<INamedMutex> mutex;
        EXPECT_EQ(sync->OpenMutex(name, mutex), ERROR_SUCCESS);
        return mutex;
    }
    uint32_t Wait(std::vector<IWaitable*> objects, uint32_t timeoutMs) {
        return sync->WaitForMultipleObjects(objects, timeoutMs);
    }
    // The wait on a thread of its own, as the model's watcher does it.
    std::future<uint32_t> WaitElsewhere(std::vector<IWaitable*> objects) {
        return std::async(std::launch::async, [this, objects] { return Wait(objects, kWaitInfinite); });
    }

    CRefPtr<CSimPlatform> sim = MakeRef<CSimPlatform>();
    CRefPtr<CSimSync> sync = sim->SimSync;
};

TEST_F(SimSync, AnEventStaysSetAndAWaitGivesTheLowestSignalledIndexWakingWhenOneIsSet) {
    auto a = NewEvent(), b = NewEvent(), c = NewEvent();
    EXPECT_EQ(Wait({a.get()}, 30), kWaitTimeout);
    auto waiting = WaitElsewhere({a.get(), b.get(), c.get()});
    EXPECT_EQ(waiting.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    c->SetEvent();
    ASSERT_EQ(waiting.wait_for(kLong), std::future_status::ready);
    EXPECT_EQ(waiting.get(), kWaitObject0 + 2);
    b->SetEvent();
    EXPECT_EQ(Wait({a.get(), b.get(), c.get()}, 0), kWaitObject0 + 1);
    EXPECT_EQ(Wait({c.get()}, kWaitInfinite), kWaitObject0);
}

TEST_F(SimSync, AMutexHeldByTheStarterIsTakenOnlyOnceItIsReleased) {
    ASSERT_TRUE(sync->CreateExternalMutex(kExit, true));
    auto mutex = OpenMutex(kExit);
    EXPECT_EQ(Wait({mutex.get()}, 20), kWaitTimeout);
    auto waiting = WaitElsewhere({mutex.get()});
    EXPECT_EQ(waiting.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    ASSERT_TRUE(sync->ReleaseExternalMutex(kExit));
    ASSERT_EQ(waiting.wait_for(kLong), std::future_status::ready);
    EXPECT_EQ(waiting.get(), kWaitObject0);
    // The waiting thread owns it now, and the starter no longer does.
    EXPECT_TRUE(sync->IsMutexOwned(kExit));
    EXPECT_FALSE(sync->ReleaseExternalMutex(kExit));
}

TEST_F(SimSync, AStarterThatDiesLeavesAnAbandonedMutex) {
    ASSERT_TRUE(sync->CreateExternalMutex(kExit, true));
    auto mutex = OpenMutex(kExit);
    auto stop = NewEvent();
    auto waiting = WaitElsewhere({stop.get(), mutex.get()});
    ASSERT_TRUE(sync->EndExternalProcess(kExit));
    ASSERT_EQ(waiting.wait_for(kLong), std::future_status::ready);
    EXPECT_EQ(waiting.get(), kWaitAbandoned0 + 1);
    // The name lives on through the model's handle.
    EXPECT_TRUE(sync->MutexExists(kExit));
}

TEST_F(SimSync, AnUnownedMutexIsTakenAtOnceAndCreatingAnExistingOneOpensItWithoutTakingItByItsExactName) {
    ASSERT_TRUE(sync->CreateExternalMutex(kExit, false));
    auto mutex = OpenMutex(kExit);
    EXPECT_EQ(Wait({mutex.get()}, 0), kWaitObject0);
    // An instance that finds the name taken hears so, and owns nothing.
    EXPECT_FALSE(sync->CreateExternalMutex(kExit, true));

    ASSERT_TRUE(sync->CreateExternalMutex(L"held", true));
    CRefPtr<INamedMutex> held;
    ASSERT_EQ(sync->CreateMutex(L"held", true, held), ERROR_SUCCESS);
    EXPECT_EQ(Wait({held.get()}, 0), kWaitTimeout);
    // Names are case sensitive.
    CRefPtr<INamedMutex> other;
    EXPECT_EQ(sync->OpenMutex(L"Held", other), ERROR_FILE_NOT_FOUND);
}

TEST_F(SimSync, OwnershipBelongsToAThreadAndIsRecursive) {
    CRefPtr<INamedMutex> mutex;
    ASSERT_EQ(sync->CreateMutex(kExit, true, mutex), ERROR_SUCCESS);
    EXPECT_EQ(Wait({mutex.get()}, 0), kWaitObject0);  // the owner takes it again

    auto other = std::async(std::launch::async, [&] {
                     uint32_t first = Wait({mutex.get()}, 0);
                     Win32Error release = mutex->ReleaseMutex();
                     return std::pair{first, release};
                 }).get();
    EXPECT_EQ(other.first, kWaitTimeout);
    EXPECT_EQ(other.second, kSimErrorNotOwner);

    EXPECT_EQ(mutex->ReleaseMutex(), ERROR_SUCCESS);
    EXPECT_TRUE(sync->IsMutexOwned(kExit));  // taken twice, released once
    EXPECT_EQ(mutex->ReleaseMutex(), ERROR_SUCCESS);
    EXPECT_FALSE(sync->IsMutexOwned(kExit));
    EXPECT_EQ(mutex->ReleaseMutex(), kSimErrorNotOwner);
}

TEST_F(SimSync, WhatCannotBeWaitedForFailsAndTheMachineGoingAwayEndsEveryWait) {
    EXPECT_EQ(Wait({}, 0), kWaitFailed);
    EXPECT_EQ(Wait({nullptr}, 0), kWaitFailed);
    auto otherMachine = MakeRef<CSimPlatform>();
    CRefPtr<IEvent> foreign;
    ASSERT_EQ(otherMachine->SimSync->CreateEvent(foreign), ERROR_SUCCESS);
    foreign->SetEvent();
    EXPECT_EQ(Wait({foreign.get()}, 0), kWaitFailed);
    auto event = NewEvent();
    event->SetEvent();
    sync->FailOnce(L"WaitForMultipleObjects", ERROR_INVALID_HANDLE);
    EXPECT_EQ(Wait({event.get()}, 0), kWaitFailed);
    EXPECT_EQ(Wait({event.get()}, 0), kWaitObject0);

    // The machine going away ends every wait.
    auto unset = NewEvent();
    auto waiting = WaitElsewhere({unset.get()});
    EXPECT_EQ(waiting.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    sync->Shutdown();
    ASSERT_EQ(waiting.wait_for(kLong), std::future_status::ready);
    EXPECT_EQ(waiting.get(), kWaitFailed);
}

TEST_F(SimSync, CreationCanFail) {
    CRefPtr<IEvent> event;
    CRefPtr<INamedMutex> mutex;
    sync->FailOnce(L"CreateEvent", 8);
    sync->FailOnce(L"CreateMutex", ERROR_ACCESS_DENIED, kExit);
    EXPECT_EQ(sync->CreateEvent(event), 8u);
    EXPECT_FALSE(event);
    EXPECT_EQ(sync->CreateMutex(kExit, false, mutex), ERROR_ACCESS_DENIED);
    EXPECT_FALSE(sync->MutexExists(kExit));
    ASSERT_EQ(sync->CreateMutex(kExit, false, mutex), ERROR_SUCCESS);
    sync->Fail(L"OpenMutex", ERROR_ACCESS_DENIED);
    CRefPtr<INamedMutex> opened;
    EXPECT_EQ(sync->OpenMutex(kExit, opened), ERROR_ACCESS_DENIED);
}

}  // namespace
}  // namespace qv::test
