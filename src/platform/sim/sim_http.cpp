#include "platform/sim/sim_http.h"

#include <algorithm>
#include <cstring>

#include "platform/codes.h"

namespace qv {

namespace {

// Counts itself open for as long as it lives, as a platform handle does
// until it is closed.
class CSimHttpHandle {
public:
    explicit CSimHttpHandle(CRefPtr<CSimHttp> http) : m_http(std::move(http)) { m_http->Opened(); }
    ~CSimHttpHandle() { m_http->Closed(); }
    CSimHttpHandle(const CSimHttpHandle&) = delete;
    CSimHttpHandle& operator=(const CSimHttpHandle&) = delete;
    CSimHttp& Http() const { return *m_http; }

private:
    CRefPtr<CSimHttp> m_http;
};

class CSimHttpRequestHandle : public CAddReleaseRef, public IHttpRequest {
public:
    CSimHttpRequestHandle(CRefPtr<CSimHttp> http, SimHttpRequest request)
        : m_handle(std::move(http)), m_request(std::move(request)) {}

    Win32Error WinHttpSendRequest() override {
        if (auto failure = Http().Enter(L"WinHttpSendRequest", m_request.path)) return *failure;
        Http().Record(m_request);
        return ERROR_SUCCESS;
    }
    Win32Error WinHttpReceiveResponse() override {
        if (auto failure = Http().Enter(L"WinHttpReceiveResponse", m_request.path)) return *failure;
        m_answer = Http().AnswerOf(m_request.path);
        return ERROR_SUCCESS;
    }
    Win32Error WinHttpQueryDataAvailable(uint32_t& available) override {
        available = 0;
        if (auto failure = Http().Enter(L"WinHttpQueryDataAvailable", m_request.path)) return *failure;
        available = static_cast<uint32_t>(std::min<std::size_t>(m_answer.chunkSize, Left()));
        return ERROR_SUCCESS;
    }
    Win32Error WinHttpReadData(void* buffer, uint32_t size, uint32_t& read) override {
        read = 0;
        if (auto failure = Http().Enter(L"WinHttpReadData", m_request.path)) return *failure;
        read = static_cast<uint32_t>(std::min<std::size_t>(size, Left()));
        std::memcpy(buffer, m_answer.body.data() + m_at, read);
        m_at += read;
        return ERROR_SUCCESS;
    }

private:
    CSimHttp& Http() const { return m_handle.Http(); }
    std::size_t Left() const { return m_answer.body.size() - m_at; }

    CSimHttpHandle m_handle;
    const SimHttpRequest m_request;
    CSimHttp::Answer m_answer;
    std::size_t m_at = 0;
};

class CSimHttpConnection : public CAddReleaseRef, public IHttpConnection {
public:
    CSimHttpConnection(CRefPtr<CSimHttp> http, SimHttpRequest request)
        : m_handle(std::move(http)), m_request(std::move(request)) {}
    Win32Error WinHttpOpenRequest(const std::wstring& verb, const std::wstring& path, bool secure,
                                  CRefPtr<IHttpRequest>& request) override {
        request = nullptr;
        if (auto failure = m_handle.Http().Enter(L"WinHttpOpenRequest", path)) return *failure;
        SimHttpRequest made = m_request;
        made.verb = verb;
        made.path = path;
        made.secure = secure;
        request = MakeRef<CSimHttpRequestHandle>(CRefPtr<CSimHttp>(&m_handle.Http()), std::move(made));
        return ERROR_SUCCESS;
    }

private:
    CSimHttpHandle m_handle;
    const SimHttpRequest m_request;
};

class CSimHttpSession : public CAddReleaseRef, public IHttpSession {
public:
    CSimHttpSession(CRefPtr<CSimHttp> http, std::wstring agent)
        : m_handle(std::move(http)), m_agent(std::move(agent)) {}
    Win32Error WinHttpConnect(const std::wstring& host, uint16_t port, CRefPtr<IHttpConnection>& connection) override {
        connection = nullptr;
        if (auto failure = m_handle.Http().Enter(L"WinHttpConnect", host)) return *failure;
        connection = MakeRef<CSimHttpConnection>(CRefPtr<CSimHttp>(&m_handle.Http()),
                                                 SimHttpRequest{m_agent, host, port, {}, {}, false});
        return ERROR_SUCCESS;
    }

private:
    CSimHttpHandle m_handle;
    const std::wstring m_agent;
};

}  // namespace

CSimHttp::CSimHttp()
    : m_failures({L"WinHttpOpen", L"WinHttpConnect", L"WinHttpOpenRequest", L"WinHttpSendRequest",
                  L"WinHttpReceiveResponse", L"WinHttpQueryDataAvailable", L"WinHttpReadData"}) {}

Win32Error CSimHttp::WinHttpOpen(const std::wstring& agent, CRefPtr<IHttpSession>& session) {
    session = nullptr;
    if (auto failure = Enter(L"WinHttpOpen")) return *failure;
    session = MakeRef<CSimHttpSession>(CRefPtr<CSimHttp>(this), agent);
    return ERROR_SUCCESS;
}

void CSimHttp::PutBody(const std::wstring& path, std::string body, uint32_t chunkSize) {
    std::lock_guard lock(m_mutex);
    m_answers[path] = Answer{std::move(body), std::max(chunkSize, 1u)};
}

// The hold is bounded, so that a test that forgets to let go fails rather
// than hangs.
std::optional<uint32_t> CSimHttp::Enter(const wchar_t* operation, const std::wstring& target) {
    {
        std::unique_lock lock(m_mutex);
        if (!m_held && !m_released && m_holdOperation == operation) {
            m_held = true;
            m_changed.notify_all();
            m_changed.wait_for(lock, std::chrono::seconds(30), [&] { return m_released; });
            m_holdOperation.clear();
        }
    }
    return m_failures.Enter(operation, {target});
}

void CSimHttp::HoldNext(const std::wstring& operation) {
    std::lock_guard lock(m_mutex);
    m_holdOperation = operation;
    m_held = false;
    m_released = false;
}

bool CSimHttp::WaitHeld(std::chrono::milliseconds timeout) {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, timeout, [&] { return m_held; });
}

void CSimHttp::LetGo() {
    std::lock_guard lock(m_mutex);
    m_released = true;
    m_changed.notify_all();
}

void CSimHttp::Shutdown() { LetGo(); }

std::vector<SimHttpRequest> CSimHttp::Requests() const {
    std::lock_guard lock(m_mutex);
    return m_requests;
}

bool CSimHttp::WaitAllClosed(std::chrono::milliseconds timeout) {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, timeout, [&] { return m_open == 0; });
}

void CSimHttp::Opened() {
    std::lock_guard lock(m_mutex);
    ++m_open;
}

void CSimHttp::Closed() {
    std::lock_guard lock(m_mutex);
    --m_open;
    m_changed.notify_all();
}

void CSimHttp::Record(const SimHttpRequest& request) {
    std::lock_guard lock(m_mutex);
    m_requests.push_back(request);
}

CSimHttp::Answer CSimHttp::AnswerOf(const std::wstring& path) const {
    std::lock_guard lock(m_mutex);
    auto found = m_answers.find(path);
    return found == m_answers.end() ? Answer{} : found->second;
}

}  // namespace qv
