#include "support/model_fixture.h"

#include "core/text.h"
#include "prompts/supported_app_lists.h"
#include "sessions/process_info.h"

namespace qv::test {

ModelTest::ModelTest() { CProcessInfo::ClearCache(); }

ModelTest::~ModelTest() {
    h.RunPending();
    CProcessInfo::ClearCache();
}

void ModelTest::Settle() {
    // A bound, so that a model that keeps posting to itself fails the test
    // instead of hanging it.
    for (int round = 0; round < 1000; ++round) {
        EXPECT_TRUE(Audio().WaitUntilDelivered());
        EXPECT_TRUE(Power().WaitUntilDelivered());
        EXPECT_TRUE(Companion().WaitUntilDelivered());
        if (h.RunPending() == 0) return;
    }
    ADD_FAILURE() << "the model did not settle";
}

void ModelTest::OfferNewDeviceToasts() {
    Companion().InstallPackage(std::wstring(SupportedAppList(0).front().packageFamilyName));
    Vendor().SetParameterOfEveryEndpoint({-1, -36, -1}, {1});
}

std::vector<std::wstring> ModelTest::NewDeviceToastsShown() const {
    // The record is read once for each toast that has LobeFit; with no record
    // the toast shows, so each read is one message to the app.
    std::vector<std::wstring> shown = h.platform->SimVendorApi->Reads({5, 148, -1});
    size_t sent = 0;
    for (const auto& message : h.platform->SimAppServices->Messages())
        sent += message.message.count(L"ShowNewDeviceConnectedToast");
    EXPECT_EQ(sent, shown.size()) << "a decided toast did not reach the app";
    return shown;
}

void ModelTest::DismissToasts() {
    Companion().Answer({{L"ToastState", L"Dismissed"}});
    Settle();
}

CRefPtr<CAudioDeviceManager> ModelTest::StartDeviceManager(const std::vector<std::wstring>& endpointIds,
                                                           const std::string& hostPipeName) {
    CRefPtr<CAudioDeviceManager> manager;
    manager.Attach(new CAudioDeviceManager(h.trace, h.dispatcher, hostPipeName, h.log));
    std::vector<std::string> ids;
    for (const auto& id : endpointIds) ids.push_back(WideToUtf8(id));
    manager->Initialize(ids);
    return manager;
}

CRefPtr<CAudioDevice> ModelTest::FindDevice(const CAudioDeviceManager& manager, const std::wstring& endpointId,
                                            std::size_t nth) {
    for (const auto& device : manager.AudioDevices)
        if (device->EndpointId() == endpointId && nth-- == 0) return device;
    return nullptr;
}

CRefPtr<CAudioSessionManager> ModelTest::WatchSessions(const CRefPtr<CAudioDevice>& device) {
    CRefPtr<CAudioSessionManager> manager;
    manager.Attach(new CAudioSessionManager(device->EndpointId(), h.trace, h.dispatcher, h.log));
    manager->AudioDevice.set(device);
    return manager;
}

std::size_t ModelTest::TraceCount(const std::wstring& text) const {
    std::size_t n = 0;
    for (const auto& line : h.TraceLines())
        if (line.find(text) != std::wstring::npos) ++n;
    return n;
}

CRefPtr<CAudioSession> FindSession(const CAudioSessionManager::SessionCollection& sessions,
                                   const std::wstring& instanceId) {
    const std::string wanted = WideToUtf8(instanceId);
    for (const auto& session : sessions)
        if (session->InstanceIdentifier.value() == wanted) return session;
    return nullptr;
}

}  // namespace qv::test
