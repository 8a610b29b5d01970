#include "platform/win32/win32_pipes.h"

#include <functional>
#include <mutex>
#include <utility>

#include "platform/pipe_namespace.h"
#include "platform/win32/windows_api.h"

#include <aclapi.h>

namespace qv {

namespace {

// A kernel handle, closed with its owner.
class CHandle {
public:
    CHandle() = default;
    explicit CHandle(HANDLE handle) : m_handle(handle) {}
    ~CHandle() { reset(); }
    CHandle(const CHandle&) = delete;
    CHandle& operator=(const CHandle&) = delete;
    HANDLE get() const { return m_handle; }
    explicit operator bool() const { return m_handle && m_handle != INVALID_HANDLE_VALUE; }
    HANDLE release() { return std::exchange(m_handle, nullptr); }
    void reset() {
        if (*this) ::CloseHandle(m_handle);
        m_handle = nullptr;
    }

private:
    HANDLE m_handle = nullptr;
};

// The Everyone-may-connect descriptor of the native host's pipe; its SID,
// ACL and descriptor are freed with it.
class CEveryoneSecurity {
public:
    CEveryoneSecurity() {
        SID_IDENTIFIER_AUTHORITY world = SECURITY_WORLD_SID_AUTHORITY;
        if (!::AllocateAndInitializeSid(&world, 1, SECURITY_WORLD_RID, 0, 0, 0, 0, 0, 0, 0, &m_everyone)) return;
        EXPLICIT_ACCESS_W access{};
        access.grfAccessPermissions = FILE_ALL_ACCESS;
        access.grfAccessMode = SET_ACCESS;
        access.grfInheritance = NO_INHERITANCE;
        access.Trustee.TrusteeForm = TRUSTEE_IS_SID;
        access.Trustee.TrusteeType = TRUSTEE_IS_WELL_KNOWN_GROUP;
        access.Trustee.ptstrName = static_cast<LPWSTR>(m_everyone);
        if (::SetEntriesInAclW(1, &access, nullptr, &m_acl) != ERROR_SUCCESS) return;
        m_descriptor = ::LocalAlloc(LPTR, SECURITY_DESCRIPTOR_MIN_LENGTH);
        if (!m_descriptor || !::InitializeSecurityDescriptor(m_descriptor, SECURITY_DESCRIPTOR_REVISION) ||
            !::SetSecurityDescriptorDacl(m_descriptor, TRUE, m_acl, FALSE))
            return;
        m_attributes.nLength = sizeof m_attributes;
        m_attributes.lpSecurityDescriptor = m_descriptor;
        m_attributes.bInheritHandle = FALSE;
        m_ready = true;
    }
    ~CEveryoneSecurity() {
        if (m_descriptor) ::LocalFree(m_descriptor);
        if (m_acl) ::LocalFree(m_acl);
        if (m_everyone) ::FreeSid(m_everyone);
    }
    CEveryoneSecurity(const CEveryoneSecurity&) = delete;
    CEveryoneSecurity& operator=(const CEveryoneSecurity&) = delete;
    SECURITY_ATTRIBUTES* get() { return m_ready ? &m_attributes : nullptr; }

private:
    PSID m_everyone = nullptr;
    PACL m_acl = nullptr;
    PSECURITY_DESCRIPTOR m_descriptor = nullptr;
    SECURITY_ATTRIBUTES m_attributes{};
    bool m_ready = false;
};

// A client's end: a handle opened without overlap, so calls block in place.
class CWin32ClientConnection : public CAddReleaseRef, public IPipeConnection {
public:
    explicit CWin32ClientConnection(HANDLE handle) : m_handle(handle) {}
    Win32Error WriteFile(const void* data, uint32_t size, uint32_t& written) override {
        DWORD count = 0;
        BOOL ok = ::WriteFile(m_handle.get(), data, size, &count, nullptr);
        written = count;
        return ok ? ERROR_SUCCESS : ::GetLastError();
    }
    Win32Error ReadFile(void* data, uint32_t size, uint32_t& read) override {
        DWORD count = 0;
        BOOL ok = ::ReadFile(m_handle.get(), data, size, &count, nullptr);
        read = count;
        return ok ? ERROR_SUCCESS : ::GetLastError();
    }

private:
    CHandle m_handle;
};

class CWin32PipeServer : public CAddReleaseRef, public IPipeServer {
public:
    CWin32PipeServer(HANDLE pipe, HANDLE closeEvent) : m_pipe(pipe), m_closeEvent(closeEvent) {}

    Win32Error ConnectNamedPipe(CRefPtr<IPipeConnection>& connection) override;
    Win32Error DisconnectNamedPipe() override;
    void Close() override;

    // The reads and writes of the connection of that generation.
    Win32Error Transfer(uint64_t generation, bool write, void* data, uint32_t size, uint32_t& transferred);

private:
    ~CWin32PipeServer() override {
        Close();
        // Close has closed the pipe: no call can be running while the last
        // reference goes.
    }

    // Keeps the pipe handle open while a call runs on it; once Close has
    // been called the last call out closes it.
    class Use {
    public:
        explicit Use(CWin32PipeServer& server) : m_server(server) {
            std::lock_guard lock(server.m_mutex);
            if (server.m_closed) return;
            ++server.m_uses;
            m_pipe = server.m_pipe;
        }
        ~Use() {
            if (!m_pipe) return;
            std::lock_guard lock(m_server.m_mutex);
            if (--m_server.m_uses == 0 && m_server.m_closed) m_server.ClosePipeLocked();
        }
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;
        HANDLE pipe() const { return m_pipe; }
        explicit operator bool() const { return m_pipe != nullptr; }

    private:
        CWin32PipeServer& m_server;
        HANDLE m_pipe = nullptr;
    };

    // Starts an overlapped call and waits for it, or for Close, which
    // cancels it. The OVERLAPPED lives on this stack, so the call is always
    // waited out, cancelled or not.
    Win32Error WaitForCall(HANDLE pipe, const std::function<BOOL(OVERLAPPED*)>& start, DWORD& transferred);
    void ClosePipeLocked() {
        if (m_pipe) ::CloseHandle(m_pipe);
        m_pipe = nullptr;
    }

    std::mutex m_mutex;
    HANDLE m_pipe;  // guarded by m_mutex; closed by Close or the last Use after it
    int m_uses = 0;
    bool m_closed = false;
    bool m_connected = false;
    // Each client has its own generation, so that the connection object of
    // one client cannot read what the next one sends.
    uint64_t m_generation = 0;
    CHandle m_closeEvent;  // manual reset: set once by Close
};

// The server's end of one client.
class CWin32ServerConnection : public CAddReleaseRef, public IPipeConnection {
public:
    CWin32ServerConnection(CRefPtr<CWin32PipeServer> server, uint64_t generation)
        : m_server(std::move(server)), m_generation(generation) {}
    Win32Error WriteFile(const void* data, uint32_t size, uint32_t& written) override {
        return m_server->Transfer(m_generation, true, const_cast<void*>(data), size, written);
    }
    Win32Error ReadFile(void* data, uint32_t size, uint32_t& read) override {
        return m_server->Transfer(m_generation, false, data, size, read);
    }

private:
    const CRefPtr<CWin32PipeServer> m_server;
    const uint64_t m_generation;
};

Win32Error CWin32PipeServer::WaitForCall(HANDLE pipe, const std::function<BOOL(OVERLAPPED*)>& start,
                                         DWORD& transferred) {
    transferred = 0;
    CHandle done(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!done) return ::GetLastError();
    OVERLAPPED overlapped{};
    overlapped.hEvent = done.get();
    if (start(&overlapped)) {
        ::GetOverlappedResult(pipe, &overlapped, &transferred, FALSE);
        return ERROR_SUCCESS;
    }
    DWORD error = ::GetLastError();
    if (error == ERROR_MORE_DATA) {
        ::GetOverlappedResult(pipe, &overlapped, &transferred, FALSE);
        return error;
    }
    if (error != ERROR_IO_PENDING) return error;
    HANDLE waits[2] = {done.get(), m_closeEvent.get()};
    if (::WaitForMultipleObjects(2, waits, FALSE, INFINITE) != WAIT_OBJECT_0) ::CancelIoEx(pipe, &overlapped);
    if (::GetOverlappedResult(pipe, &overlapped, &transferred, TRUE)) return ERROR_SUCCESS;
    return ::GetLastError();
}

Win32Error CWin32PipeServer::ConnectNamedPipe(CRefPtr<IPipeConnection>& connection) {
    connection = nullptr;
    Use use(*this);
    if (!use) return ERROR_INVALID_HANDLE;
    {
        std::lock_guard lock(m_mutex);
        if (m_connected) {
            // Still connected: ERROR_PIPE_CONNECTED, which counts as success.
            connection = MakeRef<CWin32ServerConnection>(CRefPtr<CWin32PipeServer>(this), m_generation);
            return ERROR_SUCCESS;
        }
    }
    DWORD ignored = 0;
    Win32Error error = WaitForCall(
        use.pipe(), [&](OVERLAPPED* overlapped) { return ::ConnectNamedPipe(use.pipe(), overlapped); }, ignored);
    // A client that came before this call is connected all the same
    // (ERROR_PIPE_CONNECTED), and so is one that has already gone again
    // (ERROR_NO_DATA): what it wrote can still be read, then the pipe is
    // broken, as for a client that leaves later.
    if (error == ERROR_PIPE_CONNECTED || error == ERROR_NO_DATA) error = ERROR_SUCCESS;
    std::lock_guard lock(m_mutex);
    if (m_closed) return ERROR_INVALID_HANDLE;
    if (error != ERROR_SUCCESS) return error;
    m_connected = true;
    ++m_generation;
    connection = MakeRef<CWin32ServerConnection>(CRefPtr<CWin32PipeServer>(this), m_generation);
    return ERROR_SUCCESS;
}

Win32Error CWin32PipeServer::DisconnectNamedPipe() {
    Use use(*this);
    if (!use) return ERROR_INVALID_HANDLE;
    {
        std::lock_guard lock(m_mutex);
        m_connected = false;
        ++m_generation;
    }
    return ::DisconnectNamedPipe(use.pipe()) ? ERROR_SUCCESS : ::GetLastError();
}

void CWin32PipeServer::Close() {
    std::lock_guard lock(m_mutex);
    if (m_closed) return;
    m_closed = true;
    ::SetEvent(m_closeEvent.get());
    if (m_uses == 0) ClosePipeLocked();
}

Win32Error CWin32PipeServer::Transfer(uint64_t generation, bool write, void* data, uint32_t size,
                                      uint32_t& transferred) {
    transferred = 0;
    Use use(*this);
    if (!use) return ERROR_PIPE_NOT_CONNECTED;
    {
        std::lock_guard lock(m_mutex);
        if (!m_connected || generation != m_generation) return ERROR_PIPE_NOT_CONNECTED;
    }
    DWORD count = 0;
    Win32Error error = WaitForCall(
        use.pipe(),
        [&](OVERLAPPED* overlapped) {
            return write ? ::WriteFile(use.pipe(), data, size, nullptr, overlapped)
                         : ::ReadFile(use.pipe(), data, size, nullptr, overlapped);
        },
        count);
    transferred = count;
    if (error == ERROR_OPERATION_ABORTED) return ERROR_PIPE_NOT_CONNECTED;
    return error;
}

}  // namespace

Win32Error CWin32Pipes::CreateFile(const std::wstring& name, CRefPtr<IPipeConnection>& connection) {
    connection = nullptr;
    HANDLE handle =
        ::CreateFileW(NamespacedPipeName(name).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return ::GetLastError();
    connection = MakeRef<CWin32ClientConnection>(handle);
    return ERROR_SUCCESS;
}

Win32Error CWin32Pipes::WaitNamedPipe(const std::wstring& name, uint32_t timeoutMs) {
    return ::WaitNamedPipeW(NamespacedPipeName(name).c_str(), timeoutMs) ? ERROR_SUCCESS : ::GetLastError();
}

Win32Error CWin32Pipes::CreateNamedPipe(const std::wstring& name, const PipeServerOptions& options,
                                        CRefPtr<IPipeServer>& server) {
    server = nullptr;
    CHandle closeEvent(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!closeEvent) return ::GetLastError();
    DWORD openMode = PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED;
    if (options.firstInstance) openMode |= FILE_FLAG_FIRST_PIPE_INSTANCE;
    const DWORD pipeMode =
        (options.messageMode ? PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE : PIPE_TYPE_BYTE | PIPE_READMODE_BYTE) |
        PIPE_WAIT;
    CEveryoneSecurity everyone;
    SECURITY_ATTRIBUTES* security = options.everyoneMayConnect ? everyone.get() : nullptr;
    HANDLE pipe = ::CreateNamedPipeW(NamespacedPipeName(name).c_str(), openMode, pipeMode, PIPE_UNLIMITED_INSTANCES,
                                     options.outBufferSize, options.inBufferSize, 0, security);
    if (pipe == INVALID_HANDLE_VALUE) return ::GetLastError();
    server = MakeRef<CWin32PipeServer>(pipe, closeEvent.release());
    return ERROR_SUCCESS;
}

}  // namespace qv
