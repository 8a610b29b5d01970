#include "native_host_mode.h"

#include <string>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#else
#include <csignal>
#endif

#include "native_messaging_frame.h"
#include "peltak_command.h"
#include "platform/native.h"

namespace qv::peltak {

namespace {

void Tell(const std::string& text) {
    std::fputs(("PELTAK64: " + text + "\n").c_str(), stderr);
    std::fflush(stderr);
}

// The browser reads the frame at once, so it must not wait in a buffer.
bool WriteFrame(std::FILE* output, const std::string& frame) {
    return std::fwrite(frame.data(), 1, frame.size(), output) == frame.size() && std::fflush(output) == 0;
}

// The text to send back for one message.
std::string ReplyTo(ClassifierPipeClient& client, const std::string& message) {
    std::string reply, problem;
    switch (client.Exchange(message, reply, problem)) {
        case ExchangeResult::Replied: return reply.empty() ? kReplyEmpty : reply;
        case ExchangeResult::NoClassifier: Tell(problem); return kReplyNoClassifier;
        case ExchangeResult::Failed: Tell(problem); return kReplyExchangeFailed;
        case ExchangeResult::ReplyTooLarge: Tell(problem); return kReplyTooLarge;
    }
    return kReplyExchangeFailed;
}

}  // namespace

int RunNativeHost(ClassifierPipeClient& client, std::FILE* input, std::FILE* output) {
    const ByteSource source = [input](void* data, std::size_t size) { return std::fread(data, 1, size, input); };
    std::string message, problem, frame;
    for (;;) {
        switch (ReadNativeMessage(source, message, problem)) {
            case FrameRead::Message: break;
            case FrameRead::End: return kExitInputEnded;
            case FrameRead::Truncated:
            case FrameRead::TooLarge: Tell(problem + "; ending"); return kExitInputBroken;
        }
        // The five bytes "/exit", which would ask the classifier to end,
        // are no JSON, so no message of a browser is ever taken for them.
        if (!EncodeNativeMessage(ReplyTo(client, message), frame, problem)) {
            Tell(problem + "; the add-on is told so instead");
            EncodeNativeMessage(kReplyTooLarge, frame, problem);
        }
        if (!WriteFrame(output, frame)) {
            Tell("the browser's output is closed; ending");
            return kExitInputBroken;
        }
    }
}

int RunNativeHostOnStandardStreams() {
#ifdef _WIN32
    // Text mode would turn the bytes 0x0A of lengths into 0x0D 0x0A, and
    // end the input at a 0x1A.
    _setmode(_fileno(stdin), _O_BINARY);
    _setmode(_fileno(stdout), _O_BINARY);
#else
    // A closed output then ends the loop with a word on standard error,
    // rather than killing the host in the middle of a write.
    std::signal(SIGPIPE, SIG_IGN);
#endif
    BrowserProcess browser;
    std::string problem;
    // Without it the classifier still takes the pages, only not tied to a
    // browser's audio: better than no report at all.
    if (!FindBrowserProcess(browser, problem)) Tell(problem + "; going on without");
    ClassifierPipeClient client(CreateNativePipes(), std::move(browser));
    return RunNativeHost(client, stdin, stdout);
}

}  // namespace qv::peltak
