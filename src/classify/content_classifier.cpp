#include "classify/content_classifier.h"

#include <cstdio>

#include "core/text.h"
#include "devices/audio_device_manager.h"
#include "platform/codes.h"
#include "platform/platform.h"
#include "web/web_page.h"

namespace qv {

namespace {

constexpr auto kEventSettling = std::chrono::milliseconds(10);

struct BrowserRow {
    const wchar_t* imagePrefix;
    const wchar_t* vendor;
    const wchar_t* browserName;
    const wchar_t* extensionId;
    const wchar_t* arguments;
};

// The browsers whose add-on is offered, with their store pages.
const BrowserRow kEdge{L"msedge", L"Microsoft", L"Edge", L"abcdefghijklmnopabcdefghijklmnop",
                       L"--profile-directory=Default https://microsoftedge.microsoft.com/addons/detail/"
                       L"audio-classifier/abcdefghijklmnopabcdefghijklmnop"};
const BrowserRow kChrome{L"chrome", L"Google", L"Chrome", L"ppoonnmmllkkjjiihhggffeeddccbbaa",
                         L"--profile-directory=Default https://chrome.google.com/webstore/detail/"
                         L"zk-content-audio/ppoonnmmllkkjjiihhggffeeddccbbaa"};

}  // namespace

CContentClassifier::CContentClassifier(CAudioDeviceManager* deviceManager,
                                       const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                                       const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                                       const CRefPtr<CContentClassifierLog>& log, const std::wstring& endpointId,
                                       const CRefPtr<CWebContentClassifier>& webClassifier)
    : CCommonBase(traceTarget, dispatcher, log),
      m_deviceManager(deviceManager),
      m_sharedWebClassifier(webClassifier),
      m_endpointId(endpointId) {
    QV_TRACE_SCOPE(L"CContentClassifier::CContentClassifier");
    HostPipeName.Subscribe(this, HostPipeName_Handlers());
}

CContentClassifier::~CContentClassifier() {
    QV_TRACE_SCOPE(L"CContentClassifier::~CContentClassifier");
    HostPipeName.Unsubscribe(this, HostPipeName_Handlers());
}

// The root: without a host to tell, nothing is ever classified.
void CContentClassifier::CContentClassifier_HostPipeNameChanged(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::HostPipeName_Changed");
    if (HostPipeName->empty() || !m_deviceManager) return;
    std::printf("Quorvane audio content classifier\n");
    CRefPtr<IPlatform> platform = GetPlatform();
    CRefPtr<ISystem> system = platform ? platform->System() : nullptr;
    std::printf("Process ID: %u.\n", system ? system->GetCurrentProcessId() : 0u);
    std::printf("Endpoint ID: %s.\n", WideToUtf8(m_endpointId).c_str());
    std::fflush(stdout);
    m_deviceManager->AudioDevices.AddItemAddedHandler({this, AudioDevices_CollectionHandlers().added});
    m_deviceManager->AudioDevices.AddItemRemovedHandler({this, AudioDevices_CollectionHandlers().removed});
    AudioDevice.Subscribe(this, AudioDevice_Handlers());
}

void CContentClassifier::CContentClassifier_HostPipeNameChanging(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::HostPipeName_Changing");
    if (HostPipeName->empty() || !m_deviceManager) return;
    m_deviceManager->AudioDevices.RemoveItemRemovedHandler({this, AudioDevices_CollectionHandlers().removed});
    m_deviceManager->AudioDevices.RemoveItemAddedHandler({this, AudioDevices_CollectionHandlers().added});
    AudioDevice.Unsubscribe(this, AudioDevice_Handlers());
}

void CContentClassifier::AudioDevices_ItemAdded(const CRefPtr<CAudioDevice>& device, int32_t) {
    QV_TRACE_SCOPE(L"CContentClassifier::AudioDevices_ItemAdded", device->EndpointId());
    device->DataFlow.Subscribe(this, audioDeviceDataFlow_Handlers());
}

void CContentClassifier::AudioDevices_ItemRemoved(const CRefPtr<CAudioDevice>& device, int32_t) {
    QV_TRACE_SCOPE(L"CContentClassifier::AudioDevices_ItemRemoved", device->EndpointId());
    device->DataFlow.Unsubscribe(this, audioDeviceDataFlow_Handlers());
}

// The own endpoint's device is bound; every capture endpoint gets a session
// manager, so that the processes that record are known.
void CContentClassifier::CContentClassifier_audioDeviceDataFlowChanged(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::audioDeviceDataFlow_Changed");
    auto* device = static_cast<CAudioDevice*>(sender);
    if (device->DataFlow.value() == EDataFlowUnknown) return;
    if (device->EndpointId() == m_endpointId) {
        AudioDevice.set(CRefPtr<CAudioDevice>(device));
    } else if (device->DataFlow.value() == eCapture) {
        CRefPtr<CAudioSessionManager> manager =
            MakeRef<CAudioSessionManager>(device->EndpointId(), TraceTarget(), Dispatcher(), Log());
        manager->AudioDevice.set(CRefPtr<CAudioDevice>(device));
        captureAudioSessionManagers.Add(manager);
    }
}

void CContentClassifier::CContentClassifier_audioDeviceDataFlowChanging(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::audioDeviceDataFlow_Changing");
    auto* device = static_cast<CAudioDevice*>(sender);
    if (device->DataFlow.value() == EDataFlowUnknown) return;
    if (device->EndpointId() == m_endpointId) {
        AudioDevice.set(nullptr);
    } else if (device->DataFlow.value() == eCapture) {
        for (std::size_t i = 0; i < captureAudioSessionManagers.size(); ++i) {
            CRefPtr<CAudioSessionManager> manager = captureAudioSessionManagers[i];
            if (manager->EndpointId() != device->EndpointId()) continue;
            manager->AudioDevice.set(nullptr);
            captureAudioSessionManagers.RemoveAt(i);
            break;
        }
    }
}

void CContentClassifier::CContentClassifier_AudioDeviceChanged(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::AudioDevice_Changed", PointerArgument(AudioDevice->get()));
    CAudioDevice* device = AudioDevice->get();
    if (!device) return;
    CRefPtr<CAudioSessionManager> manager =
        MakeRef<CAudioSessionManager>(device->EndpointId(), TraceTarget(), Dispatcher(), Log());
    AudioSessionManager.set(manager);
    manager->AudioDevice.set(AudioDevice.value());
    device->IsDefaultEndpoint.Subscribe(this, IsDefaultEndpoint_Handlers());
    device->HasAutoPreset.Subscribe(this, HasAutoPreset_Handlers());
}

void CContentClassifier::CContentClassifier_AudioDeviceChanging(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::AudioDevice_Changing", PointerArgument(AudioDevice->get()));
    CAudioDevice* device = AudioDevice->get();
    if (!device) return;
    device->IsDefaultEndpoint.Unsubscribe(this, IsDefaultEndpoint_Handlers());
    device->HasAutoPreset.Unsubscribe(this, HasAutoPreset_Handlers());
    if (AudioSessionManager.value()) AudioSessionManager.value()->AudioDevice.set(nullptr);
    AudioSessionManager.set(nullptr);
}

// Web pages count only on the default endpoint.
void CContentClassifier::CContentClassifier_IsDefaultEndpointChanged(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::IsDefaultEndpoint_Changed");
    if (static_cast<CAudioDevice*>(sender)->IsDefaultEndpoint.value()) WebContentClassifier.set(m_sharedWebClassifier);
}

void CContentClassifier::CContentClassifier_IsDefaultEndpointChanging(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::IsDefaultEndpoint_Changing");
    if (static_cast<CAudioDevice*>(sender)->IsDefaultEndpoint.value()) WebContentClassifier.set(nullptr);
}

// An endpoint without the automatic preset never classifies.
void CContentClassifier::CContentClassifier_HasAutoPresetChanged(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::HasAutoPreset_Changed");
    if (static_cast<CAudioDevice*>(sender)->HasAutoPreset.value())
        AudioSessionManager.Subscribe(this, AudioSessionManager_Handlers());
}

void CContentClassifier::CContentClassifier_HasAutoPresetChanging(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::HasAutoPreset_Changing");
    if (static_cast<CAudioDevice*>(sender)->HasAutoPreset.value())
        AudioSessionManager.Unsubscribe(this, AudioSessionManager_Handlers());
}

void CContentClassifier::CContentClassifier_AudioSessionManagerChanged(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::AudioSessionManager_Changed", PointerArgument(AudioSessionManager->get()));
    if (AudioSessionManager.value() && AudioDevice.value())
        AudioDevice.value()->AutoPresetFeatureMode.Subscribe(this, AutoPresetFeatureMode_Handlers());
}

void CContentClassifier::CContentClassifier_AudioSessionManagerChanging(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::AudioSessionManager_Changing", PointerArgument(AudioSessionManager->get()));
    if (AudioSessionManager.value() && AudioDevice.value())
        AudioDevice.value()->AutoPresetFeatureMode.Unsubscribe(this, AutoPresetFeatureMode_Handlers());
}

void CContentClassifier::CContentClassifier_AutoPresetFeatureModeChanged(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::AutoPresetFeatureMode_Changed");
    static_cast<CAudioDevice*>(sender)->EnableAutoPreset.Subscribe(this, EnableAutoPreset_Handlers());
}

void CContentClassifier::CContentClassifier_AutoPresetFeatureModeChanging(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::AutoPresetFeatureMode_Changing");
    static_cast<CAudioDevice*>(sender)->EnableAutoPreset.Unsubscribe(this, EnableAutoPreset_Handlers());
}

bool CContentClassifier::GateOpen() const {
    const CAudioDevice* device = AudioDevice->get();
    if (!device) return false;
    switch (device->AutoPresetFeatureMode.value()) {
        case 0: return device->EnableAutoPreset.value();
        case 1: return true;
        default: return false;
    }
}

void CContentClassifier::CContentClassifier_EnableAutoPresetChanged(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::EnableAutoPreset_Changed");
    if (GateOpen()) StartWork();
}

void CContentClassifier::CContentClassifier_EnableAutoPresetChanging(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::EnableAutoPreset_Changing");
    if (GateOpen()) EndWork();
}

void CContentClassifier::StartWork() {
    Trace(L"Audio endpoint id: %s\n", m_endpointId);
    CAudioSessionManager& manager = *AudioSessionManager.value();
    manager.audioSessions.Subscribe(this, audioSessions_CollectionHandlers());
    manager.activeAudioSessions.Subscribe(this, activeAudioSessions_CollectionHandlers());
    WebContentClassifier.Subscribe(this, WebContentClassifier_Handlers());
    FinalClassification.Subscribe(this, FinalClassification_Handlers());
    PostUpdateCalculatedClassification(kEventSettling);
}

// The host hears the withdrawal from FinalClassification's unsubscription.
void CContentClassifier::EndWork() {
    CAudioSessionManager& manager = *AudioSessionManager.value();
    manager.audioSessions.Unsubscribe(this, audioSessions_CollectionHandlers());
    manager.activeAudioSessions.Unsubscribe(this, activeAudioSessions_CollectionHandlers());
    WebContentClassifier.Unsubscribe(this, WebContentClassifier_Handlers());
    FinalClassification.Unsubscribe(this, FinalClassification_Handlers());
    CancelPending(PendingUpdate);
    FinalClassification.set(CClassification{});
}

void CContentClassifier::audioSessions_ItemAdded(const CRefPtr<CAudioSession>& session, int32_t) {
    QV_TRACE_SCOPE(L"CContentClassifier::audioSessions_ItemAdded", PointerArgument(session.get()));
    session->BelongsToBrowser.Subscribe(this, audioSessionBelongsToBrowser_Handlers());
}

void CContentClassifier::audioSessions_ItemRemoved(const CRefPtr<CAudioSession>& session, int32_t) {
    QV_TRACE_SCOPE(L"CContentClassifier::audioSessions_ItemRemoved", PointerArgument(session.get()));
    session->BelongsToBrowser.Unsubscribe(this, audioSessionBelongsToBrowser_Handlers());
}

void CContentClassifier::CContentClassifier_audioSessionBelongsToBrowserChanging(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::audioSessionBelongsToBrowser_Changing");
    bool another = false;
    if (const CAudioSessionManager* manager = AudioSessionManager->get())
        for (const auto& session : manager->audioSessions)
            if (session.get() != sender && session->BelongsToBrowser.value()) another = true;
    IsBrowserRunning.set(another);
}

void CContentClassifier::CContentClassifier_audioSessionBelongsToBrowserChanged(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::audioSessionBelongsToBrowser_Changed");
    if (static_cast<CAudioSession*>(sender)->BelongsToBrowser.value()) IsBrowserRunning.set(true);
}

namespace {

// Holds the settling back for as long as it lives; see m_settlingHeld.
class SettlingHold {
public:
    explicit SettlingHold(int& held) : m_held(held) { ++m_held; }
    ~SettlingHold() { --m_held; }
    SettlingHold(const SettlingHold&) = delete;
    SettlingHold& operator=(const SettlingHold&) = delete;

private:
    int& m_held;
};

}  // namespace

void CContentClassifier::activeAudioSessions_ItemAdded(const CRefPtr<CAudioSession>& session, int32_t) {
    QV_TRACE_SCOPE(L"CContentClassifier::activeAudioSessions_ItemAdded", PointerArgument(session.get()));
    Trace(L"Audio session activated at: %s\n", session->EndpointId());
    {
        SettlingHold hold(m_settlingHeld);
        session->OpenedMediaFilePath.Subscribe(this, activeAudioSessionOpenedMediaFilePath_Handlers());
        session->ProcessInfo.Subscribe(this, activeAudioSessionProcessInfo_Handlers());
        session->AudioStreamBasicInfo.Subscribe(this, activeAudioSessionAudioStreamBasicInfo_Handlers());
        session->WebBrowserProcessInfo.Subscribe(this, activeAudioSessionWebBrowserProcessInfo_Handlers());
        session->IsVideo.Subscribe(this, activeAudioSessionIsVideo_Handlers());
        session->AudioSessionClassifier.Subscribe(this, activeAudioSessionClassifier_Handlers());
    }
    PostUpdateCalculatedClassification(kEventSettling);
}

void CContentClassifier::activeAudioSessions_ItemRemoved(const CRefPtr<CAudioSession>& session, int32_t) {
    QV_TRACE_SCOPE(L"CContentClassifier::activeAudioSessions_ItemRemoved", PointerArgument(session.get()));
    Trace(L"Audio session deactivated at: %s\n", session->EndpointId());
    session->CancelPostedUpdateProcessOpenedMediaFiles();
    {
        SettlingHold hold(m_settlingHeld);
        session->OpenedMediaFilePath.Unsubscribe(this, activeAudioSessionOpenedMediaFilePath_Handlers());
        session->ProcessInfo.Unsubscribe(this, activeAudioSessionProcessInfo_Handlers());
        session->AudioStreamBasicInfo.Unsubscribe(this, activeAudioSessionAudioStreamBasicInfo_Handlers());
        session->WebBrowserProcessInfo.Unsubscribe(this, activeAudioSessionWebBrowserProcessInfo_Handlers());
        session->IsVideo.Unsubscribe(this, activeAudioSessionIsVideo_Handlers());
        session->AudioSessionClassifier.Unsubscribe(this, activeAudioSessionClassifier_Handlers());
    }
    PostUpdateCalculatedClassification(kEventSettling);
}

void CContentClassifier::CContentClassifier_activeAudioSessionClassifierChanged(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::activeAudioSessionClassifier_Changed");
    if (CAudioSessionClassifier* classifier = static_cast<CAudioSession*>(sender)->AudioSessionClassifier->get())
        classifier->Classification.Subscribe(this, activeAudioSessionClassification_Handlers());
}

void CContentClassifier::CContentClassifier_activeAudioSessionClassifierChanging(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::activeAudioSessionClassifier_Changing");
    if (CAudioSessionClassifier* classifier = static_cast<CAudioSession*>(sender)->AudioSessionClassifier->get())
        classifier->Classification.Unsubscribe(this, activeAudioSessionClassification_Handlers());
}

void CContentClassifier::CContentClassifier_activeAudioSessionClassificationChanged(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::activeAudioSessionClassification_Changed");
    Trace(L"Classification: %s\n",
          ClassificationName(static_cast<CAudioSessionClassifier*>(sender)->Classification->Category));
    PostUpdateCalculatedClassification(kEventSettling);
}

void CContentClassifier::CContentClassifier_activeAudioSessionClassificationChanging(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::activeAudioSessionClassification_Changing");
    PostUpdateCalculatedClassification(kEventSettling);
}

void CContentClassifier::CContentClassifier_activeAudioSessionProcessInfoChanged(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::activeAudioSessionProcessInfo_Changed");
    CheckBrowserExtension(*static_cast<CAudioSession*>(sender));
    PostUpdateCalculatedClassification(kEventSettling);
}

void CContentClassifier::CheckBrowserExtension(CAudioSession& session) {
    const CProcessInfo* process = session.ProcessInfo->get();
    if (!process) return;
    const BrowserRow* row = nullptr;
    CRefPtr<CShowInstallBrowserExtensionToast>* toast = nullptr;
    if (StartsWithNoCase(process->ImageName, kEdge.imagePrefix)) {
        row = &kEdge;
        toast = &m_edgeToast;
    } else if (StartsWithNoCase(process->ImageName, kChrome.imagePrefix)) {
        row = &kChrome;
        toast = &m_chromeToast;
    } else {
        return;
    }
    // Only the answer 1 leads to an offer; without the vendor's library
    // there is none.
    CRefPtr<IPlatform> platform = GetPlatform();
    CRefPtr<IVendorApi> vendor = platform ? platform->VendorApi() : nullptr;
    if (!vendor || vendor->ORBMISCAPI_IsBrowserExtensionInstalled(row->vendor, row->browserName, row->extensionId) != 1)
        return;
    // An offer is still open.
    if (*toast && (*toast)->IsConnected()) return;
    *toast = MakeRef<CShowInstallBrowserExtensionToast>(
        TraceTarget(), Dispatcher(), Log(),
        BrowserExtensionOffer{m_endpointId, row->extensionId, row->vendor, row->browserName, row->arguments});
    (*toast)->Connect();
}

// The rest of the session's inputs only restart the settling.
void CContentClassifier::CContentClassifier_activeAudioSessionProcessInfoChanging(void*, CallbackCallReason) {
    PostUpdateCalculatedClassification(kEventSettling);
}
void CContentClassifier::CContentClassifier_activeAudioSessionOpenedMediaFilePathChanged(void*, CallbackCallReason) {
    PostUpdateCalculatedClassification(kEventSettling);
}
void CContentClassifier::CContentClassifier_activeAudioSessionOpenedMediaFilePathChanging(void*, CallbackCallReason) {
    PostUpdateCalculatedClassification(kEventSettling);
}
void CContentClassifier::CContentClassifier_activeAudioSessionAudioStreamBasicInfoChanged(void*, CallbackCallReason) {
    PostUpdateCalculatedClassification(kEventSettling);
}
void CContentClassifier::CContentClassifier_activeAudioSessionAudioStreamBasicInfoChanging(void*, CallbackCallReason) {
    PostUpdateCalculatedClassification(kEventSettling);
}
void CContentClassifier::CContentClassifier_activeAudioSessionWebBrowserProcessInfoChanged(void*, CallbackCallReason) {
    PostUpdateCalculatedClassification(kEventSettling);
}
void CContentClassifier::CContentClassifier_activeAudioSessionWebBrowserProcessInfoChanging(void*, CallbackCallReason) {
    PostUpdateCalculatedClassification(kEventSettling);
}
void CContentClassifier::CContentClassifier_activeAudioSessionIsVideoChanged(void*, CallbackCallReason) {
    PostUpdateCalculatedClassification(kEventSettling);
}
void CContentClassifier::CContentClassifier_activeAudioSessionIsVideoChanging(void*, CallbackCallReason) {
    PostUpdateCalculatedClassification(kEventSettling);
}

void CContentClassifier::CContentClassifier_WebContentClassifierChanged(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::WebContentClassifier_Changed", PointerArgument(WebContentClassifier->get()));
    if (CWebContentClassifier* web = WebContentClassifier->get()) {
        web->AudibleWebPages.Subscribe(this, AudibleWebPages_CollectionHandlers());
        PostUpdateCalculatedClassification(kEventSettling);
    }
}

void CContentClassifier::CContentClassifier_WebContentClassifierChanging(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::WebContentClassifier_Changing", PointerArgument(WebContentClassifier->get()));
    if (CWebContentClassifier* web = WebContentClassifier->get()) {
        web->AudibleWebPages.Unsubscribe(this, AudibleWebPages_CollectionHandlers());
        PostUpdateCalculatedClassification(kEventSettling);
    }
}

void CContentClassifier::AudibleWebPages_ItemAdded(CWebPage* const& page, int32_t) {
    QV_TRACE_SCOPE(L"CContentClassifier::AudibleWebPages_ItemAdded", PointerArgument(page));
    page->AudioStreamBasicInfo.Subscribe(this, audibleWebPageAudioStreamBasicInfo_Handlers());
    page->SourceProcessID.Subscribe(this, audibleWebPageSourceProcessID_Handlers());
    page->IsVideo.Subscribe(this, audibleWebPageIsVideo_Handlers());
    page->WebPageClassifier.Subscribe(this, audibleWebPageClassifier_Handlers());
    PostUpdateCalculatedClassification(kEventSettling);
}

void CContentClassifier::AudibleWebPages_ItemRemoved(CWebPage* const& page, int32_t) {
    QV_TRACE_SCOPE(L"CContentClassifier::AudibleWebPages_ItemRemoved", PointerArgument(page));
    page->AudioStreamBasicInfo.Unsubscribe(this, audibleWebPageAudioStreamBasicInfo_Handlers());
    page->SourceProcessID.Unsubscribe(this, audibleWebPageSourceProcessID_Handlers());
    page->IsVideo.Unsubscribe(this, audibleWebPageIsVideo_Handlers());
    page->WebPageClassifier.Unsubscribe(this, audibleWebPageClassifier_Handlers());
    PostUpdateCalculatedClassification(kEventSettling);
}

void CContentClassifier::CContentClassifier_audibleWebPageClassifierChanged(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::audibleWebPageClassifier_Changed");
    if (CWebPageClassifier* classifier = static_cast<CWebPage*>(sender)->WebPageClassifier->get())
        classifier->Classification.Subscribe(this, audibleWebPageClassification_Handlers());
}

void CContentClassifier::CContentClassifier_audibleWebPageClassifierChanging(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::audibleWebPageClassifier_Changing");
    if (CWebPageClassifier* classifier = static_cast<CWebPage*>(sender)->WebPageClassifier->get())
        classifier->Classification.Unsubscribe(this, audibleWebPageClassification_Handlers());
}

void CContentClassifier::CContentClassifier_audibleWebPageClassificationChanged(void* sender, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::audibleWebPageClassification_Changed");
    Trace(L"Classification: %s\n",
          ClassificationName(static_cast<CWebPageClassifier*>(sender)->Classification->Category));
    PostUpdateCalculatedClassification(kEventSettling);
}

void CContentClassifier::CContentClassifier_audibleWebPageClassificationChanging(void*, CallbackCallReason) {
    PostUpdateCalculatedClassification(kEventSettling);
}
void CContentClassifier::CContentClassifier_audibleWebPageAudioStreamBasicInfoChanged(void*, CallbackCallReason) {
    PostUpdateCalculatedClassification(kEventSettling);
}
void CContentClassifier::CContentClassifier_audibleWebPageAudioStreamBasicInfoChanging(void*, CallbackCallReason) {
    PostUpdateCalculatedClassification(kEventSettling);
}
void CContentClassifier::CContentClassifier_audibleWebPageSourceProcessIDChanged(void*, CallbackCallReason) {
    PostUpdateCalculatedClassification(kEventSettling);
}
void CContentClassifier::CContentClassifier_audibleWebPageSourceProcessIDChanging(void*, CallbackCallReason) {
    PostUpdateCalculatedClassification(kEventSettling);
}
void CContentClassifier::CContentClassifier_audibleWebPageIsVideoChanged(void*, CallbackCallReason) {
    PostUpdateCalculatedClassification(kEventSettling);
}
void CContentClassifier::CContentClassifier_audibleWebPageIsVideoChanging(void*, CallbackCallReason) {
    PostUpdateCalculatedClassification(kEventSettling);
}

void CContentClassifier::PostUpdateCalculatedClassification(std::chrono::milliseconds delay) {
    if (m_settlingHeld > 0) return;
    CancelPending(PendingUpdate);
    CWeakRefPtr<CContentClassifier> weak(this);
    PendingUpdate = CAsyncAction::Post(Dispatcher(), delay, [weak](CRefPtr<CAsyncAction>) {
        if (CRefPtr<CContentClassifier> self = weak.Lock()) self->UpdateCalculatedClassification();
    });
}

// The best active session by priority, then confidence; both compares are
// strict, so of two equal results the earlier session stays, and Game (at
// priority 0) wins only where nothing else plays.
std::optional<CContentClassifier::SessionOffer> CContentClassifier::BrowserPageOffer(
    const CProcessInfo& browser) const {
    const CWebContentClassifier* web = WebContentClassifier->get();
    if (!web) {
        Trace(L"Web content classifier is not set, ignore audio session classifier.\n");
        return std::nullopt;
    }
    Trace(L"Search for the matching web page classifier ...\n");
    // Only the first page of that browser is looked at.
    const CWebPage* page = nullptr;
    for (CWebPage* candidate : web->AudibleWebPages)
        if (candidate->SourceProcessID.value() == browser.ProcessId()) {
            page = candidate;
            break;
        }
    if (!page || !page->WebPageClassifier.value()) {
        Trace(L"No matching web page classifier found.\n");
        return std::nullopt;
    }
    Trace(L"Found matching web page classifier.\n");
    return SessionOffer{page->WebPageClassifier.value()->Classification.value(), page->AudioStreamBasicInfo.value(),
                        page->IsVideo.value()};
}

// A browser's session never falls back to its own session classifier.
std::optional<CContentClassifier::SessionOffer> CContentClassifier::OfferOf(const CAudioSession& session) const {
    if (const CProcessInfo* browser = session.WebBrowserProcessInfo->get()) {
        Trace(L"Belongs to supported web browser '%s' (process id = %i).\n", browser->ImageFileName,
              browser->ProcessId());
        return BrowserPageOffer(*browser);
    }
    Trace(L"Use audio session classifier.\n");
    const CAudioSessionClassifier* classifier = session.AudioSessionClassifier->get();
    if (!classifier) return std::nullopt;
    return SessionOffer{classifier->Classification.value(), session.AudioStreamBasicInfo.value(),
                        session.IsVideo.value()};
}

void CContentClassifier::UpdateCalculatedClassification() {
    QV_TRACE_SCOPE(L"CContentClassifier::UpdateCalculatedClassification");
    Trace(L"Audio endpoint id: %s\n", m_endpointId);
    const CAudioSessionManager* manager = AudioSessionManager->get();
    if (!manager) return;
    Trace(L"Active audio session count: %i\n", static_cast<int>(manager->activeAudioSessions.size()));

    // The highest priority wins, then the higher confidence; on a tie the
    // first session keeps it.
    SessionOffer best;
    int number = 0;
    for (const CRefPtr<CAudioSession>& session : manager->activeAudioSessions) {
        Trace(L"Audio Session Classifier #%i ....\n", ++number);
        std::optional<SessionOffer> offer = OfferOf(*session);
        if (!offer) {
            Trace(L"Skipped audio session classifier.\n");
            continue;
        }
        const CClassification& c = offer->classification;
        Trace(L"Audio Session Classification: %s\n", ClassificationName(c.Category));
        if (c.Priority > best.classification.Priority ||
            (c.Priority == best.classification.Priority && c.Confidence > best.classification.Confidence))
            best = std::move(*offer);
    }

    Trace(L"Calculated classification: %s\n", ClassificationName(best.classification.Category));
    if (best.classification.Category != CategoryUndefined) {
        PostUpdateFinalClassification(best.classification, best.info, best.isVideo, std::chrono::milliseconds(100));
    } else if (FinalClassification->Category == CategoryUndefined) {
        PostUpdateFinalClassification(DefaultClassification, best.info, best.isVideo, std::chrono::milliseconds(0));
    } else {
        // Hold the last result: only two seconds without anything
        // classifiable make it fall back.
        PostUpdateFinalClassification(DefaultClassification, best.info, best.isVideo, std::chrono::milliseconds(2000));
    }
}

}  // namespace qv
