// The reference content-discrimination plug-in (ZKAICC64): the rule of
// reference_rule.h behind the classifier's five exports. A test double is the
// same file built with a fixed answer, without an export, or with NaN.
#include <cmath>
#include <limits>

#include "content_discrimination_exports.h"
#include "reference_rule.h"

namespace {
bool g_initialized = false;
}

QV_PLUGIN_EXPORT int ContentDiscrimination_Initialize() {
    g_initialized = true;
    return 0;
}

QV_PLUGIN_EXPORT int ContentDiscrimination_Terminate() {
    g_initialized = false;
    return 0;
}

#ifndef QV_PLUGIN_WITHOUT_RUN
QV_PLUGIN_EXPORT int ContentDiscrimination_Run(double duration, double sampleRateKHz, double video,
                                               double bitResolution, double channelCount, double** output) {
    if (!output) return -1;
    double* scores = new double[3];
#if defined(QV_PLUGIN_FIXED_SCORES)
    const double fixed[3] = {QV_PLUGIN_FIXED_SCORES};
    for (int i = 0; i < 3; ++i) scores[i] = fixed[i];
#elif defined(QV_PLUGIN_NAN_SCORES)
    // NaN at the head: the classifier's comparisons with it all fail.
    scores[0] = std::numeric_limits<double>::quiet_NaN();
    scores[1] = 0.2;
    scores[2] = 0.1;
#else
    quorvane_plugin::ReferenceScores(duration, sampleRateKHz, video, bitResolution, channelCount, scores);
#endif
    *output = scores;
    return g_initialized ? 0 : 1;
}
#endif

QV_PLUGIN_EXPORT int ContentDiscrimination_FreeOutput(double* output) {
    delete[] output;
    return 0;
}

QV_PLUGIN_EXPORT int ContentDiscrimination_ModelVersion() { return 1; }
