// A handle that one thread may close while other threads are blocked in
// calls on it: a socket in accept or recv, a pipe in an overlapped wait.
// Closing the handle under a running call would let the system give its
// number to an unrelated open, which the call would then go on with. So
// Close only marks the handle closing and wakes the calls (a socket's
// shutdown, a pipe's cancel event); the handle itself is closed by whoever
// leaves last: Close when no call runs, else the last Use to end.
//
// Threads: every member may be called from any thread, at the same time.
// A Use must end before its CCloseAfterLastUse goes; the handle is then
// closed with its owner if nobody has closed it yet.
//
// Owner is a move-only owner of one handle (CUniqueFd, CUniqueHandle) with
// get(), reset() and an explicit bool that tells whether it holds one.
#pragma once

#include <mutex>
#include <utility>

namespace qv {

template <class Owner>
class CCloseAfterLastUse {
public:
    using Raw = decltype(std::declval<const Owner&>().get());

    explicit CCloseAfterLastUse(Owner handle) : m_handle(std::move(handle)) {}
    CCloseAfterLastUse(const CCloseAfterLastUse&) = delete;
    CCloseAfterLastUse& operator=(const CCloseAfterLastUse&) = delete;

    // Keeps the handle open while it lives. Refused (false) once Close has
    // been called, or when there is no handle.
    class Use {
    public:
        explicit Use(CCloseAfterLastUse& owner) : m_owner(owner) {
            std::lock_guard lock(owner.m_mutex);
            if (owner.m_closing || !owner.m_handle) return;
            ++owner.m_uses;
            m_raw = owner.m_handle.get();
            m_held = true;
        }
        ~Use() {
            if (!m_held) return;
            std::lock_guard lock(m_owner.m_mutex);
            if (--m_owner.m_uses == 0 && m_owner.m_closing) m_owner.m_handle.reset();
        }
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;

        Raw get() const { return m_raw; }
        explicit operator bool() const { return m_held; }

    private:
        CCloseAfterLastUse& m_owner;
        Raw m_raw{};
        bool m_held = false;
    };

    // The first call marks the handle closing, calls wake(handle) under the
    // lock, so that no Use can start in between, and closes the handle if
    // no call runs; later calls do nothing.
    template <class Wake>
    void Close(Wake&& wake) {
        std::lock_guard lock(m_mutex);
        if (m_closing || !m_handle) return;
        m_closing = true;
        wake(m_handle.get());
        if (m_uses == 0) m_handle.reset();
    }

    bool Closed() {
        std::lock_guard lock(m_mutex);
        return m_closing || !m_handle;
    }

private:
    std::mutex m_mutex;
    Owner m_handle;  // guarded by m_mutex
    int m_uses = 0;
    bool m_closing = false;
};

}  // namespace qv
