// A socket descriptor that one thread may shut down while others are blocked
// in calls on it. Closing a descriptor under a blocked call would let the
// number be reused by an unrelated open; so Close shuts the socket down,
// which wakes every blocked call, and the descriptor itself is closed when
// the last call using it has returned.
#pragma once

#include <mutex>

namespace qv {

class CSocketHandle {
public:
    explicit CSocketHandle(int fd) : m_fd(fd) {}
    ~CSocketHandle();
    CSocketHandle(const CSocketHandle&) = delete;
    CSocketHandle& operator=(const CSocketHandle&) = delete;

    // Keeps the descriptor open while it lives; fd() is -1 once Close has
    // been called.
    class Use {
    public:
        explicit Use(CSocketHandle& handle);
        ~Use();
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;
        int fd() const { return m_fd; }
        explicit operator bool() const { return m_fd >= 0; }

    private:
        CSocketHandle& m_handle;
        int m_fd;
    };

    // Wakes every blocked call and closes the descriptor once none is left.
    void Close();
    bool Closed();

private:
    std::mutex m_mutex;
    int m_fd;
    int m_uses = 0;
    bool m_closing = false;
};

}  // namespace qv
