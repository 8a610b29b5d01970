// The host's end of the host pipe, taking one client after another. The
// classifier sends each message on a new connection and does not wait for a
// busy pipe, so a host must have a free instance at every moment: on Windows
// the next instance is made as soon as a client is taken. Where the pipe
// port has one listener per name (Linux, whose sockets queue waiting
// clients), the single instance is disconnected and reused instead.
#pragma once

#include <mutex>
#include <string>

#include "platform/ipc.h"

namespace qv::host {

class CHostPipeListener {
public:
    explicit CHostPipeListener(CRefPtr<IPipes> pipes);
    ~CHostPipeListener();
    CHostPipeListener(const CHostPipeListener&) = delete;
    CHostPipeListener& operator=(const CHostPipeListener&) = delete;

    // Creates the first instance; fails when another host holds the name.
    Win32Error Listen(const std::wstring& name);
    // Waits for the next client. 0, or an error once Close has been called.
    Win32Error Accept(CRefPtr<IPipeConnection>& connection);
    // Lets go of the client taken last, once its exchange is over.
    void Done(CRefPtr<IPipeConnection>& connection);
    // From any thread: wakes a waiting Accept, which then fails.
    void Close();

private:
    const CRefPtr<IPipes> m_pipes;
    std::wstring m_name;
    std::mutex m_mutex;
    CRefPtr<IPipeServer> m_current;  // where the next client comes
    CRefPtr<IPipeServer> m_taken;    // the instance of the client taken last, if not m_current
    bool m_closed = false;
};

}  // namespace qv::host
