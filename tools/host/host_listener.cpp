#include "host_listener.h"

#include <utility>

#include "platform/codes.h"

namespace qv::host {

CHostPipeListener::CHostPipeListener(CRefPtr<IPipes> pipes) : m_pipes(std::move(pipes)) {}

CHostPipeListener::~CHostPipeListener() { Close(); }

Win32Error CHostPipeListener::Listen(const std::wstring& name) {
    PipeServerOptions options;
    options.firstInstance = true;
    CRefPtr<IPipeServer> server;
    const Win32Error error = m_pipes->CreateNamedPipe(name, options, server);
    if (error != 0) return error;
    std::lock_guard lock(m_mutex);
    m_name = name;
    m_current = server;
    return 0;
}

Win32Error CHostPipeListener::Accept(CRefPtr<IPipeConnection>& connection) {
    connection = nullptr;
    CRefPtr<IPipeServer> server;
    {
        std::lock_guard lock(m_mutex);
        if (m_closed || !m_current) return ERROR_INVALID_HANDLE;
        server = m_current;
    }
    Win32Error error = server->ConnectNamedPipe(connection);
    if (error != 0) return error;
    // A free instance for whoever comes while this client is served.
    PipeServerOptions options;
    options.firstInstance = false;
    CRefPtr<IPipeServer> next;
    const bool rotated = m_pipes->CreateNamedPipe(m_name, options, next) == 0 && next;
    std::lock_guard lock(m_mutex);
    if (rotated) {
        m_taken = std::move(server);
        m_current = std::move(next);
        // A Close that came meanwhile closed the old instance only.
        if (m_closed) m_current->Close();
    }
    return 0;
}

void CHostPipeListener::Done(CRefPtr<IPipeConnection>& connection) {
    connection = nullptr;
    CRefPtr<IPipeServer> taken;
    CRefPtr<IPipeServer> current;
    {
        std::lock_guard lock(m_mutex);
        taken = std::move(m_taken);
        current = m_current;
    }
    if (taken)
        taken->Close();  // that instance served its one client
    else if (current)
        current->DisconnectNamedPipe();
}

void CHostPipeListener::Close() {
    std::lock_guard lock(m_mutex);
    m_closed = true;
    if (m_current) m_current->Close();
    if (m_taken) m_taken->Close();
}

}  // namespace qv::host
