// A named mutex as a lock file (the folder and names: linux_mutex_directory.h).
//
// - Ownership is flock(LOCK_EX) on the handle's own open file description.
//   The kernel lets go of it when the holder dies, which is what makes the
//   starter's exit mutex a liveness token.
// - Existence: every open handle holds an open-file-description read lock
//   (F_OFD_SETLK) on byte 0 of the file. Such locks are independent of
//   flock, go with the handle, and can be queried (F_OFD_GETLK) without
//   taking anything, so a name "exists" while some handle is open or some
//   process holds the flock, as a Windows mutex exists while a handle is
//   open; a file left behind by processes that have all ended is no mutex.
// - Abandonment: the holder writes its process id into the file when it
//   takes the mutex and empties the file when it releases it. Whoever takes
//   it and finds an id there knows the holder ended without releasing: the
//   wait reports kWaitAbandoned0. A holder that does not keep this record
//   (the flock command, say) is seen as releasing properly: kWaitObject0.
// - Ownership belongs to the handle, not to a thread: threads that share a
//   handle share its ownership, and it is recursive as on Windows. Two
//   handles of the same name, even in one process, exclude each other.
//   Closing a handle that holds the mutex abandons it.
#pragma once

#include <mutex>
#include <string>

#include "platform/linux/linux_unique_fd.h"
#include "platform/sync.h"

namespace qv {

class CLinuxNamedMutex : public CAddReleaseRef, public INamedMutex {
public:
    // Opens the lock file at the path. Without create the name must exist
    // (ERROR_FILE_NOT_FOUND otherwise); with create the file is made if need
    // be, and initialOwner takes the mutex when the name did not exist yet.
    static Win32Error Open(const std::string& path, bool create, bool initialOwner, CRefPtr<CLinuxNamedMutex>& mutex);

    explicit CLinuxNamedMutex(CUniqueFd fd) : m_fd(std::move(fd)) {}

    // kErrorNotOwner (288) when this handle does not hold it.
    Win32Error ReleaseMutex() override;

    // For the waits of the synchronisation port.
    enum class Take { No, Yes, Abandoned };
    // Takes it if nobody else holds it, without blocking.
    Take TryTake();
    // The descriptor that a CFlockWaiter blocks on.
    int LockFd() const { return m_fd.get(); }
    // A blocking flock on LockFd() has succeeded: the take is recorded.
    Take CompleteTake();
    // A blocking flock that succeeded but that the wait did not choose is
    // given back, as though it had never happened.
    void GiveBack();

protected:
    ~CLinuxNamedMutex() override = default;

private:
    Take RecordTake();  // m_mutex held, flock held

    const CUniqueFd m_fd;
    std::mutex m_mutex;
    uint32_t m_count = 0;  // recursive ownership of this handle
};

}  // namespace qv
