// One native-host exchange end to end, as a browser sees it: a frame into
// PELTAK64's standard input, the request over the pipe to a stand-in
// classifier on slot 0 of this program's own pipe namespace, the reply back
// framed on standard output. The host runs for the whole program, as it does
// for an add-on's open port. Bodies of 1 KB and 1 MB; the median and the
// 99th percentile of the round trips are counters.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/linux_unique_fd.h"
#include "platform/native.h"
#include "support/native_host_test_server.h"

namespace {

constexpr const char* kReply = R"({"hostId":"{00000000-0000-0000-0000-000000000000}","isDefaultEndpoint":true})";

bool WriteAll(int fd, const std::string& data) {
    for (std::size_t at = 0; at < data.size();) {
        const ssize_t n = ::write(fd, data.data() + at, data.size() - at);
        if (n <= 0) return false;
        at += static_cast<std::size_t>(n);
    }
    return true;
}

bool ReadAll(int fd, char* data, std::size_t size) {
    for (std::size_t at = 0; at < size;) {
        const ssize_t n = ::read(fd, data + at, size - at);
        if (n <= 0) return false;
        at += static_cast<std::size_t>(n);
    }
    return true;
}

// PELTAK64 in host mode with both streams on pipes of ours, and the
// classifier that it reaches. Made once; the host ends when its input
// closes.
class HostUnderTest {
public:
    HostUnderTest() {
        ::setenv("QUORVANE_PIPE_NAMESPACE", ("qvbench-" + std::to_string(::getpid())).c_str(), 1);
        m_classifier = std::make_unique<qv::test::NativeHostTestServer>(
            qv::CreateNativePlatform()->Pipes(), 0, [](const std::string&) { return std::string(kReply); });
        int in[2], out[2];
        if (m_classifier->CreateError() != 0 || ::pipe2(in, O_CLOEXEC) != 0 || ::pipe2(out, O_CLOEXEC) != 0) return;
        const qv::CUniqueFd childIn(in[0]), childOut(out[1]);
        m_input.reset(in[1]);
        m_output.reset(out[0]);
        m_pid = ::fork();
        if (m_pid == 0) {
            if (::dup2(childIn.get(), 0) < 0 || ::dup2(childOut.get(), 1) < 0) ::_exit(126);
            ::execl(QV_PELTAK64, QV_PELTAK64, "chrome-extension://bench/", nullptr);
            ::_exit(127);
        }
    }
    ~HostUnderTest() {
        m_input.reset();
        if (m_pid > 0) ::waitpid(m_pid, nullptr, 0);
    }
    bool Ready() const { return m_pid > 0; }

    // One message in, one reply out: false when the reply is not the
    // classifier's.
    bool RoundTrip(const std::string& frame) {
        uint32_t size = 0;
        if (!WriteAll(m_input.get(), frame) || !ReadAll(m_output.get(), reinterpret_cast<char*>(&size), 4))
            return false;
        m_reply.resize(size);
        return ReadAll(m_output.get(), m_reply.data(), size) && m_reply == kReply;
    }

private:
    std::unique_ptr<qv::test::NativeHostTestServer> m_classifier;
    qv::CUniqueFd m_input, m_output;
    pid_t m_pid = -1;
    std::string m_reply;
};

void BM_NativeHostExchange(benchmark::State& state) {
    static HostUnderTest host;
    if (!host.Ready()) {
        state.SkipWithError("PELTAK64 or the stand-in classifier did not start");
        return;
    }
    // A JSON string of the body's size, as the add-on's script texts are.
    const auto bodySize = static_cast<std::size_t>(state.range(0));
    const std::string body = "\"" + std::string(bodySize - 2, 'x') + "\"";
    const auto n = static_cast<uint32_t>(body.size());
    const std::string frame = std::string{char(n), char(n >> 8), char(n >> 16), char(n >> 24)} + body;

    std::vector<double> micros;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        if (!host.RoundTrip(frame)) {
            state.SkipWithError("the host gave no reply or the wrong one");
            return;
        }
        micros.push_back(std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
    }
    std::sort(micros.begin(), micros.end());
    state.counters["median_us"] = micros[micros.size() / 2];
    state.counters["p99_us"] = micros[std::min(micros.size() - 1, micros.size() * 99 / 100)];
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bodySize));
}
BENCHMARK(BM_NativeHostExchange)->Arg(1024)->Arg(1024 * 1024)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
