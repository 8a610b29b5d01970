// What the tests of the audio port share: a fresh enumerator (one
// connection) per test, and short ways to its endpoints and sessions.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/audio.h"
#include "platform/codes.h"
#include "platform/linux/linux_audio.h"
#include "sound_server.h"
#include "support/wait_until.h"

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
        return WaitForResult([&]() -> CRefPtr<IAudioSessionControl2> {
            for (auto& session : SessionsOf(device))
                if (ProcessOf(session.get()) == pid) return session;
            return nullptr;
        });
    }
    // Whether the default render endpoint is the one named, within moments:
    // PipeWire's session manager applies a new default in its own time.
    bool WaitForDefaultRender(const std::wstring& id) {
        return WaitUntil([&] {
            CRefPtr<IMMDevice> device;
            return enumerator->GetDefaultAudioEndpoint(eRender, eConsole, device) == S_OK && IdOf(device.get()) == id;
        });
    }
    static AudioSessionState StateOf(IAudioSessionControl* session) {
        AudioSessionState state = AudioSessionStateInactive;
        EXPECT_EQ(session->GetState(state), S_OK);
        return state;
    }
    // Whether the session reaches the state within moments.
    static bool WaitForState(IAudioSessionControl* session, AudioSessionState wanted) {
        return WaitUntil([&] { return StateOf(session) == wanted; });
    }

    // The port keeps a bare pointer to a registered callback object, safe
    // only until it is unregistered. These register one for the rest of the
    // test: the fixture keeps it alive and unregisters it when the test ends,
    // however it ends, before the port's threads could call a freed object.
    // A test may unregister earlier; the late unregistration then finds
    // nothing.
    HRESULT RegisterForTheTest(IMMDeviceEnumerator* port, IMMNotificationClient* client) {
        return Keep(port->RegisterEndpointNotificationCallback(client),
                    [port = CRefPtr<IMMDeviceEnumerator>(port), client = CRefPtr<IMMNotificationClient>(client)] {
                        port->UnregisterEndpointNotificationCallback(client.get());
                    });
    }
    HRESULT RegisterForTheTest(IAudioSessionManager2* port, IAudioSessionNotification* client) {
        return Keep(port->RegisterSessionNotification(client),
                    [port = CRefPtr<IAudioSessionManager2>(port), client = CRefPtr<IAudioSessionNotification>(client)] {
                        port->UnregisterSessionNotification(client.get());
                    });
    }
    HRESULT RegisterForTheTest(IAudioSessionControl* port, IAudioSessionEvents* client) {
        return Keep(port->RegisterAudioSessionNotification(client),
                    [port = CRefPtr<IAudioSessionControl>(port), client = CRefPtr<IAudioSessionEvents>(client)] {
                        port->UnregisterAudioSessionNotification(client.get());
                    });
    }
    void TearDown() override {
        for (auto unregister = m_unregistrations.rbegin(); unregister != m_unregistrations.rend(); ++unregister)
            (*unregister)();
        m_unregistrations.clear();
    }

    CRefPtr<IMMDeviceEnumerator> enumerator;

private:
    HRESULT Keep(HRESULT registered, std::function<void()> unregister) {
        if (registered == S_OK) m_unregistrations.push_back(std::move(unregister));
        return registered;
    }
    std::vector<std::function<void()>> m_unregistrations;
};

}  // namespace qv::test
