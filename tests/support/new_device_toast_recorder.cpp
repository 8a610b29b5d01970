#include "support/new_device_toast_recorder.h"

namespace qv::test {

NewDeviceToastRecorder::NewDeviceToastRecorder() : m_previous(GetNewDeviceToastFactory()) {
    SetNewDeviceToastFactory([this](const CRefPtr<ITraceFuncCallTarget>&, const CRefPtr<IAsyncActionDispatcher>&,
                                    const CRefPtr<CContentClassifierLog>&, const std::wstring& endpointId) {
        auto toast = MakeRef<FakeNewDeviceToast>(endpointId);
        m_toasts.push_back(toast);
        return CRefPtr<INewDeviceToast>(toast);
    });
}

NewDeviceToastRecorder::~NewDeviceToastRecorder() { SetNewDeviceToastFactory(m_previous); }

std::vector<std::wstring> NewDeviceToastRecorder::Shown() const {
    std::vector<std::wstring> shown;
    for (const auto& toast : m_toasts)
        for (int i = 0; i < toast->Starts; ++i) shown.push_back(toast->EndpointId);
    return shown;
}

void NewDeviceToastRecorder::AnswerAll() {
    for (const auto& toast : m_toasts) toast->Running = false;
}

}  // namespace qv::test
