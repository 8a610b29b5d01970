// One audio session of one endpoint. It turns the platform's session into
// observable properties, finds the process behind it and the browser above
// that process, and owns the session's classifier.
//
// The class is a ladder: setting AudioSessionManager builds, in a fixed order,
// the device, the registration for events, the reads of the session, its
// state, its process; clearing it takes everything down from the top.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "classify/audio_session_classifier.h"
#include "core/common_base.h"
#include "devices/audio_device.h"
#include "platform/audio.h"
#include "platform/files.h"
#include "sessions/audio_session_callbacks.h"
#include "sessions/audio_stream_basic_info.h"
#include "sessions/process_info.h"
#include "sessions/process_opened_media_files.h"

namespace qv {

class CAudioSessionManager;

class CAudioSession : public CCommonBase {
public:
    CAudioSession(const std::wstring& endpointId, const CRefPtr<IAudioSessionControl>& control,
                  const CRefPtr<ITraceFuncCallTarget>& traceTarget, const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                  const CRefPtr<CContentClassifierLog>& log);

    // Main thread, from the actions that the session's events post. The
    // state is read afresh; the one the event carried is not used.
    void OnStateChanged();
    void OnDisconnected(AudioSessionDisconnectReason reason);
    // Whether the process's image name begins with the name of a call or
    // meeting application.
    bool IsCommunicationApplication() const;

    const std::wstring& EndpointId() const { return m_endpointId; }

    // The lister of the player's open files runs four times: after the first
    // delay, then each time 200 ms after the run before has ended. A new
    // start cancels the runs still pending.
    void PostUpdateProcessOpenedMediaFiles(std::chrono::milliseconds firstDelay);
    void CancelPostedUpdateProcessOpenedMediaFiles();
    // One run: ProcessOpenedMediaFiles becomes the lister's answer, or null
    // when the process is no known player or the lister fails.
    void UpdateProcessOpenedMediaFiles();
    void UpdateOpenedMediaFilePathAndIsVideo();

private:
    std::wstring m_endpointId;
    CRefPtr<IAudioSessionControl> m_control;  // kept for the life of the object
    CWeakRefPtr<CAsyncAction> PostedDeviceResetAction;
    CWeakRefPtr<CAsyncAction> PostedMediaFilesUpdateAction;
    // The temporary file through which the lister answers, made with the
    // session and gone with it (delete-on-close). Null when it could not be
    // made: the lister is then never run.
    CRefPtr<IFile> InteropFileHandle;
    std::string InteropFilePathNarrow;
    std::wstring InteropFilePathWide;

public:
    // Cookie of the latest lookup of ProcessInfo: an exit of a process that a
    // newer lookup has replaced is ignored.
    GUID ProcessInfoRequestId{};

    observable_property<CAudioSession, CRefPtr<CAudioSessionEvents>> AudioSessionEvents{this, "AudioSessionEvents"};
    observable_property<CAudioSession, CWeakRefPtr<CAudioSessionManager>> AudioSessionManager{this,
                                                                                              "AudioSessionManager"};
    observable_property<CAudioSession, CRefPtr<CAudioDevice>> AudioDevice{this, "AudioDevice"};
    observable_property<CAudioSession, uint32_t> SourceProcessID{this, "SourceProcessID"};
    // Set by the ancestor walk; nothing clears it.
    observable_property<CAudioSession, CRefPtr<CProcessInfo>> WebBrowserProcessInfo{this, "WebBrowserProcessInfo"};
    observable_property<CAudioSession, CRefPtr<CAudioStreamBasicInfo>> AudioStreamBasicInfo{this,
                                                                                            "AudioStreamBasicInfo"};
    observable_property<CAudioSession, bool> IsVideo{this, "IsVideo"};
    observable_property<CAudioSession, CRefPtr<CAudioSessionClassifier>> AudioSessionClassifier{
        this, "AudioSessionClassifier"};
    observable_property<CAudioSession, CRefPtr<IAudioSessionControl2>> AudioSessionControl2{this,
                                                                                            "AudioSessionControl2"};
    observable_property<CAudioSession, bool> RegisteredAudioSessionNotification{this,
                                                                                "RegisteredAudioSessionNotification"};
    observable_property<CAudioSession, bool> IsSystemSound{this, "IsSystemSound"};
    observable_property<CAudioSession, bool> BelongsToBrowser{this, "BelongsToBrowser"};
    observable_property<CAudioSession, std::string> InstanceIdentifier{this, "InstanceIdentifier"};
    observable_property<CAudioSession, std::wstring> DisplayName{this, "DisplayName"};
    observable_property<CAudioSession, std::wstring> IconPath{this, "IconPath"};
    observable_property<CAudioSession, float> Volume{this, "Volume", 1.0f};
    observable_property<CAudioSession, std::vector<float>> ChannelVolume{this, "ChannelVolume"};
    observable_property<CAudioSession, GUID> GroupingParam{this, "GroupingParam"};
    observable_property<CAudioSession, AudioSessionState> State{this, "State", AudioSessionStateInactive};
    observable_property<CAudioSession, CRefPtr<CProcessInfo>> ProcessInfo{this, "ProcessInfo"};
    observable_property<CAudioSession, CRefPtr<CProcessOpenedMediaFiles>> ProcessOpenedMediaFiles{
        this, "ProcessOpenedMediaFiles"};
    observable_property<CAudioSession, std::wstring> OpenedMediaFilePath{this, "OpenedMediaFilePath"};
    observable_property<CAudioSession, std::shared_ptr<std::vector<float>>> SampleBuffer{this, "SampleBuffer"};

    // The browser found last by the ancestor walk.
    uint32_t LastWebBrowserProcessId = 0;

protected:
    ~CAudioSession() override;

private:
    QV_PROPERTY_HANDLERS(CAudioSession, AudioSessionEvents)
    QV_PROPERTY_HANDLERS(CAudioSession, AudioSessionManager)
    QV_PROPERTY_HANDLERS(CAudioSession, AudioDevice)
    QV_PROPERTY_HANDLERS(CAudioSession, SourceProcessID)
    QV_PROPERTY_HOOKS(WebBrowserProcessInfo)
    QV_PROPERTY_HOOKS(AudioStreamBasicInfo)
    QV_PROPERTY_HOOKS(IsVideo)
    QV_PROPERTY_HOOKS(AudioSessionClassifier)
    QV_PROPERTY_HANDLERS(CAudioSession, AudioSessionControl2)
    QV_PROPERTY_HANDLERS(CAudioSession, RegisteredAudioSessionNotification)
    QV_PROPERTY_HOOKS(IsSystemSound)
    QV_PROPERTY_HOOKS(BelongsToBrowser)
    QV_PROPERTY_HOOKS(InstanceIdentifier)
    QV_PROPERTY_HOOKS(DisplayName)
    QV_PROPERTY_HOOKS(IconPath)
    QV_PROPERTY_HOOKS(Volume)
    QV_PROPERTY_HOOKS(ChannelVolume)
    QV_PROPERTY_HOOKS(GroupingParam)
    QV_PROPERTY_HANDLERS(CAudioSession, State)
    QV_PROPERTY_HANDLERS(CAudioSession, ProcessInfo)
    QV_PROPERTY_HANDLERS(CAudioSession, ProcessOpenedMediaFiles)
    QV_PROPERTY_HANDLERS(CAudioSession, OpenedMediaFilePath)
    QV_PROPERTY_HOOKS(SampleBuffer)
    QV_PROPERTY_HANDLERS(CAudioSession, AudioSessionManagerAudioDevice)
    QV_PROPERTY_HANDLERS(CAudioSession, AudioDeviceDataFlow)
    QV_PROPERTY_HANDLERS(CAudioSession, AudioDeviceIsActive)

    // Reads state, process, identity and names of the session, in order.
    void ReadSession();
    // Finds the process and, among its ancestors, the nearest browser.
    void FindProcesses(uint32_t processId);
    // Removes this session from its manager in a later dispatch.
    void PostedSessionRemoval();
    void PostDeviceReset();
    void CreateInteropFile();
    // The lister's run and its answer read back.
    CRefPtr<CProcessOpenedMediaFiles> ListProcessOpenedMediaFiles();
    static CAsyncAction::Function MediaFilesUpdateRun(CWeakRefPtr<CAudioSession> weakSession,
                                                      CRefPtr<IAsyncActionDispatcher> dispatcher,
                                                      std::chrono::milliseconds repeatDelay,
                                                      std::shared_ptr<int> runsLeft);
};

}  // namespace qv
