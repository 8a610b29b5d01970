// The five exports of a content-discrimination plug-in, as the classifier
// resolves them by name. Plain C functions; no return value is looked at.
#pragma once

#ifdef _WIN32
#define QV_PLUGIN_EXPORT extern "C" __declspec(dllexport)
#else
#define QV_PLUGIN_EXPORT extern "C" __attribute__((visibility("default")))
#endif

QV_PLUGIN_EXPORT int ContentDiscrimination_Initialize();
QV_PLUGIN_EXPORT int ContentDiscrimination_Terminate();
// Sets *output to three scores owned by the plug-in: movie, music, voice.
QV_PLUGIN_EXPORT int ContentDiscrimination_Run(double duration, double sampleRateKHz, double video,
                                               double bitResolution, double channelCount, double** output);
QV_PLUGIN_EXPORT int ContentDiscrimination_FreeOutput(double* output);
QV_PLUGIN_EXPORT int ContentDiscrimination_ModelVersion();
