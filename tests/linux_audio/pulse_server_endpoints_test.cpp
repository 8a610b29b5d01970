// The endpoints of a real sound server: what is listed, how ids resolve,
// where property values come from, and the endpoint events, which must
// arrive on a thread of the port.
#include <fstream>

#include "pulse_server_fixture.h"
#include "support/callback_recorders.h"

namespace qv::test {
namespace {

using namespace std::chrono_literals;

class PulseServerEndpointsTest : public PulseServerFixture {};

std::vector<std::wstring> Ids(IMMDeviceEnumerator* enumerator, EDataFlow flow, uint32_t mask) {
    std::vector<std::wstring> ids;
    CRefPtr<IMMDeviceCollection> devices;
    EXPECT_EQ(enumerator->EnumAudioEndpoints(flow, mask, devices), S_OK);
    uint32_t count = 0;
    if (devices) devices->GetCount(count);
    for (uint32_t i = 0; i < count; ++i) {
        CRefPtr<IMMDevice> device;
        EXPECT_EQ(devices->Item(i, device), S_OK);
        ids.push_back(PulseServerFixture::IdOf(device.get()));
    }
    return ids;
}

PROPVARIANT ValueOf(IMMDevice* device, const PROPERTYKEY& key) {
    CRefPtr<IPropertyStore> store;
    EXPECT_EQ(device->OpenPropertyStore(STGM_READ, store), S_OK);
    PROPVARIANT value;
    EXPECT_EQ(store->GetValue(key, value), S_OK);
    return value;
}

TEST_F(PulseServerEndpointsTest, SinksAreRenderSourcesButMonitorsAreCaptureAndDefaultsServeEveryRole) {
    EXPECT_EQ(Ids(enumerator.get(), eRender, DEVICE_STATE_ACTIVE), (std::vector<std::wstring>{L"spk", L"other"}));
    EXPECT_EQ(Ids(enumerator.get(), eCapture, DEVICE_STATE_ACTIVE), (std::vector<std::wstring>{L"mic"}));
    EXPECT_EQ(Ids(enumerator.get(), eAll, DEVICE_STATEMASK_ALL).size(), 3u) << "no monitor among them";
    EXPECT_TRUE(Ids(enumerator.get(), eAll, DEVICE_STATE_UNPLUGGED).empty());

    for (ERole role : {eConsole, eMultimedia, eCommunications}) {
        CRefPtr<IMMDevice> render, capture;
        ASSERT_EQ(enumerator->GetDefaultAudioEndpoint(eRender, role, render), S_OK);
        ASSERT_EQ(enumerator->GetDefaultAudioEndpoint(eCapture, role, capture), S_OK);
        EXPECT_EQ(IdOf(render.get()), L"spk");
        EXPECT_EQ(IdOf(capture.get()), L"mic");
    }
    CRefPtr<IMMDevice> device = Device(L"mic");
    CRefPtr<IMMEndpoint> endpoint;
    ASSERT_EQ(device->QueryInterface(endpoint), S_OK);
    EDataFlow flow = eRender;
    ASSERT_EQ(endpoint->GetDataFlow(flow), S_OK);
    EXPECT_EQ(flow, eCapture);
    EXPECT_EQ(StateOf(device.get()), DEVICE_STATE_ACTIVE) << "idle or suspended counts as active";

    CRefPtr<IMMDeviceCollection> devices;
    EXPECT_EQ(enumerator->EnumAudioEndpoints(eRender, 0, devices), E_INVALIDARG);
    EXPECT_EQ(enumerator->EnumAudioEndpoints(eRender, 0x10, devices), E_INVALIDARG);
    EXPECT_EQ(enumerator->EnumAudioEndpoints(EDataFlowUnknown, 1, devices), E_INVALIDARG);
    EXPECT_EQ(enumerator->GetDefaultAudioEndpoint(eAll, eConsole, device), E_INVALIDARG);
}

TEST_F(PulseServerEndpointsTest, GetDeviceTakesANameOrTheIndexOfASink) {
    std::string sinks;
    ASSERT_TRUE(SoundServer::Pactl({"list", "short", "sinks"}, &sinks));
    // "<index>\tspk\t..."
    const auto line = sinks.find("\tspk\t");
    ASSERT_NE(line, std::string::npos) << sinks;
    const auto start = sinks.rfind('\n', line);
    const std::string index =
        sinks.substr(start == std::string::npos ? 0 : start + 1, line - (start == std::string::npos ? 0 : start + 1));
    CRefPtr<IMMDevice> device;
    ASSERT_EQ(enumerator->GetDevice(std::wstring(index.begin(), index.end()), device), S_OK);
    EXPECT_EQ(IdOf(device.get()), L"spk") << "the id is the name, whichever way it was found";

    EXPECT_EQ(enumerator->GetDevice(L"spk.monitor", device), E_NOTFOUND);
    EXPECT_EQ(enumerator->GetDevice(L"nothing", device), E_NOTFOUND);
    EXPECT_EQ(enumerator->GetDevice(L"", device), E_NOTFOUND);
    EXPECT_EQ(enumerator->GetDevice(L"99999", device), E_NOTFOUND);
    EXPECT_FALSE(device);
}

TEST_F(PulseServerEndpointsTest, PropertiesComeFromTheProplistFirstThenFromTheFile) {
    {
        std::ofstream file(SoundServer::Get().EndpointPropertiesFile());
        file << R"({"mic": {"quorvane.auto-preset.has": 1, "quorvane.auto-preset.feature-mode": "0",
                            "quorvane.auto-preset.content-type": "Voice"},
                    "spk": {"quorvane.auto-preset.has": 0, "quorvane.auto-preset.feature-mode": 7}})";
    }
    CRefPtr<IMMDevice> spk = Device(L"spk");
    PROPVARIANT name = ValueOf(spk.get(), PKEY_Device_FriendlyName);
    EXPECT_EQ(name.vt, VT_LPWSTR);
    EXPECT_EQ(name.pwszVal, L"Speakers");
    PROPVARIANT has = ValueOf(spk.get(), PKEY_HasAutoPreset);
    EXPECT_EQ(has.vt, VT_UI4);
    EXPECT_EQ(has.ulVal, 1u) << "the proplist wins over the file";
    PROPVARIANT mode = ValueOf(spk.get(), PKEY_AutoPresetFeatureMode);
    EXPECT_EQ(mode.ulVal, 1u);
    PROPVARIANT type = ValueOf(spk.get(), PKEY_AudioContentType_EFX);
    EXPECT_EQ(type.vt, VT_LPWSTR);
    EXPECT_EQ(type.pwszVal, L"Movie");
    PROPVARIANT enable = ValueOf(spk.get(), PKEY_EnableAutoPreset);
    EXPECT_EQ(enable.vt, VT_LPWSTR) << "\"yes\" is no number: a value of the wrong type";
    EXPECT_EQ(enable.pwszVal, L"yes");
    PROPVARIANT unknown = ValueOf(spk.get(), PROPERTYKEY{kAutoPresetPropertySet, 99});
    EXPECT_EQ(unknown.vt, VT_EMPTY);

    CRefPtr<IMMDevice> mic = Device(L"mic");
    EXPECT_EQ(ValueOf(mic.get(), PKEY_HasAutoPreset).ulVal, 1u) << "from the file";
    EXPECT_EQ(ValueOf(mic.get(), PKEY_AutoPresetFeatureMode).vt, VT_UI4) << "text of a number reads as one";
    EXPECT_EQ(ValueOf(mic.get(), PKEY_AudioContentType_EFX).pwszVal, L"Voice");
    EXPECT_EQ(ValueOf(mic.get(), PKEY_EnableAutoPreset).vt, VT_EMPTY) << "missing everywhere";
    EXPECT_EQ(ValueOf(Device(L"other").get(), PKEY_HasAutoPreset).vt, VT_EMPTY);

    // An edit of the file counts from the next read; a broken file counts
    // as no file.
    { std::ofstream(SoundServer::Get().EndpointPropertiesFile()) << R"({"mic": {"quorvane.auto-preset.has": 5}})"; }
    EXPECT_EQ(ValueOf(mic.get(), PKEY_HasAutoPreset).ulVal, 5u);
    { std::ofstream(SoundServer::Get().EndpointPropertiesFile()) << R"({"mic": )"; }
    EXPECT_EQ(ValueOf(mic.get(), PKEY_HasAutoPreset).vt, VT_EMPTY);
    std::remove(SoundServer::Get().EndpointPropertiesFile().c_str());
}

TEST_F(PulseServerEndpointsTest, NewEndpointAndNewDefaultAreAnnouncedAndARemovalLeavesItNotPresent) {
    auto client = MakeRef<FakeEndpointClient>();
    ASSERT_EQ(RegisterForTheTest(enumerator.get(), client.get()), S_OK);
    std::string module;
    ASSERT_TRUE(SoundServer::Pactl({"load-module", "module-null-sink", "sink_name=extra"}, &module));
    while (!module.empty() && module.back() == '\n') module.pop_back();
    ASSERT_TRUE(client->Log.WaitForCall(L"added extra"));
    ASSERT_TRUE(client->Log.WaitForCall(L"state extra " + std::to_wstring(DEVICE_STATE_ACTIVE)));
    for (auto thread : client->Log.Threads()) EXPECT_NE(thread, std::this_thread::get_id());

    CRefPtr<IMMDevice> extra = Device(L"extra");
    ASSERT_TRUE(SoundServer::Get().MakeDefaultSink("extra")) << SoundServer::Get().Diagnostics();
    for (ERole role : {eConsole, eMultimedia, eCommunications})
        EXPECT_TRUE(
            client->Log.WaitForCall(L"default " + std::to_wstring(eRender) + L" " + std::to_wstring(role) + L" extra"))
            << "the server has the new default, the port did not say so for role " << role;

    client->Log.Clear();
    ASSERT_TRUE(SoundServer::Pactl({"unload-module", module}));
    ASSERT_TRUE(client->Log.WaitForCall(L"removed extra"));
    EXPECT_TRUE(client->Log.WaitForCall(L"state extra " + std::to_wstring(DEVICE_STATE_NOTPRESENT), 0s));
    EXPECT_EQ(StateOf(extra.get()), DEVICE_STATE_NOTPRESENT);
    CRefPtr<IAudioSessionManager2> manager;
    EXPECT_EQ(extra->Activate(IID_IAudioSessionManager2, CLSCTX_ALL, manager), AUDCLNT_E_DEVICE_INVALIDATED);
    EXPECT_EQ(IdOf(extra.get()), L"extra");
    EXPECT_EQ(Ids(enumerator.get(), eRender, DEVICE_STATE_NOTPRESENT), (std::vector<std::wstring>{L"extra"}));
    ASSERT_TRUE(SoundServer::Get().MakeDefaultSink("spk")) << SoundServer::Get().Diagnostics();
    EXPECT_TRUE(WaitForDefaultRender(L"spk"));
    EXPECT_EQ(enumerator->UnregisterEndpointNotificationCallback(client.get()), S_OK);
    EXPECT_EQ(enumerator->UnregisterEndpointNotificationCallback(client.get()), E_NOTFOUND);
    EXPECT_EQ(enumerator->RegisterEndpointNotificationCallback(nullptr), E_POINTER);
}

TEST_F(PulseServerEndpointsTest, ProplistChangesAreAnnouncedKeyByKey) {
    if (SoundServer::Get().IsPipeWire()) GTEST_SKIP() << "PipeWire offers no command to change a sink's proplist";
    auto client = MakeRef<FakeEndpointClient>();
    ASSERT_EQ(RegisterForTheTest(enumerator.get(), client.get()), S_OK);
    ASSERT_TRUE(SoundServer::Run(
        {"pacmd", "update-sink-proplist", "other", "quorvane.auto-preset.enable=1", "device.description=Renamed"}));
    ASSERT_TRUE(client->Log.WaitFor([](const auto& calls) { return calls.size() >= 2; }));
    const std::wstring name = L"property other " + std::to_wstring(PKEY_Device_FriendlyName.pid);
    const std::wstring enable = L"property other " + std::to_wstring(PKEY_EnableAutoPreset.pid);
    EXPECT_EQ(client->Log.Calls(), (std::vector<std::wstring>{name, enable}));
    CRefPtr<IMMDevice> other = Device(L"other");
    EXPECT_EQ(ValueOf(other.get(), PKEY_EnableAutoPreset).ulVal, 1u);
    EXPECT_EQ(ValueOf(other.get(), PKEY_Device_FriendlyName).pwszVal, L"Renamed");
    // Back as the server started, for the tests that follow.
    ASSERT_TRUE(SoundServer::Run({"pacmd", "update-sink-proplist", "other",
                                  "device.description=\"Other Speakers\" quorvane.auto-preset.enable=0"}));
}

}  // namespace
}  // namespace qv::test
