#include "classify/audio_session_classifier.h"

#include "classify/content_classifier_log.h"
#include "classify/media_file_extensions.h"
#include "classify/sample_analysis.h"
#include "core/path.h"
#include "core/text.h"
#include "sessions/audio_session.h"
#include "sessions/audio_session_manager.h"

namespace qv {

namespace {

struct NameRule {
    const wchar_t* word;
    CClassification result;
};

// First match wins. The first rule is the only way to Game: a game is known
// by its name alone.
const NameRule kNameRules[] = {
    {L"borderlands3", {CategoryGame, 1.0f, 0, SourceSessionRules}},
    {L"PowerDVD", {CategoryMovie, 1.0f, 10, SourceSessionRules}},
    {L"movie.ui", {CategoryMovie, 0.8f, 10, SourceSessionRules}},
    {L"video.ui", {CategoryMovie, 0.8f, 10, SourceSessionRules}},
    {L"VLC", {CategoryMovie, 0.8f, 10, SourceSessionRules}},
    {L"Video", {CategoryMovie, 0.8f, 10, SourceSessionRules}},
    {L"music.ui", {CategoryMusic, 0.8f, 20, SourceSessionRules}},
    {L"wmplayer", {CategoryMusic, 0.8f, 20, SourceSessionRules}},
};

const CClassification kVoice{CategoryVoice, 1.0f, 30, SourceSessionRules};

}  // namespace

bool ClassifyByImageName(const std::wstring& imageName, CClassification& result) {
    for (const NameRule& rule : kNameRules) {
        if (StartsWithNoCase(imageName, rule.word)) {
            result = rule.result;
            return true;
        }
    }
    return false;
}

bool ClassifyByFileExtension(const std::wstring& path, CClassification& result) {
    PathParts parts;
    if (!SplitPath(path, parts)) return false;
    std::wstring extension = parts.extension;
    if (!extension.empty() && extension.front() == L'.') extension.erase(0, 1);
    const MediaFileKind kind = MediaFileKindOfExtension(extension);
    if (kind == MediaFileKind::Video) {
        result = {CategoryMovie, 0.8f, 10, SourceLocalAnalysis};
        return true;
    }
    if (kind == MediaFileKind::Audio) {
        result = {CategoryMusic, 0.8f, 20, SourceLocalAnalysis};
        return true;
    }
    return false;
}

CAudioSessionClassifier::CAudioSessionClassifier(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                                                 const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                                                 const CRefPtr<CContentClassifierLog>& log,
                                                 const CWeakRefPtr<CAudioSessionManager>& manager)
    : CCommonBase(traceTarget, dispatcher, log), m_manager(manager) {
    QV_TRACE_SCOPE(L"CAudioSessionClassifier::CAudioSessionClassifier");
    AudioSession.Subscribe(this, AudioSession_Handlers());
}

CAudioSessionClassifier::~CAudioSessionClassifier() {
    QV_TRACE_SCOPE(L"CAudioSessionClassifier::~CAudioSessionClassifier");
    AudioSession.Unsubscribe(this, AudioSession_Handlers());
}

// The first three rungs run untraced: they change with every session.
void CAudioSessionClassifier::CAudioSessionClassifier_AudioSessionChanged(void*, CallbackCallReason) {
    if (CRefPtr<CAudioSession> session = AudioSession->Lock())
        session->AudioDevice.Subscribe(this, AudioDevice_Handlers());
}

void CAudioSessionClassifier::CAudioSessionClassifier_AudioSessionChanging(void*, CallbackCallReason) {
    if (CRefPtr<CAudioSession> session = AudioSession->Lock())
        session->AudioDevice.Unsubscribe(this, AudioDevice_Handlers());
}

void CAudioSessionClassifier::CAudioSessionClassifier_AudioDeviceChanged(void* sender, CallbackCallReason) {
    if (CAudioDevice* device = static_cast<CAudioSession*>(sender)->AudioDevice->get())
        device->DataFlow.Subscribe(this, DataFlow_Handlers());
}

void CAudioSessionClassifier::CAudioSessionClassifier_AudioDeviceChanging(void* sender, CallbackCallReason) {
    if (CAudioDevice* device = static_cast<CAudioSession*>(sender)->AudioDevice->get())
        device->DataFlow.Unsubscribe(this, DataFlow_Handlers());
}

void CAudioSessionClassifier::CAudioSessionClassifier_DataFlowChanged(void* sender, CallbackCallReason) {
    if (static_cast<CAudioDevice*>(sender)->DataFlow.value() == EDataFlowUnknown) return;
    if (CRefPtr<CAudioSession> session = AudioSession->Lock()) session->State.Subscribe(this, State_Handlers());
}

void CAudioSessionClassifier::CAudioSessionClassifier_DataFlowChanging(void* sender, CallbackCallReason) {
    if (static_cast<CAudioDevice*>(sender)->DataFlow.value() == EDataFlowUnknown) return;
    if (CRefPtr<CAudioSession> session = AudioSession->Lock()) session->State.Unsubscribe(this, State_Handlers());
}

// Only an active session is judged.
void CAudioSessionClassifier::CAudioSessionClassifier_StateChanged(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSessionClassifier::State_Changed");
    auto* session = static_cast<CAudioSession*>(sender);
    if (session->State.value() == AudioSessionStateActive)
        session->AudioStreamBasicInfo.Subscribe(this, AudioStreamBasicInfo_Handlers());
}

void CAudioSessionClassifier::CAudioSessionClassifier_StateChanging(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSessionClassifier::State_Changing");
    auto* session = static_cast<CAudioSession*>(sender);
    if (session->State.value() == AudioSessionStateActive)
        session->AudioStreamBasicInfo.Unsubscribe(this, AudioStreamBasicInfo_Handlers());
}

void CAudioSessionClassifier::CAudioSessionClassifier_AudioStreamBasicInfoChanged(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSessionClassifier::AudioStreamBasicInfo_Changed");
    static_cast<CAudioSession*>(sender)->SampleBuffer.Subscribe(this, SampleBuffer_Handlers());
}

void CAudioSessionClassifier::CAudioSessionClassifier_AudioStreamBasicInfoChanging(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSessionClassifier::AudioStreamBasicInfo_Changing");
    static_cast<CAudioSession*>(sender)->SampleBuffer.Unsubscribe(this, SampleBuffer_Handlers());
}

void CAudioSessionClassifier::CAudioSessionClassifier_SampleBufferChanged(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSessionClassifier::SampleBuffer_Changed");
    static_cast<CAudioSession*>(sender)->OpenedMediaFilePath.Subscribe(this, OpenedMediaFilePath_Handlers());
}

void CAudioSessionClassifier::CAudioSessionClassifier_SampleBufferChanging(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSessionClassifier::SampleBuffer_Changing");
    static_cast<CAudioSession*>(sender)->OpenedMediaFilePath.Unsubscribe(this, OpenedMediaFilePath_Handlers());
}

void CAudioSessionClassifier::CAudioSessionClassifier_OpenedMediaFilePathChanged(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSessionClassifier::OpenedMediaFilePath_Changed");
    static_cast<CAudioSession*>(sender)->ProcessInfo.Subscribe(this, ProcessInfo_Handlers());
}

void CAudioSessionClassifier::CAudioSessionClassifier_OpenedMediaFilePathChanging(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSessionClassifier::OpenedMediaFilePath_Changing");
    static_cast<CAudioSession*>(sender)->ProcessInfo.Unsubscribe(this, ProcessInfo_Handlers());
}

// The last rung: the calculation hangs on the process's microphone use, and
// runs at once when it is put there.
void CAudioSessionClassifier::CAudioSessionClassifier_ProcessInfoChanged(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSessionClassifier::ProcessInfo_Changed");
    if (CProcessInfo* process = static_cast<CAudioSession*>(sender)->ProcessInfo->get())
        process->IsUsingMic.AddChangedHandler({this, nullptr, IsUsingMic_Handlers().changed});
}

void CAudioSessionClassifier::CAudioSessionClassifier_ProcessInfoChanging(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSessionClassifier::ProcessInfo_Changing");
    if (CProcessInfo* process = static_cast<CAudioSession*>(sender)->ProcessInfo->get())
        process->IsUsingMic.RemoveChangedHandler({this, nullptr, IsUsingMic_Handlers().changed});
}

// Only the Changed side of the microphone is watched.
void CAudioSessionClassifier::CAudioSessionClassifier_IsUsingMicChanging(void*, CallbackCallReason) {}

void CAudioSessionClassifier::CAudioSessionClassifier_IsUsingMicChanged(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSessionClassifier::IsUsingMic_Changed");
    CRefPtr<CAudioSession> session = AudioSession->Lock();
    if (!session) return;
    // Capture sessions are never classified.
    CAudioDevice* device = session->AudioDevice->get();
    if (!device || device->DataFlow.value() != eRender) return;
    auto* process = static_cast<CProcessInfo*>(sender);

    CClassification c;
    bool rejected = false;
    const CProcessInfo* own = session->ProcessInfo->get();
    const std::wstring imageName = own ? own->ImageName : process->ImageName;
    Trace(L"Process file name without extension: %s\n", imageName);

    if (session->IsCommunicationApplication()) {
        // A call application is Voice while it records, and nothing is
        // concluded from its name while it does not.
        if (process->IsUsingMic.value()) {
            if (Log()) Log()->App.Set({imageName});
            c = kVoice;
        }
    } else {
        ClassifyByImageName(imageName, c);
    }

    CRefPtr<CAudioSessionManager> manager = m_manager.Lock();
    const CAudioDevice* managerDevice = manager ? manager->AudioDevice->get() : nullptr;
    const uint32_t mode = managerDevice ? managerDevice->AutoPresetFeatureMode.value() : 0;
    const CAudioStreamBasicInfo* info = session->AudioStreamBasicInfo->get();
    const auto& samples = session->SampleBuffer.value();
    if (mode == 0 && c.Confidence != 1.0f && !session->OpenedMediaFilePath->empty() && info && samples) {
        SampleAnalysis analysis =
            AnalyzeSamples(samples->data(), samples->size(), info->ChannelCount, info->SamplesPerSecond);
        rejected = analysis.rejected;
        if (!rejected) c = {CategoryVoice, 1.0f, 30, SourceLocalAnalysis};
    }

    // A hit replaces a name rule of confidence 0.8: a "Video" application
    // playing an mp3 file plays music.
    if (c.Confidence != 1.0f) ClassifyByFileExtension(session->OpenedMediaFilePath.value(), c);

    c.VoiceRejected = rejected;
    if (c.Category != CategoryUndefined) Classification.set(c);
}

}  // namespace qv
