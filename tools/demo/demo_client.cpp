// quorvane-demo-client: plays a sound to the sound server for a while and,
// if asked, records from it at the same time, as a call program does. Its
// process name is what the classifier judges by, so demonstrations copy it
// under the name of a media player or a call program. With --play it plays a
// media file instead, and holds the file open while it does, as a player
// does: that is what the classifier's lister finds.
#include <fcntl.h>
#include <pulse/error.h>
#include <pulse/simple.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numbers>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "child_process.h"
#include "decoded_file.h"
#include "platform/linux/linux_unique_fd.h"

namespace {

struct Options {
    double seconds = 5.0;
    bool record = false;
    double toneHz = 440.0;
    // Speech comes in bursts: the level jumps from one second to the next.
    bool bursts = false;
    std::string sink;
    std::string source;
    std::string play;  // a media file to play instead of the tone
    // A native-messaging host to start as this program's child, as a browser
    // does, and the file of framed messages that it reads.
    std::string nativeHost;
    std::string nativeHostInput;
    // Play from a child, as Chromium plays from its audio service; the
    // arguments that the child takes on.
    bool audioService = false;
    std::vector<std::string> childArguments;
};

void PrintHelp() {
    std::printf(
        "Usage: quorvane-demo-client [options]\n"
        "\n"
        "Plays a tone to the sound server (PulseAudio or PipeWire) and, with --record,\n"
        "records from it at the same time.\n"
        "\n"
        "  --seconds S     how long to play (default 5)\n"
        "  --record        also record from the default (or given) source\n"
        "  --tone HZ       the tone's pitch (default 440)\n"
        "  --bursts        vary the level from second to second, as speech does\n"
        "  --play FILE     play this media file's sound (16-bit once decoded), again\n"
        "                  from its start until the time is up, holding the file open\n"
        "  --sink NAME     play to this sink instead of the default\n"
        "  --source NAME   record from this source instead of the default\n"
        "  --native-host PROGRAM --native-host-input FILE\n"
        "                  while playing, start PROGRAM as a browser starts its\n"
        "                  native-messaging host, its standard input read from FILE\n"
        "                  (messages already framed), its answers on standard output\n"
        "  --audio-service play from a child process of this program, as Chromium plays\n"
        "                  from its audio service\n"
        "  --help          this text\n");
}

bool Parse(int argc, char** argv, Options& o) {
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        auto next = [&]() -> const char* { return i + 1 < argc ? argv[++i] : nullptr; };
        if (a == "--help") {
            PrintHelp();
            std::exit(0);
        } else if (a == "--record") {
            o.record = true;
            o.childArguments.push_back(a);
        } else if (a == "--bursts") {
            o.bursts = true;
            o.childArguments.push_back(a);
        } else if (a == "--audio-service") {
            o.audioService = true;
        } else if (a == "--seconds" || a == "--tone" || a == "--sink" || a == "--source" || a == "--play" ||
                   a == "--native-host" || a == "--native-host-input") {
            const char* v = next();
            if (!v) {
                std::fprintf(stderr, "quorvane-demo-client: %s needs a value\n", a.c_str());
                return false;
            }
            if (a != "--native-host" && a != "--native-host-input")
                o.childArguments.insert(o.childArguments.end(), {a, v});
            if (a == "--play")
                o.play = v;
            else if (a == "--native-host")
                o.nativeHost = v;
            else if (a == "--native-host-input")
                o.nativeHostInput = v;
            else if (a == "--sink")
                o.sink = v;
            else if (a == "--source")
                o.source = v;
            else {
                char* end = nullptr;
                double d = std::strtod(v, &end);
                if (!end || *end || !(d > 0) || d > 86400) {
                    std::fprintf(stderr, "quorvane-demo-client: %s takes a positive number\n", a.c_str());
                    return false;
                }
                (a == "--seconds" ? o.seconds : o.toneHz) = d;
            }
        } else {
            std::fprintf(stderr, "quorvane-demo-client: unknown option %s (see --help)\n", a.c_str());
            return false;
        }
    }
    if (o.nativeHost.empty() != o.nativeHostInput.empty()) {
        std::fprintf(stderr, "quorvane-demo-client: --native-host and --native-host-input go together\n");
        return false;
    }
    return true;
}

// The next chunk of sound: the tone, or the file again from its start.
class CSoundSource {
public:
    CSoundSource(const Options& o, qv::demo::DecodedFile file) : m_options(o), m_file(std::move(file)) {}
    uint32_t Channels() const { return m_file.channels ? m_file.channels : 2; }
    uint32_t Rate() const { return m_file.samplesPerSecond ? m_file.samplesPerSecond : 44100; }
    void Fill(std::vector<int16_t>& out, long firstFrame) {
        const uint32_t channels = Channels();
        for (std::size_t i = 0; i < out.size(); ++i) {
            if (!m_file.samples.empty()) {
                out[i] = m_file.samples[m_next++ % m_file.samples.size()];
                continue;
            }
            const double t = static_cast<double>(firstFrame + static_cast<long>(i / channels)) / Rate();
            const double level = m_options.bursts ? (static_cast<int>(t) % 2 == 0 ? 0.5 : 0.1) : 0.3;
            out[i] = static_cast<int16_t>(level * 32767 * std::sin(2 * std::numbers::pi * m_options.toneHz * t));
        }
    }

private:
    const Options& m_options;
    qv::demo::DecodedFile m_file;
    std::size_t m_next = 0;
};

}  // namespace

int main(int argc, char** argv) {
    Options o;
    if (!Parse(argc, argv, o)) return 2;
    std::optional<qv::demo::CChildProcess> nativeHost;
    if (!o.nativeHost.empty()) {
        // The host's answers share this program's standard output.
        std::fflush(stdout);
        nativeHost.emplace(std::vector<std::string>{o.nativeHost}, o.nativeHostInput);
        if (!nativeHost->Started()) std::fprintf(stderr, "quorvane-demo-client: %s\n", nativeHost->Problem().c_str());
    }
    if (o.audioService) {
        std::vector<std::string> child{argv[0]};
        child.insert(child.end(), o.childArguments.begin(), o.childArguments.end());
        qv::demo::CChildProcess service(child);
        if (!service.Started()) std::fprintf(stderr, "quorvane-demo-client: %s\n", service.Problem().c_str());
        return service.Wait();
    }
    // The file stays open for the whole run, as a player keeps what it plays.
    qv::CUniqueFd held;
    qv::demo::DecodedFile decoded;
    if (!o.play.empty()) {
        held.reset(::open(o.play.c_str(), O_RDONLY | O_CLOEXEC));
        std::string problem;
        if (!held || !qv::demo::DecodeWholeFile(o.play, decoded, problem)) {
            std::fprintf(stderr, "quorvane-demo-client: %s\n", held ? problem.c_str() : "cannot open the file to play");
            return 1;
        }
    }
    CSoundSource source(o, std::move(decoded));
    const pa_sample_spec spec{PA_SAMPLE_S16LE, source.Rate(), static_cast<uint8_t>(source.Channels())};
    const char* name = argc > 0 ? argv[0] : "quorvane-demo-client";
    if (const char* slash = std::strrchr(name, '/')) name = slash + 1;
    int error = 0;

    std::atomic<bool> done{false};
    std::thread recorder;
    if (o.record) {
        pa_simple* in = pa_simple_new(nullptr, name, PA_STREAM_RECORD, o.source.empty() ? nullptr : o.source.c_str(),
                                      "microphone", &spec, nullptr, nullptr, &error);
        if (!in) {
            std::fprintf(stderr, "quorvane-demo-client: cannot record: %s\n", pa_strerror(error));
            return 1;
        }
        recorder = std::thread([in, &done] {
            std::vector<char> buffer(4410 * 4);
            int e = 0;
            while (!done.load() && pa_simple_read(in, buffer.data(), buffer.size(), &e) >= 0) {
            }
            pa_simple_free(in);
        });
    }

    pa_simple* out = pa_simple_new(nullptr, name, PA_STREAM_PLAYBACK, o.sink.empty() ? nullptr : o.sink.c_str(),
                                   "playback", &spec, nullptr, nullptr, &error);
    if (!out) {
        std::fprintf(stderr, "quorvane-demo-client: cannot play: %s\n", pa_strerror(error));
        done.store(true);
        if (recorder.joinable()) recorder.join();
        return 1;
    }
    const long frames = static_cast<long>(o.seconds * spec.rate);
    const long chunk = spec.rate / 10;
    std::vector<int16_t> samples(static_cast<std::size_t>(chunk) * spec.channels);
    int rc = 0;
    for (long frame = 0; frame < frames && rc == 0; frame += chunk) {
        source.Fill(samples, frame);
        if (pa_simple_write(out, samples.data(), samples.size() * sizeof(int16_t), &error) < 0) {
            std::fprintf(stderr, "quorvane-demo-client: playing failed: %s\n", pa_strerror(error));
            rc = 1;
        }
    }
    if (rc == 0) pa_simple_drain(out, &error);
    pa_simple_free(out);
    done.store(true);
    if (recorder.joinable()) recorder.join();
    return rc;
}
