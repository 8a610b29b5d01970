// The two toasts end to end on a Linux desktop: the classifier finds the
// companion app (qv_companion) on a session bus of the test's own, the
// companion shows each toast through the desktop's notification service (a
// test server on that bus, which plays the user), and the user's answer comes
// back to the classifier. The reference vendor library lies beside the
// classifier and keeps its parameters in the test's data folder; the browser
// is the demo client under the name "chrome", with a Chrome profile that
// lacks the add-on.
#include <signal.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>

#include "e2e_fixture.h"
#include "support/private_session_bus_linux.h"
#include "support/test_notification_server_linux.h"

namespace qv::test {
namespace {

const std::string kChromeAddOn = "ppoonnmmllkkjjiihhggffeeddccbbaa";

class ToastsEndToEnd : public ClassifierEndToEnd {
protected:
    void SetUp() override {
        ClassifierEndToEnd::SetUp();
        m_bus = std::make_unique<PrivateSessionBus>();
        ASSERT_FALSE(m_bus->Address().empty()) << "no private session bus";
        m_desktop = std::make_unique<TestNotificationServer>(m_bus->Address());
        ASSERT_TRUE(m_desktop->Started());
        // The classifier beside the reference library, which it loads from
        // its own folder.
        m_classifier = m_bin + "/ContentClassifier";
        CopyProgram(QV_CONTENT_CLASSIFIER, m_classifier);
        CopyProgram(QV_ORBENT_LIBRARY, m_bin + "/libORBENT64.so");
        CopyProgram(QV_DEMO_CLIENT, m_bin + "/chrome");
        std::filesystem::create_directories(m_folder + "/config/google-chrome/Default/Extensions");
        // The browser that the library starts: it writes down its arguments.
        std::ofstream(m_bin + "/browser") << "#!/bin/sh\necho \"$@\" > \"" << m_folder << "/browser.part\"\nmv \""
                                          << m_folder << "/browser.part\" \"" << m_folder << "/browser.txt\"\n";
        std::filesystem::permissions(m_bin + "/browser", std::filesystem::perms::owner_all);
        LoggedProcess& companion = Start("companion", {QV_COMPANION}, Environment());
        ASSERT_TRUE(
            WaitUntil([&] { return companion.Errors().find("serving") != std::string::npos; }, kStartBound, kPoll))
            << companion.Errors();
    }

    std::vector<std::string> Environment() const {
        return {"DBUS_SESSION_BUS_ADDRESS=" + m_bus->Address(), "XDG_CONFIG_HOME=" + m_folder + "/config",
                "XDG_DATA_HOME=" + m_folder + "/data", "QUORVANE_ORBENT_BROWSER=" + m_bin + "/browser"};
    }

    // The reference library's parameters: a one-byte flag of an endpoint.
    std::string ParametersPath() const { return m_folder + "/data/quorvane/orbent-parameters.json"; }
    // The library's store as it is now; an empty object while it has none.
    nlohmann::json Parameters() const {
        std::ifstream in(ParametersPath());
        nlohmann::json table = in ? nlohmann::json::parse(in, nullptr, false) : nlohmann::json();
        return table.is_object() ? table : nlohmann::json::object();
    }
    void SetFlag(const std::string& endpoint, const std::string& parameter) {
        std::filesystem::create_directories(m_folder + "/data/quorvane");
        nlohmann::json table = Parameters();
        table[endpoint][parameter] = "01";
        std::ofstream(ParametersPath()) << table.dump();
    }

    nlohmann::json Settings() const {
        std::ifstream in(m_folder + "/data/Quorvane/ContentClassifier/Settings/" + kChromeAddOn + ".json");
        return in ? nlohmann::json::parse(in, nullptr, false) : nlohmann::json();
    }
    // As if the last showing was long ago, so the next offer is due.
    void BackDateLastShowing() {
        nlohmann::json settings = Settings();
        settings["InstallChromeExtensionToastLastTime"] = "01-Jan-2001 00:00:00";
        std::ofstream(m_folder + "/data/Quorvane/ContentClassifier/Settings/" + kChromeAddOn + ".json")
            << settings.dump(4);
    }

    LoggedProcess& StartClassifier() {
        LoggedProcess& host = StartHost({}, Environment(), m_classifier);
        EXPECT_TRUE(WaitForWord(host, m_output, 0, "AnyContent", kStartBound)) << host.Errors();
        return host;
    }
    void PlayChrome() { Start("chrome", {m_bin + "/chrome", "--tone", "440", "--seconds", "20"}); }

    const std::string m_output = "E2E-Toast-Speakers";
    std::string m_sink;
    std::string m_classifier;
    std::unique_ptr<PrivateSessionBus> m_bus;
    std::unique_ptr<TestNotificationServer> m_desktop;
};

TEST_F(ToastsEndToEnd, ChromeIsOfferedItsAddOnAndEachAnswerIsKept) {
    m_sink = LoadPresetSink("toasts", m_output, true);
    SetFlag(m_sink, "-1,-37,-1");
    LoggedProcess& host = StartClassifier();

    // Chrome plays: the offer shows, and the store opens on "install".
    PlayChrome();
    ASSERT_TRUE(m_desktop->WaitForNotifications(1)) << host.Errors();
    const auto offer = m_desktop->Notifications().back();
    EXPECT_NE(std::find(offer.actions.begin(), offer.actions.end(), "action=install_ext_yes"), offer.actions.end());
    EXPECT_EQ(Settings()["InstallChromeExtensionToastIntervalSeconds"], 43200);
    ASSERT_TRUE(m_desktop->InvokeAction(offer.id, "action=install_ext_yes"));
    std::string opened;
    ASSERT_TRUE(WaitUntil(
        [&] {
            std::ifstream in(m_folder + "/browser.txt");
            return in && std::getline(in, opened);
        },
        kWordBound, kPoll))
        << host.Errors();
    EXPECT_EQ(opened,
              "--profile-directory=Default https://chrome.google.com/webstore/detail/zk-content-audio/" + kChromeAddOn);

    // Due again: dismissed, the doubled wait stays.
    BackDateLastShowing();
    PlayChrome();
    ASSERT_TRUE(m_desktop->WaitForNotifications(2)) << host.Errors();
    EXPECT_EQ(Settings()["InstallChromeExtensionToastIntervalSeconds"], 86400);
    ASSERT_TRUE(m_desktop->Dismiss(m_desktop->Notifications().back().id));

    // Due again: "don't ask again" holds across a restart of the classifier.
    BackDateLastShowing();
    PlayChrome();
    ASSERT_TRUE(m_desktop->WaitForNotifications(3)) << host.Errors();
    ASSERT_TRUE(m_desktop->InvokeAction(m_desktop->Notifications().back().id, "dontShowAgain"));
    ASSERT_TRUE(WaitUntil([&] { return Settings().value("ShowInstallChromeExtensionToast", true) == false; },
                          kWordBound, kPoll))
        << host.Errors();
    EXPECT_EQ(Settings()["InstallChromeExtensionToastIntervalSeconds"], 172800);
    ASSERT_EQ(Stop(host), 0);

    BackDateLastShowing();
    LoggedProcess& again = StartClassifier();
    PlayChrome();
    ASSERT_TRUE(
        WaitUntil([&] { return again.Errors().find("ShowInstallChromeExtensionToast = false") != std::string::npos; },
                  kWordBound, kPoll))
        << again.Errors();
    EXPECT_EQ(m_desktop->Notifications().size(), 3u);
}

// A new output with LobeFit is invited, and the acceptance lands in its
// record. A restart of the sound server then takes every output away and
// brings it back: that is no new device. An output really new afterwards is.
TEST_F(ToastsEndToEnd, ANewOutputWithLobeFitIsInvitedOnceAndARestartIsNoNewOutput) {
    m_sink = LoadPresetSink("toasts", m_output, true);
    LoggedProcess& host = StartClassifier();
    // Known to the library before it appears.
    const std::string headset = m_sinkPrefix + "_headset";
    SetFlag(headset, "-1,-36,-1");
    LoadSink("headset", "E2E-Toast-Headset", "");
    ASSERT_TRUE(m_desktop->WaitForNotifications(1)) << host.Errors();
    ASSERT_TRUE(m_desktop->InvokeAction(m_desktop->Notifications().back().id, "action=zkpa_personalize"));
    ASSERT_TRUE(WaitUntil([&] { return Parameters()[headset].contains("5,148,-1"); }, kWordBound, kPoll))
        << host.Errors();

    SoundServer::Get().Stop();
    ASSERT_TRUE(SoundServer::Get().Start()) << SoundServer::Get().Diagnostics();
    // The server starts from scratch: the test's outputs come back as a
    // driver would bring them back, under their names.
    m_modules.clear();
    m_sink = LoadPresetSink("toasts", m_output, true);
    LoadSink("headset", "E2E-Toast-Headset", "");

    const std::string dock = m_sinkPrefix + "_dock";
    SetFlag(dock, "-1,-36,-1");
    LoadSink("dock", "E2E-Toast-Dock", "");
    ASSERT_TRUE(m_desktop->WaitForNotifications(2)) << host.Errors();
    // The dock's invitation came after the headset's return, which made none.
    const std::string trace = host.Errors();
    EXPECT_NE(trace.find("Retreived endpoint for device " + dock), std::string::npos) << trace;
    const std::string headsetOpened = "Retreived endpoint for device " + headset;
    EXPECT_EQ(trace.find(headsetOpened, trace.find(headsetOpened) + 1), std::string::npos) << trace;
    EXPECT_EQ(m_desktop->Notifications().size(), 2u);
}

}  // namespace
}  // namespace qv::test
