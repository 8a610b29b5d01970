// Audio endpoints and their sessions, one to one with Windows Core Audio
// (MMDevice API and the WASAPI session interfaces). On Linux the endpoints are
// the sound server's sinks and sources and the sessions its streams; the
// simulation keeps them in memory and lets a test drive them.
//
// Callback interfaces are implemented by the model and called on threads of
// the platform, never on the thread that registered them.
#pragma once

#include <cstdint>
#include <string>

#include "core/ref.h"
#include "platform/types.h"

namespace qv {

struct IAudioSessionManager2;
struct IAudioSessionControl;
struct IAudioSessionControl2;

// Interface ids that the model passes or answers to.
inline constexpr GUID IID_IUnknown{0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
inline constexpr GUID IID_IMMNotificationClient{
    0x7991EEC9, 0x7E89, 0x4D85, {0x83, 0x90, 0x6C, 0x70, 0x3C, 0xEC, 0x60, 0xC0}};
inline constexpr GUID IID_IMMEndpoint{0x1BE09788, 0x6894, 0x4089, {0x85, 0x86, 0x9A, 0x2A, 0x6C, 0x26, 0x5A, 0xC5}};
inline constexpr GUID IID_IAudioSessionManager2{
    0x77AA99A0, 0x1BD6, 0x484F, {0x8B, 0xC7, 0x2C, 0x65, 0x4C, 0x9A, 0x9B, 0x6F}};
inline constexpr GUID IID_IAudioSessionControl2{
    0xBFB7FF88, 0x7239, 0x4FC9, {0x8F, 0xA2, 0x07, 0xC9, 0x50, 0xBE, 0x9C, 0x6D}};
inline constexpr GUID IID_IAudioSessionEvents{
    0x24918ACC, 0x64B3, 0x37C1, {0x8C, 0xA9, 0x74, 0xA6, 0x6E, 0x99, 0x57, 0xA8}};
inline constexpr GUID IID_IAudioSessionNotification{
    0x641DD20B, 0x4D41, 0x49CC, {0xAB, 0xA3, 0x17, 0x4B, 0x94, 0x77, 0xBB, 0x08}};

// IMMNotificationClient: endpoint events. The platform holds no reference to
// a registered client; it calls it until UnregisterEndpointNotificationCallback
// has returned. A null id means "no such endpoint" (for instance no default
// endpoint any more).
struct IMMNotificationClient : virtual IAddReleaseRef {
    // Answers IID_IUnknown and IID_IMMNotificationClient with a reference
    // added, otherwise E_NOINTERFACE and null.
    virtual HRESULT QueryInterface(const GUID& iid, void** object) = 0;
    virtual HRESULT OnDeviceStateChanged(const wchar_t* endpointId, uint32_t newState) = 0;
    virtual HRESULT OnDeviceAdded(const wchar_t* endpointId) = 0;
    virtual HRESULT OnDeviceRemoved(const wchar_t* endpointId) = 0;
    virtual HRESULT OnDefaultDeviceChanged(EDataFlow flow, ERole role, const wchar_t* endpointId) = 0;
    virtual HRESULT OnPropertyValueChanged(const wchar_t* endpointId, const PROPERTYKEY& key) = 0;
};

// IPropertyStore of an endpoint, opened for reading.
struct IPropertyStore : virtual IAddReleaseRef {
    // A missing value is not a failure: it reads as VT_EMPTY.
    virtual HRESULT GetValue(const PROPERTYKEY& key, PROPVARIANT& value) = 0;
};

// IMMEndpoint: the flow of an endpoint.
struct IMMEndpoint : virtual IAddReleaseRef {
    virtual HRESULT GetDataFlow(EDataFlow& flow) = 0;
};

// IMMDevice: one endpoint.
struct IMMDevice : virtual IAddReleaseRef {
    // Activate; the one interface asked for is IAudioSessionManager2, any
    // other id gives E_NOINTERFACE.
    virtual HRESULT Activate(const GUID& iid, uint32_t clsCtx, CRefPtr<IAudioSessionManager2>& manager) = 0;
    virtual HRESULT OpenPropertyStore(uint32_t access, CRefPtr<IPropertyStore>& store) = 0;
    virtual HRESULT GetId(std::wstring& id) = 0;
    virtual HRESULT GetState(uint32_t& state) = 0;
    // QueryInterface for IMMEndpoint.
    virtual HRESULT QueryInterface(CRefPtr<IMMEndpoint>& endpoint) = 0;
};

// IMMDeviceCollection: the result of an enumeration.
struct IMMDeviceCollection : virtual IAddReleaseRef {
    virtual HRESULT GetCount(uint32_t& count) = 0;
    virtual HRESULT Item(uint32_t index, CRefPtr<IMMDevice>& device) = 0;
};

// IMMDeviceEnumerator: the entry to all endpoints.
struct IMMDeviceEnumerator : virtual IAddReleaseRef {
    virtual HRESULT EnumAudioEndpoints(EDataFlow flow, uint32_t stateMask, CRefPtr<IMMDeviceCollection>& devices) = 0;
    virtual HRESULT GetDefaultAudioEndpoint(EDataFlow flow, ERole role, CRefPtr<IMMDevice>& endpoint) = 0;
    virtual HRESULT GetDevice(const std::wstring& id, CRefPtr<IMMDevice>& device) = 0;
    virtual HRESULT RegisterEndpointNotificationCallback(IMMNotificationClient* client) = 0;
    virtual HRESULT UnregisterEndpointNotificationCallback(IMMNotificationClient* client) = 0;
};

// IAudioSessionEvents: events of one session. The platform holds a reference
// while the object is registered.
struct IAudioSessionEvents : virtual IAddReleaseRef {
    virtual HRESULT QueryInterface(const GUID& iid, void** object) = 0;
    virtual HRESULT OnDisplayNameChanged(const wchar_t* newDisplayName, const GUID* eventContext) = 0;
    virtual HRESULT OnIconPathChanged(const wchar_t* newIconPath, const GUID* eventContext) = 0;
    virtual HRESULT OnSimpleVolumeChanged(float newVolume, bool newMute, const GUID* eventContext) = 0;
    virtual HRESULT OnChannelVolumeChanged(uint32_t channelCount, const float* newChannelVolumes,
                                           uint32_t changedChannel, const GUID* eventContext) = 0;
    virtual HRESULT OnGroupingParamChanged(const GUID& newGroupingParam, const GUID* eventContext) = 0;
    virtual HRESULT OnStateChanged(AudioSessionState newState) = 0;
    virtual HRESULT OnSessionDisconnected(AudioSessionDisconnectReason reason) = 0;
};

// IAudioSessionNotification: new sessions of an endpoint. The platform holds
// a reference while the object is registered.
struct IAudioSessionNotification : virtual IAddReleaseRef {
    virtual HRESULT QueryInterface(const GUID& iid, void** object) = 0;
    virtual HRESULT OnSessionCreated(IAudioSessionControl* newSession) = 0;
};

// IAudioSessionControl: one session.
struct IAudioSessionControl : virtual IAddReleaseRef {
    virtual HRESULT GetState(AudioSessionState& state) = 0;
    virtual HRESULT GetDisplayName(std::wstring& name) = 0;
    virtual HRESULT GetIconPath(std::wstring& path) = 0;
    virtual HRESULT GetGroupingParam(GUID& grouping) = 0;
    virtual HRESULT RegisterAudioSessionNotification(IAudioSessionEvents* events) = 0;
    virtual HRESULT UnregisterAudioSessionNotification(IAudioSessionEvents* events) = 0;
    // QueryInterface for IAudioSessionControl2.
    virtual HRESULT QueryInterface(CRefPtr<IAudioSessionControl2>& control2) = 0;
};

// IAudioSessionControl2: the process and identity of a session.
struct IAudioSessionControl2 : virtual IAudioSessionControl {
    virtual HRESULT GetSessionIdentifier(std::wstring& id) = 0;
    virtual HRESULT GetSessionInstanceIdentifier(std::wstring& id) = 0;
    virtual HRESULT GetProcessId(uint32_t& processId) = 0;
    // S_OK for the system sounds session, S_FALSE otherwise.
    virtual HRESULT IsSystemSoundsSession() = 0;
};

// IAudioSessionEnumerator: the sessions of an endpoint at one moment.
struct IAudioSessionEnumerator : virtual IAddReleaseRef {
    virtual HRESULT GetCount(int32_t& count) = 0;
    virtual HRESULT GetSession(int32_t index, CRefPtr<IAudioSessionControl>& session) = 0;
};

// IAudioSessionManager2: what an endpoint activates for its sessions.
struct IAudioSessionManager2 : virtual IAddReleaseRef {
    virtual HRESULT GetSessionEnumerator(CRefPtr<IAudioSessionEnumerator>& enumerator) = 0;
    virtual HRESULT RegisterSessionNotification(IAudioSessionNotification* notification) = 0;
    virtual HRESULT UnregisterSessionNotification(IAudioSessionNotification* notification) = 0;
};

// The endpoint's name as the user sees it ("Speakers (USB Audio)").
inline constexpr PROPERTYKEY PKEY_Device_FriendlyName{
    {0xA45C254E, 0xDF1C, 0x4EFD, {0x80, 0x20, 0x67, 0xD1, 0x46, 0xA8, 0x50, 0xE0}}, 14};

// The four endpoint property keys of the automatic preset. The second key's
// format id ends in 19, not 18: it is another set of properties.
inline constexpr GUID kAutoPresetPropertySet{
    0xA1784D91, 0x5E58, 0x49C4, {0xA5, 0xFC, 0xA3, 0x3D, 0xC8, 0xB6, 0x6A, 0x18}};
inline constexpr GUID kAudioContentTypePropertySet{
    0xA1784D91, 0x5E58, 0x49C4, {0xA5, 0xFC, 0xA3, 0x3D, 0xC8, 0xB6, 0x6A, 0x19}};
inline constexpr PROPERTYKEY PKEY_AutoPresetFeatureMode{kAutoPresetPropertySet, 20};
inline constexpr PROPERTYKEY PKEY_AudioContentType_EFX{kAudioContentTypePropertySet, 3};
inline constexpr PROPERTYKEY PKEY_HasAutoPreset{kAutoPresetPropertySet, 0};
inline constexpr PROPERTYKEY PKEY_EnableAutoPreset{kAutoPresetPropertySet, 16};

}  // namespace qv
