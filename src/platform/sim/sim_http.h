// HTTPS of the simulated machine: a test puts the body that a path answers,
// may make any call fail, and may hold a call inside itself until it lets it
// go, to act while a fetch is under way. Handles count themselves, so a test
// can wait for a fetch to have closed everything.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/http.h"
#include "platform/sim/sim_failures.h"

namespace qv {

struct SimHttpRequest {
    std::wstring agent;
    std::wstring host;
    uint16_t port = 0;
    std::wstring verb;
    std::wstring path;
    bool secure = false;
};

class CSimHttp : public CAddReleaseRef, public IHttp {
public:
    // The operations by their platform names; a request's carry its path
    // as the target.
    CSimHttp();

    Win32Error WinHttpOpen(const std::wstring& agent, CRefPtr<IHttpSession>& session) override;

    // What a GET of the path answers, in chunks of at most chunkSize bytes.
    // Any other path answers an empty body, as no status is looked at.
    void PutBody(const std::wstring& path, std::string body, uint32_t chunkSize = 1u << 16);
    CSimFailures& Failures() { return m_failures; }

    // The next call of the operation waits inside itself until LetGo (or
    // Shutdown); WaitHeld waits until a call is held there.
    void HoldNext(const std::wstring& operation);
    bool WaitHeld(std::chrono::milliseconds timeout);
    void LetGo();
    void Shutdown();

    std::vector<SimHttpRequest> Requests() const;
    // True once no session, connection or request is open.
    bool WaitAllClosed(std::chrono::milliseconds timeout);

    // For the simulated handles.
    struct Answer {
        std::string body;
        uint32_t chunkSize = 1u << 16;
    };
    std::optional<uint32_t> Enter(const wchar_t* operation, const std::wstring& target = {});
    void Opened();
    void Closed();
    void Record(const SimHttpRequest& request);
    Answer AnswerOf(const std::wstring& path) const;

private:
    CSimFailures m_failures;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::map<std::wstring, Answer> m_answers;
    std::vector<SimHttpRequest> m_requests;
    std::wstring m_holdOperation;
    bool m_held = false;
    bool m_released = false;
    int m_open = 0;
};

}  // namespace qv
