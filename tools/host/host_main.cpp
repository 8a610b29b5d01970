// quorvane-host: the reference starter and host. It listens on the host pipe,
// answers each classification message, prints it with a time stamp and the
// endpoint's name, and runs the classifier as its child for the chosen or the
// default output until it is interrupted.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "child_process.h"
#include "core/text.h"
#include "host_frame.h"
#include "host_listener.h"
#include "platform/native.h"

#ifdef _WIN32
#include "platform/win32/windows_api.h"
#else
#include <csignal>
#include <climits>
#include <unistd.h>
#endif

namespace qv::host {
namespace {

constexpr const char* kDefaultPipe = "\\\\.\\pipe\\QuorvaneHost";

struct Options {
    std::string pipe = kDefaultPipe;
    std::string endpoint;
    std::string classifier;
    bool startClassifier = true;
    long count = 0;       // stop after this many messages; 0: no limit
    double seconds = 0;   // stop after this long; 0: no limit
    std::vector<std::string> extra;
};

void PrintHelp() {
    std::printf(
        "Usage: quorvane-host [options] [-- classifier arguments]\n"
        "\n"
        "Listens on the host pipe, prints every classification the content classifier\n"
        "sends (time, output, word), and runs the classifier for one output until\n"
        "interrupted (Ctrl-C).\n"
        "\n"
        "Options:\n"
        "  --pipe NAME         host pipe name (default %s)\n"
        "  --endpoint ID       endpoint id of the output to classify (default: the\n"
        "                      default output; on Linux a sink name or index works too)\n"
        "  --classifier PATH   the ContentClassifier program (default: found beside this\n"
        "                      tool, or in the build tree's src folder)\n"
        "  --listen-only       do not start the classifier; only print what arrives\n"
        "  --count N           stop after N messages\n"
        "  --for SECONDS       stop after this many seconds\n"
        "  --help              this text\n",
        kDefaultPipe);
}

bool ParseOptions(int argc, char** argv, Options& options, std::string& error) {
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        auto value = [&](const char* name) -> const char* {
            if (i + 1 >= argc) {
                error = std::string(name) + " needs a value";
                return nullptr;
            }
            return argv[++i];
        };
        if (arg == "--help" || arg == "-h") {
            PrintHelp();
            std::exit(0);
        } else if (arg == "--pipe") {
            const char* v = value("--pipe");
            if (!v) return false;
            options.pipe = v;
        } else if (arg == "--endpoint") {
            const char* v = value("--endpoint");
            if (!v) return false;
            options.endpoint = v;
        } else if (arg == "--classifier") {
            const char* v = value("--classifier");
            if (!v) return false;
            options.classifier = v;
        } else if (arg == "--listen-only") {
            options.startClassifier = false;
        } else if (arg == "--count") {
            const char* v = value("--count");
            if (!v) return false;
            char* end = nullptr;
            options.count = std::strtol(v, &end, 10);
            if (!end || *end || options.count < 1) {
                error = "--count takes a whole number of at least 1";
                return false;
            }
        } else if (arg == "--for") {
            const char* v = value("--for");
            if (!v) return false;
            char* end = nullptr;
            options.seconds = std::strtod(v, &end);
            if (!end || *end || options.seconds <= 0) {
                error = "--for takes a number of seconds above 0";
                return false;
            }
        } else if (arg == "--") {
            for (++i; i < argc; ++i) options.extra.push_back(argv[i]);
        } else {
            error = "unknown option " + arg + " (see --help)";
            return false;
        }
    }
    return true;
}

std::string Stamp(std::chrono::steady_clock::time_point start) {
    auto now = std::chrono::system_clock::now();
    std::time_t t = std::chrono::system_clock::to_time_t(now);
    std::tm local{};
#ifdef _WIN32
    localtime_s(&local, &t);
#else
    localtime_r(&t, &local);
#endif
    char clock[32];
    std::strftime(clock, sizeof clock, "%H:%M:%S", &local);
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    const double since =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    char text[80];
    std::snprintf(text, sizeof text, "%s.%03d +%.3fs", clock, static_cast<int>(ms), since);
    return text;
}

std::string DirectoryOf(const std::string& path) {
    const std::size_t slash = path.find_last_of("/\\");
    return slash == std::string::npos ? std::string(".") : path.substr(0, slash);
}

std::string SelfPath(const char* argv0) {
#ifdef _WIN32
    wchar_t buffer[MAX_PATH];
    DWORD n = ::GetModuleFileNameW(nullptr, buffer, MAX_PATH);
    if (n > 0 && n < MAX_PATH) return WideToUtf8(std::wstring(buffer, n));
#else
    char buffer[PATH_MAX];
    ssize_t n = ::readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    if (n > 0) return std::string(buffer, static_cast<std::size_t>(n));
#endif
    return argv0;
}

bool FileExists(const std::string& path) {
    if (FILE* f = std::fopen(path.c_str(), "rb")) {
        std::fclose(f);
        return true;
    }
    return false;
}

std::string FindClassifier(const char* argv0) {
#ifdef _WIN32
    const char* name = "ContentClassifier.exe";
#else
    const char* name = "ContentClassifier";
#endif
    const std::string here = DirectoryOf(SelfPath(argv0));
    for (const std::string& candidate : {here + "/" + name, here + "/../../src/" + name})
        if (FileExists(candidate)) return candidate;
    return {};
}

// The endpoint's name as the user sees it, or its id when the platform
// cannot tell.
std::wstring EndpointName(IMMDeviceEnumerator* enumerator, const std::wstring& id) {
    if (!enumerator) return id;
    CRefPtr<IMMDevice> device;
    CRefPtr<IPropertyStore> store;
    PROPVARIANT name;
    if (Failed(enumerator->GetDevice(id, device)) || !device || Failed(device->OpenPropertyStore(0, store)) ||
        !store || Failed(store->GetValue(PKEY_Device_FriendlyName, name)) || name.vt != VT_LPWSTR ||
        name.pwszVal.empty())
        return id;
    return name.pwszVal;
}

std::wstring DefaultOutput(IMMDeviceEnumerator* enumerator) {
    CRefPtr<IMMDevice> device;
    std::wstring id;
    if (enumerator && Succeeded(enumerator->GetDefaultAudioEndpoint(eRender, eMultimedia, device)) && device)
        device->GetId(id);
    return id;
}

std::atomic<bool> g_interrupted{false};

#ifdef _WIN32
BOOL WINAPI OnConsoleControl(DWORD) {
    g_interrupted.store(true);
    return TRUE;
}
#endif

int Run(int argc, char** argv) {
    Options options;
    std::string error;
    if (!ParseOptions(argc, argv, options, error)) {
        std::fprintf(stderr, "quorvane-host: %s\n", error.c_str());
        return 2;
    }
#ifdef _WIN32
    ::SetConsoleCtrlHandler(OnConsoleControl, TRUE);
#else
    sigset_t interrupts;
    sigemptyset(&interrupts);
    sigaddset(&interrupts, SIGINT);
    sigaddset(&interrupts, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &interrupts, nullptr);
#endif

    CRefPtr<IPlatform> platform = CreateNativePlatform();
    SetPlatform(platform);
    CRefPtr<IPipes> pipes = platform->Pipes();
    if (!pipes) {
        std::fprintf(stderr, "quorvane-host: this platform has no pipes\n");
        return 1;
    }
    CRefPtr<IMMDeviceEnumerator> enumerator;
    platform->CreateDeviceEnumerator(enumerator);

    std::wstring endpoint = Utf8ToWide(options.endpoint);
    if (options.startClassifier && endpoint.empty()) {
        endpoint = DefaultOutput(enumerator.get());
        if (endpoint.empty()) {
            std::fprintf(stderr, "quorvane-host: no default output found; name one with --endpoint\n");
            return 1;
        }
    }

    CHostPipeListener server(pipes);
    Win32Error created = server.Listen(Utf8ToWide(options.pipe));
    if (created != 0) {
        std::fprintf(stderr, "quorvane-host: cannot listen on %s (error %u); is another host running?\n",
                     options.pipe.c_str(), created);
        return 1;
    }

    const auto start = std::chrono::steady_clock::now();
    std::atomic<long> received{0};
    std::mutex names;
    std::map<std::string, std::wstring> nameCache;
    std::thread listener([&] {
        for (;;) {
            CRefPtr<IPipeConnection> connection;
            if (server.Accept(connection) != 0 || !connection) return;
            std::string frameError;
            std::optional<std::string> text = ReceiveHostFrame(*connection, frameError);
            server.Done(connection);
            if (!text) {
                std::fprintf(stderr, "[%s] dropped a message: %s\n", Stamp(start).c_str(), frameError.c_str());
                continue;
            }
            std::optional<HostMessage> message = ParseHostMessage(*text);
            if (!message) {
                std::fprintf(stderr, "[%s] dropped a message that is not three lines\n", Stamp(start).c_str());
                continue;
            }
            std::wstring name;
            {
                std::lock_guard lock(names);
                auto found = nameCache.find(message->endpointId);
                if (found == nameCache.end())
                    found = nameCache
                                .emplace(message->endpointId,
                                         EndpointName(enumerator.get(), Utf8ToWide(message->endpointId)))
                                .first;
                name = found->second;
            }
            std::printf("[%s] %s: %s\n", Stamp(start).c_str(), WideToUtf8(name).c_str(),
                        message->word.empty() ? "(withdrawn)" : message->word.c_str());
            if (message->version != "1.0.0.0")
                std::printf("    (protocol version %s, expected 1.0.0.0)\n", message->version.c_str());
            std::fflush(stdout);
            received.fetch_add(1);
        }
    });

    std::unique_ptr<ChildProcess> child;
    if (options.startClassifier) {
        std::string program = options.classifier.empty() ? FindClassifier(argv[0]) : options.classifier;
        if (program.empty()) {
            std::fprintf(stderr, "quorvane-host: ContentClassifier not found; give it with --classifier\n");
            server.Close();
            listener.join();
            return 1;
        }
        std::vector<std::string> arguments{"/host-pipe-name=" + options.pipe,
                                           "/endpoint-id=" + WideToUtf8(endpoint)};
        arguments.insert(arguments.end(), options.extra.begin(), options.extra.end());
        child = StartChildProcess(program, arguments, error);
        if (!child) {
            std::fprintf(stderr, "quorvane-host: %s\n", error.c_str());
            server.Close();
            listener.join();
            return 1;
        }
        std::printf("[%s] started %s (process %lu) for %s\n", Stamp(start).c_str(), program.c_str(),
                    child->ProcessId(), WideToUtf8(EndpointName(enumerator.get(), endpoint)).c_str());
    } else {
        std::printf("[%s] listening on %s\n", Stamp(start).c_str(), options.pipe.c_str());
    }
    std::fflush(stdout);

    int rc = 0;
    for (;;) {
#ifdef _WIN32
        ::Sleep(50);
#else
        timespec wait{0, 50 * 1000 * 1000};
        if (sigtimedwait(&interrupts, nullptr, &wait) > 0) g_interrupted.store(true);
#endif
        if (g_interrupted.load()) break;
        if (options.count > 0 && received.load() >= options.count) break;
        if (options.seconds > 0 &&
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() >= options.seconds)
            break;
        if (child && !child->Running()) {
            std::fprintf(stderr, "quorvane-host: the classifier ended on its own\n");
            rc = 1;
            break;
        }
    }

    if (child) {
        // The classifier withdraws its classification as it stops; keep
        // listening until it has gone.
        int code = child->Stop(std::chrono::seconds(10));
        std::printf("[%s] the classifier stopped with exit code %d\n", Stamp(start).c_str(), code);
    }
    server.Close();
    listener.join();
    SetPlatform(nullptr);
    return rc;
}

}  // namespace
}  // namespace qv::host

int main(int argc, char** argv) { return qv::host::Run(argc, argv); }
