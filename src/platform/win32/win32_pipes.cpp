#include "platform/win32/win32_pipes.h"

#include <functional>
#include <mutex>
#include <utility>

#include "platform/close_after_last_use.h"
#include "platform/pipe_namespace.h"
#include "platform/win32/win32_security.h"
#include "platform/win32/win32_unique_handle.h"
#include "platform/win32/windows_api.h"

namespace qv {

namespace {

// A client's end: a handle opened without overlap, so calls block in place.
class CWin32ClientConnection : public CAddReleaseRef, public IPipeConnection {
public:
    explicit CWin32ClientConnection(CUniqueHandle handle) : m_handle(std::move(handle)) {}
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
    const CUniqueHandle m_handle;
};

using PipeUse = CCloseAfterLastUse<CUniqueHandle>::Use;

class CWin32PipeServer : public CAddReleaseRef, public IPipeServer {
public:
    CWin32PipeServer(CUniqueHandle pipe, CUniqueHandle closeEvent)
        : m_pipe(std::move(pipe)), m_closeEvent(std::move(closeEvent)) {}

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

    // Starts an overlapped call and waits for it, or for Close, which
    // cancels it. The OVERLAPPED lives on this stack, so the call is always
    // waited out, cancelled or not.
    Win32Error WaitForCall(HANDLE pipe, const std::function<BOOL(OVERLAPPED*)>& start, DWORD& transferred);

    // A call holds a Use of the pipe while it runs; Close cancels the calls
    // and the last one out closes the pipe.
    CCloseAfterLastUse<CUniqueHandle> m_pipe;
    std::mutex m_mutex;  // the connection's state below
    bool m_connected = false;
    // Each client has its own generation, so that the connection object of
    // one client cannot read what the next one sends.
    uint64_t m_generation = 0;
    const CUniqueHandle m_closeEvent;  // manual reset: set once by Close
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
    CUniqueHandle done(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
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
    PipeUse use(m_pipe);
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
        use.get(), [&](OVERLAPPED* overlapped) { return ::ConnectNamedPipe(use.get(), overlapped); }, ignored);
    // A client that came before this call is connected all the same
    // (ERROR_PIPE_CONNECTED), and so is one that has already gone again
    // (ERROR_NO_DATA): what it wrote can still be read, then the pipe is
    // broken, as for a client that leaves later.
    if (error == ERROR_PIPE_CONNECTED || error == ERROR_NO_DATA) error = ERROR_SUCCESS;
    if (m_pipe.Closed()) return ERROR_INVALID_HANDLE;
    if (error != ERROR_SUCCESS) return error;
    std::lock_guard lock(m_mutex);
    m_connected = true;
    ++m_generation;
    connection = MakeRef<CWin32ServerConnection>(CRefPtr<CWin32PipeServer>(this), m_generation);
    return ERROR_SUCCESS;
}

Win32Error CWin32PipeServer::DisconnectNamedPipe() {
    PipeUse use(m_pipe);
    if (!use) return ERROR_INVALID_HANDLE;
    {
        std::lock_guard lock(m_mutex);
        m_connected = false;
        ++m_generation;
    }
    return ::DisconnectNamedPipe(use.get()) ? ERROR_SUCCESS : ::GetLastError();
}

void CWin32PipeServer::Close() {
    m_pipe.Close([this](HANDLE) { ::SetEvent(m_closeEvent.get()); });
}

Win32Error CWin32PipeServer::Transfer(uint64_t generation, bool write, void* data, uint32_t size,
                                      uint32_t& transferred) {
    transferred = 0;
    PipeUse use(m_pipe);
    if (!use) return ERROR_PIPE_NOT_CONNECTED;
    {
        std::lock_guard lock(m_mutex);
        if (!m_connected || generation != m_generation) return ERROR_PIPE_NOT_CONNECTED;
    }
    DWORD count = 0;
    Win32Error error = WaitForCall(
        use.get(),
        [&](OVERLAPPED* overlapped) {
            return write ? ::WriteFile(use.get(), data, size, nullptr, overlapped)
                         : ::ReadFile(use.get(), data, size, nullptr, overlapped);
        },
        count);
    transferred = count;
    if (error == ERROR_OPERATION_ABORTED) return ERROR_PIPE_NOT_CONNECTED;
    return error;
}

}  // namespace

Win32Error CWin32Pipes::CreateFile(const std::wstring& name, CRefPtr<IPipeConnection>& connection) {
    connection = nullptr;
    CUniqueHandle handle(::CreateFileW(NamespacedPipeName(name).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                       OPEN_EXISTING, 0, nullptr));
    if (!handle) return ::GetLastError();
    connection = MakeRef<CWin32ClientConnection>(std::move(handle));
    return ERROR_SUCCESS;
}

Win32Error CWin32Pipes::WaitNamedPipe(const std::wstring& name, uint32_t timeoutMs) {
    return ::WaitNamedPipeW(NamespacedPipeName(name).c_str(), timeoutMs) ? ERROR_SUCCESS : ::GetLastError();
}

Win32Error CWin32Pipes::CreateNamedPipe(const std::wstring& name, const PipeServerOptions& options,
                                        CRefPtr<IPipeServer>& server) {
    server = nullptr;
    // FILE_FLAG_FIRST_PIPE_INSTANCE refuses a name that another server
    // holds, on Windows; Wine ignores it and makes a second instance, which
    // would split one pipe's clients between two servers. So the name is
    // looked up first: an existing instance, free or busy, means taken. Two
    // servers that start within the same moment can still both pass this
    // look; Windows itself then refuses the second.
    if (options.firstInstance) {
        const std::wstring namespaced = NamespacedPipeName(name);
        if (::WaitNamedPipeW(namespaced.c_str(), 1) || ::GetLastError() != ERROR_FILE_NOT_FOUND)
            return ERROR_ACCESS_DENIED;
    }
    CUniqueHandle closeEvent(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!closeEvent) return ::GetLastError();
    DWORD openMode = PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED;
    if (options.firstInstance) openMode |= FILE_FLAG_FIRST_PIPE_INSTANCE;
    const DWORD pipeMode =
        (options.messageMode ? PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE : PIPE_TYPE_BYTE | PIPE_READMODE_BYTE) |
        PIPE_WAIT;
    CSecurityAttributes everyone{kEveryoneMayConnect};
    SECURITY_ATTRIBUTES* security = options.everyoneMayConnect ? everyone.get() : nullptr;
    CUniqueHandle pipe(::CreateNamedPipeW(NamespacedPipeName(name).c_str(), openMode, pipeMode,
                                          PIPE_UNLIMITED_INSTANCES, options.outBufferSize, options.inBufferSize, 0,
                                          security));
    if (!pipe) return ::GetLastError();
    server = MakeRef<CWin32PipeServer>(std::move(pipe), std::move(closeEvent));
    return ERROR_SUCCESS;
}

}  // namespace qv
