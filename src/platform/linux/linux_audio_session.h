// One audio session on Linux: a stream of the sound server (a playback
// stream, sink input, on a render endpoint; a recording stream, source
// output, on a capture endpoint) while it is linked to one endpoint.
//
//   GetState             corked: inactive; running: active; removed, or
//                        moved to another endpoint: expired
//   GetProcessId         application.process.id, when it is a number and
//                        /proc has such a process; else 0 (the client says
//                        what it likes there). The client's own record
//                        (pa_client_info) cannot check it: its
//                        application.process.id is the client's word too
//                        (libpulse fills in getpid() only when neither the
//                        program nor PULSE_PROP_OVERRIDE gave one), and the
//                        server uses the socket's credentials to admit the
//                        client, not to fill in that pid. Under
//                        pipewire-pulse the record's one credential,
//                        pipewire.sec.pid, is the pulse server's own pid
//                        (the PipeWire client is the server), so neither
//                        server gives a pid to check the claim against.
//   GetDisplayName       application.name
//   GetIconPath          application.icon_name
//   GetGroupingParam     {XXXXXXXX-7075-6C73-6765-6E7478636C69} with the
//                        stream's client index as the first eight digits,
//                        so that the streams of one client group together;
//                        all zero for a stream without a client
//   IsSystemSoundsSession  S_OK for media.role "event", else S_FALSE
//   GetSessionIdentifier           "<endpoint id>|pid:<process id>"
//   GetSessionInstanceIdentifier   "<endpoint id>|pid:<process id>|sink-input:<index>"
//                                  (source-output for recording streams)
//
// The values are those of the latest answer of the server; once the stream
// has gone, the last ones known. After the connection to the server is
// lost, every call fails with AUDCLNT_E_SERVICE_NOT_RUNNING.
#pragma once

#include <mutex>
#include <optional>

#include "platform/linux/linux_pulse_context.h"

namespace qv {

class CLinuxAudioSession : public CAddReleaseRef, public IAudioSessionControl2 {
public:
    CLinuxAudioSession(CRefPtr<CPulseAudioContext> context, SessionKey key, std::string endpoint);

    HRESULT GetState(AudioSessionState& state) override;
    HRESULT GetDisplayName(std::wstring& name) override;
    HRESULT GetIconPath(std::wstring& path) override;
    HRESULT GetGroupingParam(GUID& grouping) override;
    // Holds a reference until unregistered. Registering on an expired
    // session succeeds: its state then reads expired, which is what the
    // model needs to let it go.
    HRESULT RegisterAudioSessionNotification(IAudioSessionEvents* events) override;
    HRESULT UnregisterAudioSessionNotification(IAudioSessionEvents* events) override;
    HRESULT QueryInterface(CRefPtr<IAudioSessionControl2>& control2) override;
    HRESULT GetSessionIdentifier(std::wstring& id) override;
    HRESULT GetSessionInstanceIdentifier(std::wstring& id) override;
    HRESULT GetProcessId(uint32_t& processId) override;
    HRESULT IsSystemSoundsSession() override;

private:
    // Brings the copy up to date; false once the connection is gone.
    bool Refresh(AudioSessionState* state = nullptr);

    const CRefPtr<CPulseAudioContext> m_context;
    const SessionKey m_key;
    const std::string m_endpoint;
    std::mutex m_mutex;
    PulseStream m_stream;  // the last values known
    bool m_gone = false;
    // Checked once, so that the identifiers stay the same after the
    // process has ended.
    std::optional<uint32_t> m_processId;
};

// The checked process id of a stream: the claimed one if /proc has it.
uint32_t CheckedProcessId(const std::string& claimed);
GUID GroupingParamOfClient(uint32_t client);

}  // namespace qv
