// What one session plays, judged from its process name, its microphone use,
// the first seconds of the file its process holds open, and that file's
// extension. A ladder of subscriptions down to one calculation: whichever
// input changes, the ladder takes down and rebuilds what stands below it and
// so calculates again. There is no other trigger.
#pragma once

#include <string>

#include "classify/classification.h"
#include "core/common_base.h"
#include "sessions/audio_stream_basic_info.h"

namespace qv {

class CAudioSession;
class CAudioSessionManager;

class CAudioSessionClassifier : public CCommonBase {
public:
    CAudioSessionClassifier(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                            const CRefPtr<IAsyncActionDispatcher>& dispatcher, const CRefPtr<CContentClassifierLog>& log,
                            const CWeakRefPtr<CAudioSessionManager>& manager);

private:
    CWeakRefPtr<CAudioSessionManager> m_manager;

public:
    observable_property<CAudioSessionClassifier, CRefPtr<CAudioStreamBasicInfo>> AudioStreamBasicInfo{
        this, "AudioStreamBasicInfo"};
    observable_property<CAudioSessionClassifier, CWeakRefPtr<CAudioSession>> AudioSession{this, "AudioSession"};
    // Never reset: once a session has been classified it keeps a result for
    // as long as it lives, even when its inputs fall away.
    observable_property<CAudioSessionClassifier, CClassification> Classification{this, "Classification"};

protected:
    ~CAudioSessionClassifier() override;

private:
    QV_PROPERTY_HANDLERS(CAudioSessionClassifier, AudioStreamBasicInfo)
    QV_PROPERTY_HANDLERS(CAudioSessionClassifier, AudioSession)
    QV_PROPERTY_HOOKS(Classification)
    QV_PROPERTY_HANDLERS(CAudioSessionClassifier, AudioDevice)
    QV_PROPERTY_HANDLERS(CAudioSessionClassifier, DataFlow)
    QV_PROPERTY_HANDLERS(CAudioSessionClassifier, State)
    QV_PROPERTY_HANDLERS(CAudioSessionClassifier, ProcessInfo)
    QV_PROPERTY_HANDLERS(CAudioSessionClassifier, IsUsingMic)
    QV_PROPERTY_HANDLERS(CAudioSessionClassifier, OpenedMediaFilePath)
    QV_PROPERTY_HANDLERS(CAudioSessionClassifier, SampleBuffer)
};

// The name rules: Game, Movie or Music from the beginning of an image name,
// without regard to case. False when no rule matches.
bool ClassifyByImageName(const std::wstring& imageName, CClassification& result);
// Movie for a video extension, Music for an audio one; false otherwise or
// when the path cannot be split.
bool ClassifyByFileExtension(const std::wstring& path, CClassification& result);

}  // namespace qv
