// A content-discrimination plug-in with one export left out, chosen when it is
// built (QV_DOUBLE_WITHOUT_<export>), or with all five. It counts the calls of
// Initialize and Terminate, which the loader's tests read through an export of
// its own: whether the loader initialised a library that lacked an export.
#include <atomic>
#include <cstring>

#include "content_discrimination_exports.h"

namespace {
std::atomic<int> g_initializeCalls{0};
std::atomic<int> g_terminateCalls{0};
}  // namespace

QV_PLUGIN_EXPORT int QvDoubleCallCount(const char* exportName) {
    if (std::strcmp(exportName, "ContentDiscrimination_Initialize") == 0) return g_initializeCalls.load();
    if (std::strcmp(exportName, "ContentDiscrimination_Terminate") == 0) return g_terminateCalls.load();
    return -1;
}

#ifndef QV_DOUBLE_WITHOUT_Initialize
QV_PLUGIN_EXPORT int ContentDiscrimination_Initialize() {
    ++g_initializeCalls;
    return 0;
}
#endif

#ifndef QV_DOUBLE_WITHOUT_Terminate
QV_PLUGIN_EXPORT int ContentDiscrimination_Terminate() {
    ++g_terminateCalls;
    return 0;
}
#endif

#ifndef QV_DOUBLE_WITHOUT_Run
QV_PLUGIN_EXPORT int ContentDiscrimination_Run(double, double, double, double, double, double** output) {
    if (!output) return -1;
    double* scores = new double[3]{0.6, 0.3, 0.1};
    *output = scores;
    return 0;
}
#endif

#ifndef QV_DOUBLE_WITHOUT_FreeOutput
QV_PLUGIN_EXPORT int ContentDiscrimination_FreeOutput(double* output) {
    delete[] output;
    return 0;
}
#endif

#ifndef QV_DOUBLE_WITHOUT_ModelVersion
QV_PLUGIN_EXPORT int ContentDiscrimination_ModelVersion() { return 1; }
#endif
