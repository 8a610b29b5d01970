#include "classify/content_discrimination.h"

#include "classify/content_classifier_log.h"
#include "core/path.h"
#include "platform/platform.h"
#include "sessions/audio_stream_basic_info.h"

namespace qv {

namespace {

struct PluginState {
    CRefPtr<ILoadedModule> module;
    ContentDiscrimination_InitializeFn initialize = nullptr;
    ContentDiscrimination_TerminateFn terminate = nullptr;
    ContentDiscrimination_RunFn run = nullptr;  // tested alone to know whether the plug-in is there
    ContentDiscrimination_FreeOutputFn freeOutput = nullptr;
    void* modelVersion = nullptr;  // resolved, never called: its signature is unknown
};

PluginState& State() {
    static PluginState state;
    return state;
}

// The messages name the exports by their old names; the watchers of the
// trace know them so.
struct ExportRow {
    const char* name;
    const wchar_t* message;
};
constexpr ExportRow kExports[] = {
    {"ContentDiscrimination_Initialize",
     L"Failed to load access content_discrimination_initialize from ContentDiscriminationCpp.dll with error code "},
    {"ContentDiscrimination_Terminate",
     L"Failed to load access content_discrimination_terminate from ContentDiscriminationCpp.dll with error code "},
    {"ContentDiscrimination_Run",
     L"Failed to load access content_discrimination from ContentDiscriminationCpp.dll with error code "},
    {"ContentDiscrimination_FreeOutput",
     L"Failed to load access content_discrimination_free_classifier_output from ContentDiscriminationCpp.dll with "
     L"error code "},
    {"ContentDiscrimination_ModelVersion",
     L"Failed to load access content_discrimination_model_version from ContentDiscriminationCpp.dll with error "
     L"code "},
};

}  // namespace

bool LoadContentDiscrimination(PluginErrorCallback callback) {
    // The callback goes before the function returns, on every path.
    PluginErrorCallback report = std::move(callback);
    auto fail = [&](const std::wstring& text, uint32_t error) {
        if (report) report(text + std::to_wstring(error) + L"\n", error);
        report = nullptr;
        return false;
    };
    CRefPtr<IPlatform> platform = GetPlatform();
    CRefPtr<ISystem> system = platform ? platform->System() : nullptr;
    CRefPtr<IPluginLoader> loader = platform ? platform->Plugins() : nullptr;
    std::wstring executable;
    if (!system || !loader || system->GetModuleFileName(executable) != 0 || executable.size() >= 1024) return false;
    PathParts parts;
    SplitPath(executable, parts);
    // Beside the executable, and nowhere else: no search path is used.
    const std::wstring path = parts.drive + parts.directory + loader->LibraryFileName(L"ZKAICC64");

    PluginState& state = State();
    CRefPtr<ILoadedModule> module;
    Win32Error error = loader->LoadLibrary(path, module);
    if (error != 0 || !module) return fail(L"Failed to load ZKAICC64.dll with error code ", error);
    state.module = module;

    void* found[5] = {};
    for (int i = 0; i < 5; ++i) {
        found[i] = module->GetProcAddress(kExports[i].name);
        switch (i) {
            case 0: state.initialize = reinterpret_cast<ContentDiscrimination_InitializeFn>(found[i]); break;
            case 1: state.terminate = reinterpret_cast<ContentDiscrimination_TerminateFn>(found[i]); break;
            case 2: state.run = reinterpret_cast<ContentDiscrimination_RunFn>(found[i]); break;
            case 3: state.freeOutput = reinterpret_cast<ContentDiscrimination_FreeOutputFn>(found[i]); break;
            case 4: state.modelVersion = found[i]; break;
        }
        // The library stays loaded and the pointers found so far stay set.
        if (!found[i]) return fail(kExports[i].message, module->LastError());
    }
    report = nullptr;
    state.initialize();
    return true;
}

void UnloadContentDiscrimination() {
    PluginState& state = State();
    if (state.terminate) state.terminate();
    if (state.module) state.module->FreeLibrary();
    // Every pointer pointed into the library that has just gone: none may
    // stay, or the next question would call into freed code.
    state = PluginState{};
}

bool ContentDiscriminationLoaded() { return State().run != nullptr; }

int LargestScoreIndex(const double scores[3]) {
    int leader = 0;
    for (int i = 1; i < 3; ++i)
        if (scores[i] >= scores[leader]) leader = i;
    return leader;
}

ContentDiscriminationAnswer AskContentDiscrimination(const CAudioStreamBasicInfo& info, bool isVideo,
                                                     CContentClassifierLog* log, double** output) {
    const double duration = info.DurationSeconds;
    const double sampleRate = info.SamplesPerSecond / 1000.0;
    const double video = isVideo ? 1.0 : 0.0;
    const double bits = info.BitsPerSample;
    const double channels = info.ChannelCount;
    if (log) {
        log->NetworkInput.Set({duration, sampleRate, static_cast<int32_t>(video), static_cast<int32_t>(bits),
                               static_cast<int32_t>(channels)});
    }
    ContentDiscriminationAnswer answer;
    double* scores = nullptr;
    State().run(duration, sampleRate, video, bits, channels, &scores);
    *output = scores;
    // A plug-in that delivers nothing is outside the contract; it reads as
    // three zeros rather than a fault.
    if (scores)
        for (int i = 0; i < 3; ++i) answer.scores[i] = scores[i];
    answer.index = LargestScoreIndex(answer.scores);
    return answer;
}

void FreeContentDiscriminationOutput(double* output) {
    if (State().freeOutput) State().freeOutput(output);
}

}  // namespace qv
