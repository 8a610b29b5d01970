// A real browser end to end: Debian's Chromium, headless, with the add-on of
// extension/ loaded, plays pages of a local HTTPS server on a private sound
// server. The classifier registers its native host into the browser's
// profile, the browser starts PELTAK64 for the add-on, and the host hears the
// word that each page gives: a film service's page by its host name, a watch
// page of the video site by the category that its player's script names.
// The browser reaches both host names at the local server through its own
// resolver rules, and the classifier reaches the video site there through
// its HTTP route, so nothing leaves the machine.
#include <signal.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "e2e_fixture.h"
#include "https_test_server.h"

namespace qv::test {
namespace {

constexpr const char* kChromium = "/usr/lib/chromium/chromium";
constexpr const char* kFilmHost = "www.netflix.com";
constexpr const char* kVideoSiteHost = "www.youtube.com";
constexpr const char* kVideoId = "e2eNews01";
// The classifier's own requests name themselves so; the browser's do not.
constexpr const char* kClassifierAgent = "UserAgent";
// Chromium's shutdown hangs now and then in its crash handler: the browser
// runs under timeout(1), which ends it by force this long after a request.
constexpr const char* kBrowserLifetime = "150";

// One line of the classifier's web log: "[seconds] text".
struct StampedLine {
    double seconds;
    std::string text;
};

std::vector<StampedLine> WebLogLines(const std::string& output) {
    std::vector<StampedLine> lines;
    std::istringstream in(output);
    for (std::string line; std::getline(in, line);) {
        if (line.size() < 3 || line[0] != '[') continue;
        char* end = nullptr;
        const double seconds = std::strtod(line.c_str() + 1, &end);
        if (end == line.c_str() + 1 || *end != ']') continue;
        lines.push_back({seconds, line.substr(static_cast<std::size_t>(end - line.c_str()) + 1)});
    }
    return lines;
}

bool Contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

class BrowserEndToEnd : public ClassifierEndToEnd {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(kChromium))
            GTEST_SKIP() << "no Chromium at " << kChromium << " (Debian's package chromium); the browser test needs it";
        ClassifierEndToEnd::SetUp();
        if (HasFatalFailure()) return;
        // The classifier registers its native host for Chromium only where
        // the user has run Chromium, that is where its folder exists.
        m_config = m_folder + "/config";
        m_profile = m_config + "/chromium";
        std::filesystem::create_directories(m_profile);

        const std::string site = m_folder + "/site";
        std::filesystem::create_directories(site);
        for (const auto& page : std::filesystem::directory_iterator(QV_BROWSER_SITE))
            std::filesystem::copy_file(page.path(), site + "/" + page.path().filename().string());
        std::filesystem::copy_file(m_media + "/tone.webm", site + "/tone.webm");
        m_server = std::make_unique<CHttpsTestServer>(std::string(kFilmHost) + "," + kVideoSiteHost, site);
        ASSERT_NE(m_server->Port(), 0) << "the local HTTPS server did not come up";
    }

    std::string Port() const { return std::to_string(m_server->Port()); }

    LoggedProcess& StartBrowser(const std::string& url) {
        const std::string extension = QV_EXTENSION_DIR;
        return Start("chromium", {"/usr/bin/timeout", "-k", "5", kBrowserLifetime, kChromium, "--headless=new",
                                  // The test may run as root, where Chromium refuses its sandbox.
                                  "--no-sandbox", "--user-data-dir=" + m_profile, "--no-first-run",
                                  "--disable-crash-reporter", "--autoplay-policy=no-user-gesture-required",
                                  "--load-extension=" + extension, "--disable-extensions-except=" + extension,
                                  "--host-resolver-rules=MAP " + std::string(kFilmHost) + " 127.0.0.1:" + Port() +
                                      ",MAP " + kVideoSiteHost + " 127.0.0.1:" + Port(),
                                  // The local server's certificate comes from a test CA
                                  // that the browser's store does not hold.
                                  "--ignore-certificate-errors", url});
    }

    std::string m_config, m_profile;
    std::unique_ptr<CHttpsTestServer> m_server;
};

TEST_F(BrowserEndToEnd, PagesPlayingInChromiumReachTheHostThroughTheAddOn) {
    const std::string output = "E2E-Browser-Speakers";
    const std::string sink = LoadPresetSink("browser", output, true);
    LoggedProcess& host =
        StartHost({}, {"XDG_CONFIG_HOME=" + m_config,
                       "QUORVANE_HTTP_CONNECT_TO=" + std::string(kVideoSiteHost) + ":443:127.0.0.1:" + Port(),
                       "QUORVANE_HTTP_CA_FILE=" + m_server->CaFile()});
    ASSERT_TRUE(WaitForWord(host, output, 0, "AnyContent", kStartBound)) << "heard " << Joined(Heard(host, output));
    const std::string manifest = m_profile + "/NativeMessagingHosts/com.quorvane.contentclassifier.json";
    ASSERT_TRUE(WaitUntil([&] { return std::filesystem::exists(manifest); }, kStartBound, kPoll))
        << "the classifier did not register its native host in the browser's profile";

    // A film service's tab: its host name makes it a film.
    LoggedProcess& film = StartBrowser("https://" + std::string(kFilmHost) + "/movie.html");
    ASSERT_TRUE(WaitForWord(host, output, 1, "Movie", kStartBound))
        << "heard " << Joined(Heard(host, output)) << " while the film service's tab plays; the browser:\n"
        << film.Describe() << "the host and classifier:\n"
        << host.Describe();
    // The film ends by itself; the add-on says so at once. The add-on's
    // message rate while the tab played comes from the classifier's own
    // stamps: first report of playing to the report of the end.
    std::vector<StampedLine> log;
    std::vector<StampedLine>::const_iterator began, ended;
    ASSERT_TRUE(WaitUntil(
        [&] {
            log = WebLogLines(host.Output());
            began = std::find_if(log.cbegin(), log.cend(),
                                 [](const StampedLine& l) { return Contains(l.text, R"("playing":true)"); });
            ended = std::find_if(began, log.cend(),
                                 [](const StampedLine& l) { return Contains(l.text, R"("playing":false)"); });
            return ended != log.cend();
        },
        kStartBound, kPoll))
        << "the add-on never reported the film's end:\n"
        << host.Output();
    const long messages =
        std::count_if(began, ended, [](const StampedLine& l) { return l.text.rfind(" Took ", 0) == 0; });
    std::printf("add-on messages during %.1f s of playback of one tab: %ld (%.2f per second)\n",
                ended->seconds - began->seconds, messages, messages / std::max(0.001, ended->seconds - began->seconds));
    ASSERT_TRUE(Stop(film, SIGTERM));

    // The video site's watch page: its player's script names the category,
    // which gives Voice where the site's pages are films by default.
    LoggedProcess& news = StartBrowser("https://" + std::string(kVideoSiteHost) + "/watch?v=" + kVideoId);
    ASSERT_TRUE(WaitForLatestWord(host, output, "Voice", kStartBound))
        << "heard " << Joined(Heard(host, output)) << " while the news video plays; the browser:\n"
        << news.Describe() << "the host and classifier:\n"
        << host.Describe();
    EXPECT_TRUE(Contains(host.Output(), "} >>> Youtube category = News & Politics"))
        << "the classifier did not log the category";
    // Beside the add-on's script, the classifier fetched the watch page from
    // the video site itself, which here is the local server.
    EXPECT_TRUE(m_server->WaitForLine(
        [](const std::string& line) {
            return line.rfind(std::string("get /watch?v=") + kVideoId, 0) == 0 &&
                   line.ends_with(std::string(" ") + kClassifierAgent);
        },
        kWordBound))
        << "the classifier never fetched the watch page";
    std::printf("the host heard %s\n", Joined(Heard(host, output)).c_str());
    ASSERT_TRUE(Stop(news, SIGTERM));
    ASSERT_EQ(Stop(host), 0);
}

}  // namespace
}  // namespace qv::test
