// The one classification that counts for one endpoint. It watches every
// active session of the endpoint (a browser session through the audible page
// of that browser), picks a winner by priority and confidence, lets it settle,
// asks the neural network about an unsure winner, applies the endpoint's
// feature mode, and tells the host.
//
// A ladder of conditions: a host pipe name, the device of the endpoint, the
// endpoint's automatic preset, and the feature mode's gate. Every event near a
// classification lands in one 10 ms delayed action; a defined result goes
// final 100 ms later, and with nothing classifiable the fallback comes after
// 2000 ms.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "classify/classification.h"
#include "core/common_base.h"
#include "devices/audio_device.h"
#include "prompts/install_extension_toast.h"
#include "sessions/audio_session.h"
#include "sessions/audio_session_manager.h"
#include "web/web_content_classifier.h"

namespace qv {

class CAudioDeviceManager;

class CContentClassifier : public CCommonBase {
public:
    using ManagerCollection = observable_collection<CContentClassifier, CRefPtr<CAudioSessionManager>>;
    using DeviceCollection = observable_collection<CAudioDeviceManager, CRefPtr<CAudioDevice>>;
    using SessionCollection = CAudioSessionManager::SessionCollection;
    using PageCollection = CWebContentClassifier::PageCollection;

    CContentClassifier(CAudioDeviceManager* deviceManager, const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                       const CRefPtr<IAsyncActionDispatcher>& dispatcher, const CRefPtr<CContentClassifierLog>& log,
                       const std::wstring& endpointId, const CRefPtr<CWebContentClassifier>& webClassifier);

    const std::wstring& EndpointId() const { return m_endpointId; }

    // What the final classification falls back to; never changed.
    const CClassification DefaultClassification{CategoryNone, 1.0f, 0, SourceNobody, false};
    // Under feature mode 1: the device's own category from before a Voice
    // episode, or -1 when none is saved.
    int32_t PreFinalClassification = CategoryUndefined;

private:
    CAudioDeviceManager* m_deviceManager;  // not owned: it owns this object
    CRefPtr<CWebContentClassifier> m_sharedWebClassifier;

public:
    observable_property<CContentClassifier, CRefPtr<CAudioSessionManager>> AudioSessionManager{this,
                                                                                               "AudioSessionManager"};
    observable_property<CContentClassifier, CRefPtr<CWebContentClassifier>> WebContentClassifier{
        this, "WebContentClassifier"};
    observable_property<CContentClassifier, std::string> HostPipeName{this, "HostPipeName"};
    observable_property<CContentClassifier, CClassification> FinalClassification{this, "FinalClassification"};
    observable_property<CContentClassifier, CRefPtr<CAudioDevice>> AudioDevice{this, "AudioDevice"};
    // Whether a session of a browser that the add-on serves plays here;
    // kept up to date, read by nobody yet.
    observable_property<CContentClassifier, bool> IsBrowserRunning{this, "IsBrowserRunning"};

    // One session manager per capture endpoint, so that the processes that
    // record are known.
    ManagerCollection captureAudioSessionManagers{this};

protected:
    ~CContentClassifier() override;

private:
    QV_PROPERTY_HANDLERS(CContentClassifier, AudioSessionManager)
    QV_PROPERTY_HANDLERS(CContentClassifier, WebContentClassifier)
    QV_PROPERTY_HANDLERS(CContentClassifier, HostPipeName)
    QV_PROPERTY_HANDLERS(CContentClassifier, FinalClassification)
    QV_PROPERTY_HANDLERS(CContentClassifier, AudioDevice)
    QV_PROPERTY_HOOKS(IsBrowserRunning)
    QV_PROPERTY_HANDLERS(CContentClassifier, audioSessionBelongsToBrowser)
    QV_PROPERTY_HANDLERS(CContentClassifier, activeAudioSessionAudioStreamBasicInfo)
    QV_PROPERTY_HANDLERS(CContentClassifier, activeAudioSessionWebBrowserProcessInfo)
    QV_PROPERTY_HANDLERS(CContentClassifier, activeAudioSessionIsVideo)
    QV_PROPERTY_HANDLERS(CContentClassifier, activeAudioSessionClassifier)
    QV_PROPERTY_HANDLERS(CContentClassifier, activeAudioSessionClassification)
    QV_PROPERTY_HANDLERS(CContentClassifier, audibleWebPageAudioStreamBasicInfo)
    QV_PROPERTY_HANDLERS(CContentClassifier, audibleWebPageSourceProcessID)
    QV_PROPERTY_HANDLERS(CContentClassifier, audibleWebPageIsVideo)
    QV_PROPERTY_HANDLERS(CContentClassifier, audibleWebPageClassifier)
    QV_PROPERTY_HANDLERS(CContentClassifier, audibleWebPageClassification)
    QV_PROPERTY_HANDLERS(CContentClassifier, activeAudioSessionOpenedMediaFilePath)
    QV_PROPERTY_HANDLERS(CContentClassifier, activeAudioSessionProcessInfo)
    QV_PROPERTY_HANDLERS(CContentClassifier, IsDefaultEndpoint)
    QV_PROPERTY_HANDLERS(CContentClassifier, HasAutoPreset)
    QV_PROPERTY_HANDLERS(CContentClassifier, AutoPresetFeatureMode)
    QV_PROPERTY_HANDLERS(CContentClassifier, EnableAutoPreset)
    QV_PROPERTY_HANDLERS(CContentClassifier, audioDeviceDataFlow)
    QV_COLLECTION_HANDLERS(CContentClassifier, DeviceCollection, AudioDevices)
    QV_COLLECTION_HANDLERS(CContentClassifier, SessionCollection, audioSessions)
    QV_COLLECTION_HANDLERS(CContentClassifier, SessionCollection, activeAudioSessions)
    QV_COLLECTION_HANDLERS(CContentClassifier, PageCollection, AudibleWebPages)

    // The gate of the feature mode: 0 runs while EnableAutoPreset is true, 1
    // runs always (Voice alone reaches the host), anything else never.
    bool GateOpen() const;
    void StartWork();
    void EndWork();
    // The offer of the browser add-on when a browser without it plays here.
    void CheckBrowserExtension(CAudioSession& session);

    // The settling: each call throws away whatever update was pending, of
    // either kind, so a burst of events leaves one update after the last.
    void PostUpdateCalculatedClassification(std::chrono::milliseconds delay);
    void UpdateCalculatedClassification();
    // What one active session offers to the choice: its classification and
    // stream, from its page for a browser's session, from its own classifier
    // otherwise. None when there is nothing to offer; the trace says why.
    struct SessionOffer {
        CClassification classification;
        CRefPtr<CAudioStreamBasicInfo> info;
        bool isVideo = false;
    };
    std::optional<SessionOffer> OfferOf(const CAudioSession& session) const;
    std::optional<SessionOffer> BrowserPageOffer(const CProcessInfo& browser) const;
    void PostUpdateFinalClassification(const CClassification& c, const CRefPtr<CAudioStreamBasicInfo>& info,
                                       bool isVideo, std::chrono::milliseconds delay);
    void UpdateFinalClassification(const CClassification& c, const CRefPtr<CAudioStreamBasicInfo>& info, bool isVideo);
    void SetFinalClassification(CClassification c);
    void SendToHost(const std::string& word);
    // Feature mode of the device, 0 without one.
    uint32_t FeatureMode() const;

    CRefPtr<CShowInstallBrowserExtensionToast> m_edgeToast;
    CRefPtr<CShowInstallBrowserExtensionToast> m_chromeToast;
    std::wstring m_endpointId;
    CWeakRefPtr<CAsyncAction> PendingUpdate;
    // Above zero while a session joins or leaves the active ones: the
    // property (un)subscriptions on the way each ask for the settling, and
    // the one request at the end does for all of them. Each request starts a
    // timer thread, and a dozen of them put a millisecond or two between the
    // event and the start of its settling.
    int m_settlingHeld = 0;
};

// The override that lets the network overrule every result: the DWORD
// "AICCNNOnly" under HKLM "Software\Quorvane", read afresh each time. A key
// that is a link is not followed.
bool ReadNetworkOnlyOverride();

}  // namespace qv
