// quorvane-host: the reference starter and host. It listens on the host pipe,
// answers each classification message, prints it with a time stamp and the
// endpoint's name, and runs the classifier as its child for the chosen or the
// default output until it is interrupted. It holds the classifier's exit token
// all the while, and stops the classifier by releasing it; should the host be
// killed, the token is abandoned and the classifier ends all the same.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "child_process.h"
#include "core/text.h"
#include "exit_token.h"
#include "host_listener.h"
#include "host_options.h"
#include "host_system.h"
#include "host_word_printer.h"
#include "platform/native.h"

namespace qv::host {
namespace {

bool FileExists(const std::string& path) {
    if (FILE* f = std::fopen(path.c_str(), "rb")) {
        std::fclose(f);
        return true;
    }
    return false;
}

// Beside this tool when installed, in the build tree's src folder when run
// from the build.
std::string FindClassifier(const char* argv0) {
    const std::string self = SelfPath(argv0);
    const std::size_t slash = self.find_last_of("/\\");
    const std::string here = slash == std::string::npos ? std::string(".") : self.substr(0, slash);
    for (const std::string& candidate :
         {here + "/" + ClassifierFileName(), here + "/../../src/" + ClassifierFileName()})
        if (FileExists(candidate)) return candidate;
    return {};
}

std::wstring DefaultOutput(IMMDeviceEnumerator* enumerator) {
    CRefPtr<IMMDevice> device;
    std::wstring id;
    if (enumerator && Succeeded(enumerator->GetDefaultAudioEndpoint(eRender, eMultimedia, device)) && device)
        device->GetId(id);
    return id;
}

// Until an interrupt, the count or the time is reached, or the classifier
// ends by itself (which is an error: 1).
int WaitForTheEnd(const Options& options, const CHostWordPrinter& printer, ChildProcess* child,
                  Clock::time_point start) {
    for (;;) {
        if (WaitForInterrupt(std::chrono::milliseconds(50))) return 0;
        if (options.count > 0 && printer.Received() >= options.count) return 0;
        if (options.seconds > 0 && std::chrono::duration<double>(Clock::now() - start).count() >= options.seconds)
            return 0;
        if (child && !child->Running()) {
            std::fprintf(stderr, "quorvane-host: the classifier ended on its own\n");
            return 1;
        }
    }
}

int Fail(const std::string& message) {
    std::fprintf(stderr, "quorvane-host: %s\n", message.c_str());
    return 1;
}

// The classifier's command line: the host's pipe, the output, and what the
// user gave after "--".
std::vector<std::string> ClassifierArguments(const Options& options, const std::wstring& endpoint,
                                             const CExitToken& token) {
    std::vector<std::string> arguments{"/host-pipe-name=" + options.pipe, "/endpoint-id=" + WideToUtf8(endpoint),
                                       "/exit-mutex-guid=" + WideToUtf8(token.Name())};
    arguments.insert(arguments.end(), options.extra.begin(), options.extra.end());
    return arguments;
}

int Serve(const Options& options, const char* argv0, IPlatform& platform) {
    CRefPtr<IPipes> pipes = platform.Pipes();
    if (!pipes) return Fail("this platform has no pipes");
    CRefPtr<IMMDeviceEnumerator> enumerator;
    platform.CreateDeviceEnumerator(enumerator);

    std::wstring endpoint = Utf8ToWide(options.endpoint);
    if (options.startClassifier && endpoint.empty()) {
        endpoint = DefaultOutput(enumerator.get());
        if (endpoint.empty()) return Fail("no default output found; name one with --endpoint");
    }
    std::string program;
    if (options.startClassifier) {
        program = options.classifier.empty() ? FindClassifier(argv0) : options.classifier;
        if (program.empty()) return Fail("ContentClassifier not found; give it with --classifier");
    }

    CHostPipeListener listener(pipes);
    const Win32Error created = listener.Listen(Utf8ToWide(options.pipe));
    if (created != 0)
        return Fail("cannot listen on " + options.pipe + " (error " + std::to_string(created) +
                    "); is another host running?");
    const auto start = Clock::now();
    CHostWordPrinter printer(listener, enumerator, start);

    // The token goes before the child: its release lets the child end
    // whatever way this function returns.
    std::unique_ptr<ChildProcess> child;
    CExitToken token;
    if (options.startClassifier) {
        std::string error;
        if (!token.Create(platform, error)) return Fail(error);
        child = StartChildProcess(program, ClassifierArguments(options, endpoint, token), error);
        if (!child) return Fail(error);
        std::printf("[%s] started %s (process %lu) for %s\n", Stamp(start).c_str(), program.c_str(), child->ProcessId(),
                    WideToUtf8(EndpointName(enumerator.get(), endpoint)).c_str());
    } else {
        std::printf("[%s] listening on %s\n", Stamp(start).c_str(), options.pipe.c_str());
    }
    std::fflush(stdout);

    const int rc = WaitForTheEnd(options, printer, child.get(), start);
    if (child) {
        // The classifier withdraws its classification as it stops; the
        // printer still listens until it has gone.
        token.Release();
        const int code = child->WaitOrEnd(std::chrono::seconds(10));
        std::printf("[%s] the classifier stopped with exit code %d\n", Stamp(start).c_str(), code);
    }
    return rc;
}

int Run(int argc, char** argv) {
    Options options;
    std::string error;
    if (!ParseOptions(argc, argv, options, error)) {
        std::fprintf(stderr, "quorvane-host: %s\n", error.c_str());
        return 2;
    }
    if (options.help) {
        PrintHelp();
        return 0;
    }
    CatchInterrupts();
    CRefPtr<IPlatform> platform = CreateNativePlatform();
    SetPlatform(platform);
    const int rc = Serve(options, argv[0], *platform);
    SetPlatform(nullptr);
    return rc;
}

}  // namespace
}  // namespace qv::host

int main(int argc, char** argv) { return qv::host::Run(argc, argv); }
