// The classification on the simulated machine, heard through a real pipe by a
// test host: speakers with the automatic preset (the endpoint classified),
// headphones, a microphone, the process's device manager with the host's
// pipe name, and the hands of a test on it: start applications, play and
// stop their sessions, give a session the facts of the media file its player
// holds open, and run the main thread until the host has heard enough.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "classify/content_classifier.h"
#include "web/web_page.h"
#include "support/model_fixture.h"
#include "support/test_host.h"
#include "web/web_content_classifier.h"

namespace qv {
// For the messages of failed expectations.
void PrintTo(const CClassification& c, std::ostream* os);
}  // namespace qv

namespace qv::test {

inline const std::wstring kSpeakers = L"{0.0.0.00000000}.{speakers}";
inline const std::wstring kHeadphones = L"{0.0.0.00000000}.{headphones}";
inline const std::wstring kMicrophone = L"{0.0.1.00000000}.{microphone}";

// The four values of the automatic preset that the speakers' store holds.
struct EndpointSettings {
    bool hasAutoPreset = true;
    bool enableAutoPreset = true;
    uint32_t featureMode = 0;
    std::optional<std::wstring> contentType = std::nullopt;
};

// What the lister of open files and the decoder would tell a session.
struct MediaFile {
    std::wstring path;
    CRefPtr<CAudioStreamBasicInfo> info;
    std::shared_ptr<std::vector<float>> samples;
    bool isVideo = false;
};

// Sets on the model's session what the lister and the decoder would.
void OpenFile(CAudioSession& session, const MediaFile& file);

class ClassifierTest : public ModelTest {
protected:
    // Releases the model while the host still listens (it hears the
    // withdrawal), then holds every message the host got to the protocol.
    void TearDown() override;

    // The machine, then the model on it. An empty pipe name is the host's.
    void Start(const EndpointSettings& settings = {}, const std::string& hostPipeName = {});

    // A running process of that image, with an id of its own.
    uint32_t StartApp(const std::wstring& imagePath, uint32_t parentPid = 0);
    // An active session of the process, announced as a new one.
    std::wstring Play(uint32_t pid, const std::wstring& endpointId = kSpeakers);
    void SetState(const std::wstring& session, AudioSessionState state);
    // The model's object of the session once it is active with its process.
    CRefPtr<CAudioSession> WaitForSession(const std::wstring& session, const std::wstring& endpointId = kSpeakers);
    // A value of the speakers' store changes, as the audio engine writes it.
    void SetSpeakersValue(const PROPERTYKEY& key, uint32_t value);
    // A browser (its id in `browser`) and its audio child, whose session plays.
    std::wstring PlayInBrowser();
    // An audible page of a browser process, with a classifier of that result
    // or none, as the native-host pipe would report it.
    CRefPtr<CWebPage> AudiblePage(uint32_t browserPid, std::optional<CClassification> result);

    // Runs the main thread until the host has that many messages.
    bool WaitForHost(std::size_t count, std::chrono::milliseconds limit = std::chrono::seconds(10));
    // Runs the main thread until that many trace lines hold the text.
    bool WaitForTrace(const std::wstring& text, std::size_t count = 1,
                      std::chrono::milliseconds limit = std::chrono::seconds(10));
    // Final updates that have run to their end.
    std::size_t FinalUpdates() const;
    // Runs the main thread until one more final update than `before` has run.
    bool WaitForFinalUpdate(std::size_t before, std::chrono::milliseconds limit = std::chrono::seconds(10));

    CClassification Final() const { return classifier->FinalClassification.value(); }

    TestHost host{h.platform->Pipes()};
    CRefPtr<CAudioDeviceManager> devices;
    CRefPtr<CContentClassifier> classifier;
    uint32_t browser = 0;

private:
    uint32_t m_nextPid = 4000;
    std::vector<std::wstring> m_sessions;
    std::vector<CRefPtr<CWebPage>> m_pages;
};

// The session's own classification, or the default value without a classifier.
CClassification SessionResult(const CAudioSession& session);

MediaFile StreamFacts(uint32_t channels, uint32_t rate, uint32_t bits, double seconds, const std::wstring& path = {},
                      bool isVideo = false);

}  // namespace qv::test
