// What the host prints: each message that reaches its pipe, with a time
// stamp and the output's name, from a thread of its own for as long as the
// printer lives.
#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "host_listener.h"
#include "platform/audio.h"

namespace qv::host {

using Clock = std::chrono::steady_clock;

// "HH:MM:SS.mmm +S.sss s": the wall clock, and the time since `start`.
std::string Stamp(Clock::time_point start);

// The endpoint's name as the user sees it, or its id when the platform
// cannot tell.
std::wstring EndpointName(IMMDeviceEnumerator* enumerator, const std::wstring& id);

class CHostWordPrinter {
public:
    // Starts taking the listener's clients at once.
    CHostWordPrinter(CHostPipeListener& listener, CRefPtr<IMMDeviceEnumerator> enumerator, Clock::time_point start);
    // Closes the listener, which ends the thread, and joins it.
    ~CHostWordPrinter();
    CHostWordPrinter(const CHostWordPrinter&) = delete;
    CHostWordPrinter& operator=(const CHostWordPrinter&) = delete;

    long Received() const { return m_received.load(); }

private:
    void Run();
    void Print(const std::string& endpointId, const std::string& word, const std::string& version);

    CHostPipeListener& m_listener;
    const CRefPtr<IMMDeviceEnumerator> m_enumerator;
    const Clock::time_point m_start;
    std::atomic<long> m_received{0};
    std::map<std::string, std::wstring> m_names;  // the printer's thread alone uses it
    std::thread m_thread;                         // last: it uses everything above
};

}  // namespace qv::host
