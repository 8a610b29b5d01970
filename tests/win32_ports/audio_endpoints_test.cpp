// Core Audio's endpoints through the Windows platform's ports: enumeration
// of both flows, ids, states, flows, defaults, activation of the session
// manager and the endpoint property store. Under Wine they need a sound
// server (cmake/wine-run --with-pulseaudio starts one); where the platform
// lacks something (Wine has no session enumeration), the test holds the
// port to failing cleanly with the platform's code.
#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/audio.h"
#include "platform/win32/windows_api.h"

#include <mmdeviceapi.h>

#include "support/wine_detect.h"
#include "win32_ports_support.h"

namespace qv {
namespace {

using test::AudioServerPromised;
using test::RunningUnderWine;
using test::Win32Platform;

struct Endpoint {
    std::wstring id;
    CRefPtr<IMMDevice> device;
};

class Win32AudioEndpointsTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(Win32Platform()->CreateDeviceEnumerator(enumerator), S_OK);
        ASSERT_TRUE(enumerator);
        render = Enumerate(eRender);
        capture = Enumerate(eCapture);
        if (render.empty() || capture.empty()) {
            if (AudioServerPromised()) FAIL() << "the runner started a sound server, yet an endpoint flow is empty";
            GTEST_SKIP() << "no active render and capture endpoints: under Wine they need a sound server "
                            "(run through cmake/wine-run --with-pulseaudio)";
        }
    }

    std::vector<Endpoint> Enumerate(EDataFlow flow) {
        std::vector<Endpoint> found;
        CRefPtr<IMMDeviceCollection> devices;
        EXPECT_EQ(enumerator->EnumAudioEndpoints(flow, DEVICE_STATE_ACTIVE, devices), S_OK);
        uint32_t count = 0;
        if (!devices || devices->GetCount(count) != S_OK) return found;
        for (uint32_t i = 0; i < count; ++i) {
            Endpoint endpoint;
            EXPECT_EQ(devices->Item(i, endpoint.device), S_OK);
            if (endpoint.device) {
                EXPECT_EQ(endpoint.device->GetId(endpoint.id), S_OK);
            }
            found.push_back(endpoint);
        }
        // Past the end: the platform's refusal, and nothing handed out.
        CRefPtr<IMMDevice> beyond;
        EXPECT_LT(devices->Item(count, beyond), 0);
        EXPECT_FALSE(beyond);
        return found;
    }

    static bool Contains(const std::vector<Endpoint>& endpoints, const std::wstring& id) {
        return std::any_of(endpoints.begin(), endpoints.end(), [&](const Endpoint& e) { return e.id == id; });
    }

    CRefPtr<IMMDeviceEnumerator> enumerator;
    std::vector<Endpoint> render;
    std::vector<Endpoint> capture;
};

TEST_F(Win32AudioEndpointsTest, EachEndpointHasItsIdActiveStateAndFlowAndIsFoundAgainById) {
    for (auto [flow, endpoints] : {std::pair{eRender, &render}, std::pair{eCapture, &capture}}) {
        for (const Endpoint& endpoint : *endpoints) {
            SCOPED_TRACE(endpoint.id);
            ASSERT_TRUE(endpoint.device);
            EXPECT_FALSE(endpoint.id.empty());
            uint32_t state = 0;
            EXPECT_EQ(endpoint.device->GetState(state), S_OK);
            EXPECT_EQ(state, static_cast<uint32_t>(DEVICE_STATE_ACTIVE));
            CRefPtr<IMMEndpoint> asEndpoint;
            ASSERT_EQ(endpoint.device->QueryInterface(asEndpoint), S_OK);
            EDataFlow reported = EDataFlowUnknown;
            EXPECT_EQ(asEndpoint->GetDataFlow(reported), S_OK);
            EXPECT_EQ(reported, flow);

            CRefPtr<IMMDevice> again;
            ASSERT_EQ(enumerator->GetDevice(endpoint.id, again), S_OK);
            std::wstring id;
            EXPECT_EQ(again->GetId(id), S_OK);
            EXPECT_EQ(id, endpoint.id);
        }
    }
    for (const Endpoint& endpoint : render) EXPECT_FALSE(Contains(capture, endpoint.id));
}

TEST_F(Win32AudioEndpointsTest, DefaultEndpointsAreAmongTheEnumeratedAndUnknownIdsAreRefused) {
    for (auto [flow, role] :
         {std::pair{eRender, eConsole}, std::pair{eRender, eMultimedia}, std::pair{eCapture, eConsole}}) {
        CRefPtr<IMMDevice> device;
        ASSERT_EQ(enumerator->GetDefaultAudioEndpoint(flow, role, device), S_OK);
        std::wstring id;
        EXPECT_EQ(device->GetId(id), S_OK);
        EXPECT_TRUE(Contains(flow == eRender ? render : capture, id)) << "default endpoint " << id.c_str();
    }
    CRefPtr<IMMDevice> unknown;
    EXPECT_LT(enumerator->GetDevice(L"{0.0.0.00000000}.{00000000-0000-0000-0000-000000000000}", unknown), 0);
    EXPECT_FALSE(unknown);
}

// Callbacks that do nothing: under Wine neither endpoint nor session events
// ever come, so what is tested here is the registrations' round trip.
class IgnoringCallbacks : public CAddReleaseRef, public IMMNotificationClient, public IAudioSessionNotification {
public:
    HRESULT QueryInterface(const GUID&, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    HRESULT OnDeviceStateChanged(const wchar_t*, uint32_t) override { return S_OK; }
    HRESULT OnDeviceAdded(const wchar_t*) override { return S_OK; }
    HRESULT OnDeviceRemoved(const wchar_t*) override { return S_OK; }
    HRESULT OnDefaultDeviceChanged(EDataFlow, ERole, const wchar_t*) override { return S_OK; }
    HRESULT OnPropertyValueChanged(const wchar_t*, const PROPERTYKEY&) override { return S_OK; }
    HRESULT OnSessionCreated(IAudioSessionControl*) override { return S_OK; }
};

TEST_F(Win32AudioEndpointsTest, CallbacksRegisterOnceAndActivationGivesTheSessionManagerAndNothingElse) {
    auto callbacks = MakeRef<IgnoringCallbacks>();
    ASSERT_EQ(enumerator->RegisterEndpointNotificationCallback(callbacks.get()), S_OK);
    EXPECT_EQ(enumerator->UnregisterEndpointNotificationCallback(callbacks.get()), S_OK);
    // Nothing of it is left to unregister, and the platform is not asked.
    EXPECT_EQ(enumerator->UnregisterEndpointNotificationCallback(callbacks.get()), E_INVALIDARG);
    EXPECT_EQ(enumerator->RegisterEndpointNotificationCallback(nullptr), E_POINTER);

    const CRefPtr<IMMDevice>& device = render.front().device;
    CRefPtr<IAudioSessionManager2> manager;
    EXPECT_EQ(device->Activate(IID_IMMEndpoint, CLSCTX_ALL, manager), E_NOINTERFACE);
    EXPECT_FALSE(manager);
    ASSERT_EQ(device->Activate(IID_IAudioSessionManager2, CLSCTX_ALL, manager), S_OK);
    ASSERT_TRUE(manager);

    // Wine 8 has neither session enumeration nor session notifications: the
    // port passes the platform's code on, hands out nothing, and keeps no
    // registration that the platform refused.
    HRESULT registered = manager->RegisterSessionNotification(callbacks.get());
    EXPECT_EQ(registered, RunningUnderWine() ? E_NOTIMPL : S_OK);
    EXPECT_EQ(manager->UnregisterSessionNotification(callbacks.get()), Succeeded(registered) ? S_OK : E_INVALIDARG);

    CRefPtr<IAudioSessionEnumerator> sessions;
    HRESULT hr = manager->GetSessionEnumerator(sessions);
    if (RunningUnderWine()) {
        EXPECT_EQ(hr, E_NOTIMPL);
        EXPECT_FALSE(sessions);
        return;
    }
    ASSERT_EQ(hr, S_OK);
    int32_t count = -1;
    ASSERT_EQ(sessions->GetCount(count), S_OK);
    for (int32_t i = 0; i < count; ++i) {
        CRefPtr<IAudioSessionControl> control;
        ASSERT_EQ(sessions->GetSession(i, control), S_OK);
        CRefPtr<IAudioSessionControl2> control2;
        ASSERT_EQ(control->QueryInterface(control2), S_OK);
        uint32_t processId = 0;
        EXPECT_GE(control2->GetProcessId(processId), 0);
    }
}

// The four values of the automatic preset live where Windows keeps endpoint
// properties, and Wine too: below MMDevices\Audio\Render\{GUID}\Properties,
// one value per key, named "{FMTID},PID", REG_DWORD for VT_UI4 and REG_SZ
// for VT_LPWSTR (as Wine itself writes them after an enumeration). The GUID
// is the last part of the endpoint id, "{0.0.0.00000000}.{GUID}".
class Win32EndpointPropertiesTest : public Win32AudioEndpointsTest {
protected:
    void SetUp() override {
        Win32AudioEndpointsTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        const std::wstring& id = render.front().id;
        const std::wstring path = L"Software\\Microsoft\\Windows\\CurrentVersion\\MMDevices\\Audio\\Render\\" +
                                  id.substr(id.find_last_of(L'.') + 1) + L"\\Properties";
        ASSERT_EQ(::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_SET_VALUE | KEY_WOW64_64KEY, &key),
                  ERROR_SUCCESS)
            << "no property key of the endpoint at HKLM\\" << path.c_str();
        ASSERT_EQ(render.front().device->OpenPropertyStore(STGM_READ, store), S_OK);
    }
    void TearDown() override {
        for (const std::wstring& name : written) ::RegDeleteValueW(key, name.c_str());
        if (key) ::RegCloseKey(key);
    }

    static std::wstring ValueName(const PROPERTYKEY& property) {
        return GuidToString(property.fmtid) + L"," + std::to_wstring(property.pid);
    }
    void Write(const PROPERTYKEY& property, DWORD type, const void* data, DWORD size) {
        written.push_back(ValueName(property));
        ASSERT_EQ(::RegSetValueExW(key, written.back().c_str(), 0, type, static_cast<const BYTE*>(data), size),
                  ERROR_SUCCESS);
    }
    void WriteNumber(const PROPERTYKEY& property, DWORD value) { Write(property, REG_DWORD, &value, sizeof value); }
    void WriteText(const PROPERTYKEY& property, const std::wstring& text) {
        Write(property, REG_SZ, text.c_str(), static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    }
    PROPVARIANT Read(const PROPERTYKEY& property) {
        PROPVARIANT value;
        value.vt = VT_I4;  // anything but what is expected
        EXPECT_EQ(store->GetValue(property, value), S_OK);
        return value;
    }

    HKEY key = nullptr;
    std::vector<std::wstring> written;
    CRefPtr<IPropertyStore> store;
};

TEST_F(Win32EndpointPropertiesTest, AutoPresetValuesReadBackWithTheirTypesMissingOnesEmptyAndBytesAsABlob) {
    const std::pair<PROPERTYKEY, DWORD> numbers[] = {
        {PKEY_HasAutoPreset, 1}, {PKEY_AutoPresetFeatureMode, 0x80000001u}, {PKEY_EnableAutoPreset, 0}};
    for (const auto& [property, number] : numbers) WriteNumber(property, number);
    WriteText(PKEY_AudioContentType_EFX, L"Movie");
    for (const auto& [property, number] : numbers) {
        SCOPED_TRACE(ValueName(property).c_str());
        PROPVARIANT value = Read(property);
        EXPECT_EQ(value.vt, VT_UI4);
        EXPECT_EQ(value.ulVal, number);
    }
    // The content type's set ends in 19, the others' in 18: a mix-up of the
    // two would read nothing here.
    PROPVARIANT content = Read(PKEY_AudioContentType_EFX);
    EXPECT_EQ(content.vt, VT_LPWSTR);
    EXPECT_EQ(content.pwszVal, L"Movie");
    PROPVARIANT name = Read(PKEY_Device_FriendlyName);
    EXPECT_EQ(name.vt, VT_LPWSTR);
    EXPECT_FALSE(name.pwszVal.empty());
    if (AudioServerPromised()) {
        EXPECT_NE(name.pwszVal.find(L"CISpeakers"), std::wstring::npos) << name.pwszVal.c_str();
    }

    ::RegDeleteValueW(key, ValueName(PKEY_EnableAutoPreset).c_str());
    PROPVARIANT missing = Read(PKEY_EnableAutoPreset);
    EXPECT_EQ(missing.vt, VT_EMPTY);
    EXPECT_EQ(missing.ulVal, 0u);
    // Stored as bytes, the value comes as a blob (VT_BLOB, 65): the model
    // sees a type it did not expect and the blob's first 32 bits, its size.
    const uint8_t bytes[3] = {1, 2, 3};
    Write(PKEY_HasAutoPreset, REG_BINARY, bytes, sizeof bytes);
    PROPVARIANT blob = Read(PKEY_HasAutoPreset);
    EXPECT_EQ(static_cast<uint16_t>(blob.vt), 65u);
    EXPECT_EQ(blob.ulVal, 3u);
    EXPECT_TRUE(blob.pwszVal.empty());
}

}  // namespace
}  // namespace qv
