// The private sound server of one run of the test program, started before
// the first test by ./sound-server: PulseAudio, or PipeWire with
// wireplumber and pipewire-pulse, as QV_SOUND_SERVER says ("pulseaudio" when
// unset). The environment of the program points libpulse at it (and at a
// home, runtime and temporary folder of its own) before any thread exists.
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace qv::test {

class SoundServer : public testing::Environment {
public:
    void SetUp() override;
    void TearDown() override;

    // The one instance, made when the program starts.
    static SoundServer& Get();

    bool IsPipeWire() const { return m_server == "pipewire"; }
    const std::string& Name() const { return m_server; }
    const std::string& Folder() const { return m_folder; }
    // The address of the test bus, which stands in for the system bus.
    std::string BusAddress() const;
    std::string EndpointPropertiesFile() const { return m_folder + "/endpoint-properties.json"; }

    // Stops the server (all its daemons) and starts it again from scratch.
    void Stop();
    bool Start();

    // Runs pactl (or pacmd) with the arguments; its standard output, and
    // whether it succeeded.
    static bool Run(const std::vector<std::string>& command, std::string* output = nullptr);
    static bool Pactl(const std::vector<std::string>& arguments, std::string* output = nullptr);

    // Makes the sink the server's default and waits until the server says
    // so. PipeWire leaves the choice to its session manager, which may take
    // its time or miss a change made while it was busy with another, so the
    // request is repeated every second for up to 30 s.
    bool MakeDefaultSink(const std::string& name) const;
    // What a failure message should carry about the server: which daemons
    // still run, the default it reports, and the end of each daemon's log.
    std::string Diagnostics() const;

private:
    std::string m_server;
    std::string m_folder;
    int m_pid = -1;
};

}  // namespace qv::test
