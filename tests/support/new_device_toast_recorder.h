// Stands in for the new-device toast: while a recorder lives, every toast
// that a device starts is a fake that only remembers its endpoint. The
// factory that was installed before comes back when the recorder goes.
#pragma once

#include <string>
#include <vector>

#include "core/ref.h"
#include "devices/new_device_toast.h"

namespace qv::test {

class FakeNewDeviceToast : public CAddReleaseRef, public INewDeviceToast {
public:
    explicit FakeNewDeviceToast(std::wstring endpointId) : EndpointId(std::move(endpointId)) {}
    bool IsRunning() const override { return Running; }
    void Start() override {
        Running = true;
        ++Starts;
    }

    const std::wstring EndpointId;
    bool Running = false;  // until the user answers; a test ends it
    int Starts = 0;
};

class NewDeviceToastRecorder {
public:
    NewDeviceToastRecorder();
    ~NewDeviceToastRecorder();
    NewDeviceToastRecorder(const NewDeviceToastRecorder&) = delete;
    NewDeviceToastRecorder& operator=(const NewDeviceToastRecorder&) = delete;

    // The endpoint of each toast started, in order.
    std::vector<std::wstring> Shown() const;
    // The user has answered every toast shown so far.
    void AnswerAll();

private:
    NewDeviceToastFactory m_previous;
    std::vector<CRefPtr<FakeNewDeviceToast>> m_toasts;
};

}  // namespace qv::test
