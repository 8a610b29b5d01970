// What the tests of the audio port share: a fresh enumerator (one
// connection) per test, and short ways to its endpoints and sessions.
#pragma once

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/audio.h"
#include "platform/codes.h"
#include "platform/linux/linux_audio.h"
#include "sound_server.h"

namespace qv::test {

class PulseServerFixture : public testing::Test {
public:
    void SetUp() override { enumerator = MakeRef<CLinuxAudioEnumerator>(); }

    CRefPtr<IMMDevice> Device(const std::wstring& id) {
        CRefPtr<IMMDevice> device;
        EXPECT_EQ(enumerator->GetDevice(id, device), S_OK) << "no device " << std::string(id.begin(), id.end());
        return device;
    }
    static std::wstring IdOf(IMMDevice* device) {
        std::wstring id;
        if (device) device->GetId(id);
        return id;
    }
    static uint32_t StateOf(IMMDevice* device) {
        uint32_t state = 0;
        EXPECT_EQ(device->GetState(state), S_OK);
        return state;
    }
    static CRefPtr<IAudioSessionManager2> Manager(IMMDevice* device) {
        CRefPtr<IAudioSessionManager2> manager;
        EXPECT_EQ(device->Activate(IID_IAudioSessionManager2, CLSCTX_ALL, manager), S_OK);
        return manager;
    }
    static std::vector<CRefPtr<IAudioSessionControl2>> SessionsOf(IMMDevice* device) {
        std::vector<CRefPtr<IAudioSessionControl2>> sessions;
        CRefPtr<IAudioSessionManager2> manager = Manager(device);
        CRefPtr<IAudioSessionEnumerator> list;
        if (!manager || manager->GetSessionEnumerator(list) != S_OK) return sessions;
        int32_t count = 0;
        list->GetCount(count);
        for (int32_t i = 0; i < count; ++i) {
            CRefPtr<IAudioSessionControl> session;
            CRefPtr<IAudioSessionControl2> session2;
            if (list->GetSession(i, session) == S_OK && session->QueryInterface(session2) == S_OK)
                sessions.push_back(session2);
        }
        return sessions;
    }
    static uint32_t ProcessOf(IAudioSessionControl2* session) {
        uint32_t pid = 0;
        session->GetProcessId(pid);
        return pid;
    }
    // The session of the process on the endpoint, once the server shows it.
    static CRefPtr<IAudioSessionControl2> WaitForSessionOf(IMMDevice* device, uint32_t pid) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (std::chrono::steady_clock::now() < deadline) {
            for (auto& session : SessionsOf(device))
                if (ProcessOf(session.get()) == pid) return session;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return nullptr;
    }
    // Whether the default render endpoint is the one named, within moments:
    // PipeWire's session manager applies a new default in its own time.
    bool WaitForDefaultRender(const std::wstring& id) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        for (;;) {
            CRefPtr<IMMDevice> device;
            if (enumerator->GetDefaultAudioEndpoint(eRender, eConsole, device) == S_OK && IdOf(device.get()) == id)
                return true;
            if (std::chrono::steady_clock::now() >= deadline) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    static AudioSessionState StateOf(IAudioSessionControl* session) {
        AudioSessionState state = AudioSessionStateInactive;
        EXPECT_EQ(session->GetState(state), S_OK);
        return state;
    }
    // Whether the session reaches the state within moments.
    static bool WaitForState(IAudioSessionControl* session, AudioSessionState wanted) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (StateOf(session) != wanted) {
            if (std::chrono::steady_clock::now() >= deadline) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return true;
    }

    CRefPtr<IMMDeviceEnumerator> enumerator;
};

}  // namespace qv::test
