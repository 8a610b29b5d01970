// The audio port on Linux: the IMMDeviceEnumerator family over the sound
// server's sinks, sources and streams, through libpulse, which serves both
// PulseAudio and PipeWire (pipewire-pulse). Each enumerator has one
// connection of its own (linux_pulse_context.h), which lives until the
// enumerator and every object made from it are gone.
//
// Endpoints: every sink is a render endpoint, every source that is not a
// sink's monitor a capture endpoint; the id is the sink's or source's name
// ("spk"). GetDevice also takes the decimal index of a sink ("3"), and gives
// the device whose GetId is that sink's name, for tools that know sinks by
// index. The server's default sink is the default render endpoint of every
// role, its default source the default capture endpoint (none if that is a
// monitor). EnumAudioEndpoints lists the endpoints seen since the
// enumerator was made, in the order they came, removed ones as not present.
//
// Endpoint events go to the registered clients from the port's callback
// thread: a new endpoint is added, then has its state; a state or port
// change is a state change; a removal is the state not present, then the
// removal; a change of description or of a preset value is a property change
// of that key; a new default sink or source is a default change for
// eConsole, eMultimedia and eCommunications. Unregistering a client waits
// for a call of it in progress; called from within a callback it cannot wait
// for itself, and returns with the client getting no call after the current
// one. No callback ever runs on libpulse's own thread.
#pragma once

#include "platform/linux/linux_pulse_context.h"

namespace qv {

class CLinuxAudioEnumerator : public CAddReleaseRef, public IMMDeviceEnumerator {
public:
    // Connects (linux_pulse_context.h); it exists even without a server.
    CLinuxAudioEnumerator();

    HRESULT EnumAudioEndpoints(EDataFlow flow, uint32_t stateMask, CRefPtr<IMMDeviceCollection>& devices) override;
    // E_NOTFOUND when the flow has no default.
    HRESULT GetDefaultAudioEndpoint(EDataFlow flow, ERole role, CRefPtr<IMMDevice>& endpoint) override;
    // E_NOTFOUND for a name never seen on this connection. A name that is
    // both a sink and a source gives the sink.
    HRESULT GetDevice(const std::wstring& id, CRefPtr<IMMDevice>& device) override;
    HRESULT RegisterEndpointNotificationCallback(IMMNotificationClient* client) override;
    HRESULT UnregisterEndpointNotificationCallback(IMMNotificationClient* client) override;

private:
    const CRefPtr<CPulseAudioContext> m_context;
};

class CLinuxDeviceCollection : public CAddReleaseRef, public IMMDeviceCollection {
public:
    explicit CLinuxDeviceCollection(std::vector<CRefPtr<IMMDevice>> devices) : m_devices(std::move(devices)) {}
    HRESULT GetCount(uint32_t& count) override;
    HRESULT Item(uint32_t index, CRefPtr<IMMDevice>& device) override;

private:
    const std::vector<CRefPtr<IMMDevice>> m_devices;
};

}  // namespace qv
