#include "prompts/new_device_connected_toast.h"

namespace qv {

CShowNewDeviceConnectedToast::CShowNewDeviceConnectedToast(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                                                           const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                                                           const CRefPtr<CContentClassifierLog>& log,
                                                           const std::wstring& endpointId)
    : CAppServiceConnection(traceTarget, dispatcher, log),
      m_endpointId(endpointId),
      m_endpoint(TraceRecord(), endpointId) {
    ToastName = L"ShowNewDeviceConnectedToast";
    CanConnect = m_endpoint.HasEndpoint();
}

void CShowNewDeviceConnectedToast::OnBeforeShowToast() {
    Configuration = std::make_shared<LobeFitConfig_t>();
    ShowToast = false;
    if (AppFamily == 0) {
        Trace(L"ZK PA\n");
        if (!m_endpoint.ReadFlag(kLobeFitAvailable)) {
            Trace(L"Endpoint doesn't have LobeFit\n");
            return;
        }
        Trace(L"Endpoint has LobeFit\n");
        uint32_t size = sizeof(LobeFitConfig_t);
        // A failed read shows the toast: a device without a record yet has
        // never been asked.
        if (m_endpoint.Read(kLobeFitConfiguration, Configuration.get(), size) != 0 &&
            (size < sizeof(LobeFitConfig_t) || Configuration->neverPrompt != 0)) {
            Trace(L"Show toast = false\n");
            return;
        }
        ShowToast = true;
        Trace(L"Show toast = true\n");
    } else if (AppFamily == 1) {
        Trace(L"TWQ\n");
        ShowToast = true;
    }
}

void CShowNewDeviceConnectedToast::OnToastStateReceived() {
    if (ToastState != L"Dismissed" && ToastState != L"Activated") return;
    Trace(L"Toast state = %s\n", ToastState);
    if (!Configuration) Configuration = std::make_shared<LobeFitConfig_t>();
    if (AppFamily == 0) {
        Trace(L"ZK PA\n");
        if (ToastState == L"Activated" && LastMessageText(L"ToastArguments") == L"action=zkpa_personalize") {
            Configuration->promptTest = 1;
            Trace(L"Prompt test = true\n");
            Trace(L"Updating LobeFit config ...\n");
            m_endpoint.Write(kLobeFitConfiguration, Configuration.get(), sizeof(LobeFitConfig_t));
            Trace(L"Done.\n");
        }
    } else if (AppFamily == 1) {
        Trace(L"TWQ\n");
        // This app keeps its answers in memory only; nothing writes them back.
        if (ToastState == L"Activated") {
            if (LastMessageText(L"ToastUserOptions") == L"dontShowAgain") {
                Configuration->neverPrompt = 1;
                Trace(L"Never prompt test = true\n");
            }
            if (LastMessageText(L"ToastArguments") == L"action=zkpa_personalize") {
                Configuration->promptTest = 1;
                Trace(L"Prompt test = true\n");
            }
        }
    }
}

}  // namespace qv
