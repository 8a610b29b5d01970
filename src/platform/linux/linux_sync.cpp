#include "platform/linux/linux_sync.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <memory>
#include <optional>

#include "platform/codes.h"
#include "platform/linux/linux_errors.h"
#include "platform/linux/linux_event.h"
#include "platform/linux/linux_flock_waiter.h"
#include "platform/linux/linux_mutex_directory.h"
#include "platform/linux/linux_named_mutex.h"
#include "platform/linux/linux_waitable.h"

namespace qv {

namespace {

constexpr std::size_t kMaximumWaitObjects = 64;  // MAXIMUM_WAIT_OBJECTS
constexpr Win32Error kErrorInvalidName = 123;

Win32Error OpenNamed(const std::wstring& name, bool create, bool initialOwner, CRefPtr<INamedMutex>& mutex) {
    mutex = nullptr;
    std::string fileName;
    if (name.empty()) return kErrorInvalidName;
    if (!MutexFileName(name, fileName)) return ERROR_FILENAME_EXCED_RANGE;
    std::string directory;
    if (Win32Error error = MutexDirectory(directory); error != 0) return error;
    CRefPtr<CLinuxNamedMutex> opened;
    Win32Error error = CLinuxNamedMutex::Open(directory + "/" + fileName, create, initialOwner, opened);
    if (error == 0) mutex = opened;
    return error;
}

uint32_t Result(std::size_t index, CLinuxNamedMutex::Take take) {
    return static_cast<uint32_t>(index) + (take == CLinuxNamedMutex::Take::Abandoned ? kWaitAbandoned0 : kWaitObject0);
}

// One object of a wait, as the wait sees it.
struct WaitEntry {
    ILinuxPollable* pollable = nullptr;
    CLinuxNamedMutex* mutex = nullptr;
    std::unique_ptr<CFlockWaiter> waiter;
};

// Ends every helper but the chosen one, and gives back what they took.
void StopWaiters(std::vector<WaitEntry>& entries, std::optional<std::size_t> chosen) {
    for (std::size_t i = 0; i < entries.size(); ++i) {
        WaitEntry& e = entries[i];
        if (!e.waiter || (chosen && *chosen == i)) continue;
        e.waiter->Cancel();
        if (e.waiter->Taken()) e.mutex->GiveBack();
    }
}

}  // namespace

Win32Error CLinuxSync::CreateEvent(CRefPtr<IEvent>& event) {
    event = nullptr;
    CRefPtr<CLinuxEvent> made = CLinuxEvent::Create();
    if (!made) return Win32ErrorFromErrno(errno);
    event = made;
    return ERROR_SUCCESS;
}

Win32Error CLinuxSync::OpenMutex(const std::wstring& name, CRefPtr<INamedMutex>& mutex) {
    return OpenNamed(name, false, false, mutex);
}

Win32Error CLinuxSync::CreateMutex(const std::wstring& name, bool initialOwner, CRefPtr<INamedMutex>& mutex) {
    return OpenNamed(name, true, initialOwner, mutex);
}

uint32_t CLinuxSync::WaitForMultipleObjects(const std::vector<IWaitable*>& objects, uint32_t timeoutMs) {
    if (objects.empty() || objects.size() > kMaximumWaitObjects) return kWaitFailed;
    // The caller's references keep the objects alive for the call; these
    // make sure of it should another thread let go meanwhile.
    std::vector<CRefPtr<IWaitable>> held;
    std::vector<WaitEntry> entries(objects.size());
    for (std::size_t i = 0; i < objects.size(); ++i) {
        if (!objects[i]) return kWaitFailed;
        held.emplace_back(objects[i]);
        entries[i].pollable = dynamic_cast<ILinuxPollable*>(objects[i]);
        entries[i].mutex = dynamic_cast<CLinuxNamedMutex*>(objects[i]);
        if (!entries[i].pollable && !entries[i].mutex) return kWaitFailed;
    }

    // What is signalled already wins without any thread.
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (entries[i].pollable && entries[i].pollable->IsSignalled()) return static_cast<uint32_t>(i);
        if (entries[i].mutex) {
            CLinuxNamedMutex::Take take = entries[i].mutex->TryTake();
            if (take != CLinuxNamedMutex::Take::No) return Result(i, take);
        }
    }
    if (timeoutMs == 0) return kWaitTimeout;

    std::vector<pollfd> fds;
    for (WaitEntry& e : entries) {
        if (e.mutex) {
            e.waiter = std::make_unique<CFlockWaiter>(e.mutex->LockFd());
            if (!e.waiter->Started()) {
                StopWaiters(entries, std::nullopt);
                return kWaitFailed;
            }
        }
        fds.push_back(pollfd{e.waiter ? e.waiter->ReadyFd() : e.pollable->PollFd(), POLLIN, 0});
    }

    using Clock = std::chrono::steady_clock;
    const bool infinite = timeoutMs == kWaitInfinite;
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(infinite ? 0 : timeoutMs);
    for (;;) {
        int wait = -1;
        if (!infinite) {
            auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
            wait = static_cast<int>(std::max<decltype(left)>(left, 0));
        }
        int n = ::poll(fds.data(), fds.size(), wait);
        if (n < 0 && errno != EINTR) {
            StopWaiters(entries, std::nullopt);
            return kWaitFailed;
        }
        if (n == 0 && !infinite) {
            // A helper that got its lock at the last moment still counts:
            // the lock is had, and giving it back would only lose it.
            for (WaitEntry& e : entries)
                if (e.waiter) e.waiter->Cancel();
            for (std::size_t i = 0; i < entries.size(); ++i) {
                if (entries[i].waiter && entries[i].waiter->Taken()) {
                    StopWaiters(entries, i);
                    return Result(i, entries[i].mutex->CompleteTake());
                }
            }
            return kWaitTimeout;
        }
        for (std::size_t i = 0; i < entries.size(); ++i) {
            WaitEntry& e = entries[i];
            if (e.pollable && PollsReadable(e.pollable->PollFd())) {
                StopWaiters(entries, std::nullopt);
                return static_cast<uint32_t>(i);
            }
            if (e.waiter && PollsReadable(e.waiter->ReadyFd())) {
                e.waiter->Cancel();  // the attempt is over; this only joins
                if (!e.waiter->Taken()) {
                    StopWaiters(entries, std::nullopt);
                    return kWaitFailed;
                }
                StopWaiters(entries, i);
                return Result(i, e.mutex->CompleteTake());
            }
        }
    }
}

}  // namespace qv
