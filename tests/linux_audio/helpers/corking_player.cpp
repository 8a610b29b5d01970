// A player for the tests that corks itself on request, which no stock tool
// does: only a stream's own client can cork it.
//
//   qv_test_corking_player SINK [--corked]
//
// Plays silence to SINK. Prints "ready <sink input index>" once the stream
// plays (or waits corked), then takes commands on standard input, one per
// line, and answers each with "ok" once the server has applied it:
//   cork | uncork | name TEXT (sets application.name) | quit
// The end of standard input is "quit".
#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include <pulse/pulseaudio.h>

namespace {

pa_threaded_mainloop* loop = nullptr;

void Signal(pa_context*, void*) { pa_threaded_mainloop_signal(loop, 0); }
void StreamSignal(pa_stream*, void*) { pa_threaded_mainloop_signal(loop, 0); }
void SuccessSignal(pa_stream*, int, void*) { pa_threaded_mainloop_signal(loop, 0); }

void Write(pa_stream* stream, size_t bytes, void*) {
    std::vector<char> silence(bytes, 0);
    pa_stream_write(stream, silence.data(), silence.size(), nullptr, 0, PA_SEEK_RELATIVE);
}

// Waits, with the loop's lock held, for an operation to finish.
void Await(pa_operation* operation) {
    if (!operation) return;
    while (pa_operation_get_state(operation) == PA_OPERATION_RUNNING) pa_threaded_mainloop_wait(loop);
    pa_operation_unref(operation);
}

int Fail(const char* what) {
    std::fprintf(stderr, "corking player: %s\n", what);
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return Fail("usage: qv_test_corking_player SINK [--corked]");
    const bool corked = argc > 2 && std::strcmp(argv[2], "--corked") == 0;
    loop = pa_threaded_mainloop_new();
    pa_threaded_mainloop_start(loop);
    pa_threaded_mainloop_lock(loop);
    pa_context* context = pa_context_new(pa_threaded_mainloop_get_api(loop), "qv corking player");
    pa_context_set_state_callback(context, Signal, nullptr);
    pa_context_connect(context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr);
    for (;;) {
        pa_context_state_t state = pa_context_get_state(context);
        if (state == PA_CONTEXT_READY) break;
        if (!PA_CONTEXT_IS_GOOD(state)) return Fail("no server");
        pa_threaded_mainloop_wait(loop);
    }
    const pa_sample_spec spec{PA_SAMPLE_S16LE, 44100, 2};
    pa_stream* stream = pa_stream_new(context, "silence", &spec, nullptr);
    pa_stream_set_state_callback(stream, StreamSignal, nullptr);
    pa_stream_set_write_callback(stream, Write, nullptr);
    auto flags = static_cast<pa_stream_flags_t>(corked ? PA_STREAM_START_CORKED : PA_STREAM_NOFLAGS);
    if (pa_stream_connect_playback(stream, argv[1], nullptr, flags, nullptr, nullptr) < 0) return Fail("no stream");
    for (;;) {
        pa_stream_state_t state = pa_stream_get_state(stream);
        if (state == PA_STREAM_READY) break;
        if (!PA_STREAM_IS_GOOD(state)) return Fail("the stream failed");
        pa_threaded_mainloop_wait(loop);
    }
    std::printf("ready %u\n", pa_stream_get_index(stream));
    std::fflush(stdout);
    pa_threaded_mainloop_unlock(loop);

    std::string line;
    while (std::getline(std::cin, line) && line != "quit") {
        pa_threaded_mainloop_lock(loop);
        if (line == "cork" || line == "uncork") {
            Await(pa_stream_cork(stream, line == "cork", SuccessSignal, nullptr));
        } else if (line.rfind("name ", 0) == 0) {
            pa_proplist* properties = pa_proplist_new();
            pa_proplist_sets(properties, PA_PROP_APPLICATION_NAME, line.substr(5).c_str());
            Await(pa_stream_proplist_update(stream, PA_UPDATE_REPLACE, properties, SuccessSignal, nullptr));
            pa_proplist_free(properties);
        }
        pa_threaded_mainloop_unlock(loop);
        std::printf("ok\n");
        std::fflush(stdout);
    }
    pa_threaded_mainloop_lock(loop);
    pa_stream_disconnect(stream);
    pa_stream_unref(stream);
    pa_context_disconnect(context);
    pa_context_unref(context);
    pa_threaded_mainloop_unlock(loop);
    pa_threaded_mainloop_stop(loop);
    pa_threaded_mainloop_free(loop);
    return 0;
}
