#include "classifier_fixture.h"

#include <ostream>

#include "core/text.h"
#include "platform/codes.h"

namespace qv {

void PrintTo(const CClassification& c, std::ostream* os) {
    *os << "{Category " << c.Category << ", Confidence " << c.Confidence << ", Priority " << c.Priority << ", Source "
        << c.Source << ", VoiceRejected " << (c.VoiceRejected ? "true" : "false") << "}";
}

}  // namespace qv

namespace qv::test {

void ClassifierTest::TearDown() {
    // Pages leave the collection before they go: it holds raw pointers.
    if (devices)
        for (const CRefPtr<CWebPage>& page : m_pages)
            devices->WebContentClassifier()->AudibleWebPages.Remove(page.get());
    m_pages.clear();
    classifier = nullptr;
    devices = nullptr;
    h.RunPending();
    // The model lets go of every registration it made on the machine.
    EXPECT_TRUE(h.RunUntil([&] {
        std::size_t held = Audio().EndpointClientCount() + Power().RegistrationCount();
        for (const std::wstring& endpoint : {kSpeakers, kHeadphones, kMicrophone})
            held += Audio().SessionNotificationCount(endpoint);
        for (const std::wstring& session : m_sessions) held += Audio().SessionEventsCount(session);
        return held == 0;
    })) << "the model still holds registrations on the machine";
    host.Stop();
    for (const HostRecord& record : host.Records()) {
        EXPECT_EQ(record.fault, "") << "the message \"" << record.word << "\" broke the exchange";
        EXPECT_EQ(record.endpointId, WideToUtf8(kSpeakers)) << "only the speakers are classified";
    }
}

void ClassifierTest::Start(const EndpointSettings& settings, const std::string& hostPipeName) {
    ASSERT_EQ(host.CreateError(), 0u);
    ASSERT_TRUE(Audio().AddEndpoint(kSpeakers, eRender, DEVICE_STATE_ACTIVE, L"Speakers"));
    ASSERT_TRUE(Audio().AddEndpoint(kHeadphones, eRender, DEVICE_STATE_ACTIVE, L"Headphones"));
    ASSERT_TRUE(Audio().AddEndpoint(kMicrophone, eCapture, DEVICE_STATE_ACTIVE, L"Microphone"));
    ASSERT_TRUE(Audio().SetDefaultEndpoint(eRender, eMultimedia, kSpeakers));
    ASSERT_TRUE(Audio().SetEndpointProperty(kSpeakers, PKEY_HasAutoPreset, SimPropertyUi4(settings.hasAutoPreset)));
    ASSERT_TRUE(
        Audio().SetEndpointProperty(kSpeakers, PKEY_EnableAutoPreset, SimPropertyUi4(settings.enableAutoPreset)));
    ASSERT_TRUE(
        Audio().SetEndpointProperty(kSpeakers, PKEY_AutoPresetFeatureMode, SimPropertyUi4(settings.featureMode)));
    if (settings.contentType) {
        ASSERT_TRUE(Audio().SetEndpointProperty(kSpeakers, PKEY_AudioContentType_EFX,
                                                SimPropertyString(*settings.contentType)));
    }
    ASSERT_TRUE(Audio().WaitUntilDelivered());

    devices = StartDeviceManager({kSpeakers}, hostPipeName.empty() ? host.PipeName() : hostPipeName);
    for (const CRefPtr<CContentClassifier>& c : devices->ContentClassifiers())
        if (c->EndpointId() == kSpeakers) classifier = c;
    ASSERT_TRUE(classifier);
    ASSERT_TRUE(classifier->AudioSessionManager.value());
}

uint32_t ClassifierTest::StartApp(const std::wstring& imagePath, uint32_t parentPid) {
    const uint32_t pid = m_nextPid++;
    EXPECT_TRUE(Processes().StartProcess(pid, imagePath, parentPid));
    return pid;
}

std::wstring ClassifierTest::Play(uint32_t pid, const std::wstring& endpointId) {
    std::wstring id = Audio().AddSession(endpointId, {.processId = pid, .state = AudioSessionStateActive});
    EXPECT_FALSE(id.empty());
    m_sessions.push_back(id);
    return id;
}

std::wstring ClassifierTest::PlayInBrowser() {
    browser = StartApp(L"C:\\Program Files\\Google\\Chrome\\Application\\chrome.exe");
    return Play(StartApp(L"C:\\Program Files\\Google\\Chrome\\Application\\chrome.exe", browser));
}

CRefPtr<CWebPage> ClassifierTest::AudiblePage(uint32_t browserPid, std::optional<CClassification> result) {
    CRefPtr<CWebPage> page = MakeRef<CWebPage>(h.trace, h.dispatcher, h.log, WebObjectId{0, m_pages.size() + 1});
    page->SourceProcessID.set(browserPid);
    if (result) {
        CRefPtr<CWebPageClassifier> pageClassifier = MakeRef<CWebPageClassifier>(h.trace, h.dispatcher, h.log);
        pageClassifier->Classification.set(*result);
        page->WebPageClassifier.set(pageClassifier);
    }
    devices->WebContentClassifier()->AudibleWebPages.Add(page.get());
    m_pages.push_back(page);
    return page;
}

void ClassifierTest::SetState(const std::wstring& session, AudioSessionState state) {
    EXPECT_TRUE(Audio().SetSessionState(session, state));
}

CRefPtr<CAudioSession> ClassifierTest::WaitForSession(const std::wstring& session, const std::wstring& endpointId) {
    CRefPtr<CAudioSession> found;
    const bool ready = h.RunUntil([&] {
        if (endpointId == kSpeakers) {
            if (CAudioSessionManager* manager = classifier->AudioSessionManager->get())
                found = FindSession(manager->activeAudioSessions, session);
        } else {
            for (const auto& manager : classifier->captureAudioSessionManagers)
                if (manager->EndpointId() == endpointId) found = FindSession(manager->activeAudioSessions, session);
        }
        return found && found->ProcessInfo.value();
    });
    EXPECT_TRUE(ready) << "the model never had the session " << WideToUtf8(session) << " active with its process";
    return found;
}

void OpenFile(CAudioSession& session, const MediaFile& file) {
    session.IsVideo.set(file.isVideo);
    session.AudioStreamBasicInfo.set(file.info);
    session.SampleBuffer.set(file.samples);
    session.OpenedMediaFilePath.set(file.path);
}

void ClassifierTest::SetSpeakersValue(const PROPERTYKEY& key, uint32_t value) {
    EXPECT_TRUE(Audio().SetEndpointProperty(kSpeakers, key, SimPropertyUi4(value)));
}

bool ClassifierTest::WaitForHost(std::size_t count, std::chrono::milliseconds limit) {
    return h.RunUntil([&] { return host.Count() >= count; }, limit);
}

bool ClassifierTest::WaitForTrace(const std::wstring& text, std::size_t count, std::chrono::milliseconds limit) {
    return h.RunUntil([&] { return TraceCount(text) >= count; }, limit);
}

std::size_t ClassifierTest::FinalUpdates() const {
    return TraceCount(L"} CContentClassifier::UpdateFinalClassification(");
}

bool ClassifierTest::WaitForFinalUpdate(std::size_t before, std::chrono::milliseconds limit) {
    return h.RunUntil([&] { return FinalUpdates() > before; }, limit);
}

CClassification SessionResult(const CAudioSession& session) {
    const CAudioSessionClassifier* judge = session.AudioSessionClassifier.value().get();
    return judge ? judge->Classification.value() : CClassification{};
}

MediaFile StreamFacts(uint32_t channels, uint32_t rate, uint32_t bits, double seconds, const std::wstring& path,
                      bool isVideo) {
    MediaFile file;
    file.path = path;
    file.info = MakeRef<CAudioStreamBasicInfo>(channels, rate, bits, seconds);
    file.isVideo = isVideo;
    return file;
}

}  // namespace qv::test
