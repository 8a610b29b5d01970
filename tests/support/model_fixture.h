// The fixture of the device and session model on the simulated machine: the
// harness plays main, the test builds the machine (endpoints, sessions,
// processes) and the model objects on top of it, then lets the machine's
// callbacks and the posted actions run with Settle.
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "devices/audio_device.h"
#include "devices/audio_device_manager.h"
#include "sessions/audio_session.h"
#include "sessions/audio_session_manager.h"
#include "support/main_thread_harness.h"

namespace qv::test {

class ModelTest : public ::testing::Test {
protected:
    ModelTest();
    // Drops what is still queued for the main thread and the process cache,
    // so that no model object outlives the test's machine by accident.
    ~ModelTest() override;

    CSimAudio& Audio() { return *h.platform->SimAudio; }
    CSimProcesses& Processes() { return *h.platform->SimProcesses; }
    CSimPower& Power() { return *h.platform->SimPower; }
    CSimSystem& Clock() { return *h.platform->SimSystem; }
    CSimAppServices& Companion() { return *h.platform->SimAppServices; }
    CSimVendorApi& Vendor() { return *h.platform->SimVendorApi; }

    // The companion app is installed and every endpoint has LobeFit and no
    // record of it yet, so that every new-device toast that is due shows.
    void OfferNewDeviceToasts();
    // The endpoint of each new-device toast shown so far, in order.
    std::vector<std::wstring> NewDeviceToastsShown() const;
    // The user dismisses every toast still shown.
    void DismissToasts();

    // Delivers every audio and power callback raised so far, then runs on
    // this thread everything that they posted, and what that posted in turn,
    // until nothing is left.
    void Settle();

    // The process's device manager, initialised with the ids. Its classifiers
    // stay idle without a host pipe name.
    CRefPtr<CAudioDeviceManager> StartDeviceManager(const std::vector<std::wstring>& endpointIds,
                                                    const std::string& hostPipeName = {});
    // The nth device of the manager with the id, or null.
    static CRefPtr<CAudioDevice> FindDevice(const CAudioDeviceManager& manager, const std::wstring& endpointId,
                                            std::size_t nth = 0);
    // A session manager bound to the device, as the classifier of the
    // endpoint would make it.
    CRefPtr<CAudioSessionManager> WatchSessions(const CRefPtr<CAudioDevice>& device);

    // Trace lines that contain the text.
    std::size_t TraceCount(const std::wstring& text) const;

    MainThreadHarness h;
};

// The first session of the collection with the instance identifier, or null.
CRefPtr<CAudioSession> FindSession(const CAudioSessionManager::SessionCollection& sessions,
                                   const std::wstring& instanceId);

}  // namespace qv::test
