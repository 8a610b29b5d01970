// The optional neural-network plug-in: a library beside the executable that
// scores a stream from five numbers (duration, sample rate in kHz, video,
// bits, channels) as movie, music or voice. Loaded once at start, asked only
// for an unsure result, unloaded at the end. Its state is process-wide.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace qv {

class CAudioStreamBasicInfo;
class CContentClassifierLog;

// The exports, a wire format of their own: plain C functions.
extern "C" {
using ContentDiscrimination_InitializeFn = int (*)();
using ContentDiscrimination_TerminateFn = int (*)();
// Sets *output to three scores owned by the plug-in: movie, music, voice.
using ContentDiscrimination_RunFn = int (*)(double duration, double sampleRateKHz, double video,
                                            double bitResolution, double channelCount, double** output);
using ContentDiscrimination_FreeOutputFn = int (*)(double* output);
}

using PluginErrorCallback = std::function<void(const std::wstring& message, uint32_t error)>;

// Loads ZKAICC64 from the executable's folder and initialises it. Without a
// callback a missing library is silent.
bool LoadContentDiscrimination(PluginErrorCallback callback);
void UnloadContentDiscrimination();
// Whether a question can be asked: the Run export was found.
bool ContentDiscriminationLoaded();

// The outcome of one question: the scores and the index of the largest,
// where of equal scores the later index wins and a NaN never leads.
struct ContentDiscriminationAnswer {
    double scores[3] = {0, 0, 0};
    int index = 0;
};
int LargestScoreIndex(const double scores[3]);

// Asks the plug-in about a stream, filling the meta log's network input
// first. The answer's output stays owned by the plug-in until
// FreeContentDiscriminationOutput.
ContentDiscriminationAnswer AskContentDiscrimination(const CAudioStreamBasicInfo& info, bool isVideo,
                                                     CContentClassifierLog* log, double** output);
void FreeContentDiscriminationOutput(double* output);

}  // namespace qv
