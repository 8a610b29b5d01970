// The shared part of the COM objects that this platform gives to Core Audio
// in place of the model's callback objects: IUnknown's count, and the
// question that QueryInterface forwards to the model's object.
#pragma once

#include <atomic>

#include "platform/types.h"
#include "platform/win32/windows_api.h"

#include <unknwn.h>

namespace qv {

template <class Interface>
class CComCallback : public Interface {
public:
    ULONG STDMETHODCALLTYPE AddRef() override { return m_count.fetch_add(1) + 1; }
    ULONG STDMETHODCALLTYPE Release() override {
        ULONG remaining = m_count.fetch_sub(1) - 1;
        if (remaining == 0) delete this;
        return remaining;
    }

protected:
    CComCallback() = default;
    virtual ~CComCallback() = default;

private:
    std::atomic<ULONG> m_count{1};
};

// Whether the model's object answers to the interface id. Its answer holds a
// reference, which goes back at once: the platform is given the adapter,
// never the model's object. The model answers with the one interface it
// implements, for IID_IUnknown as well, so that is the type released.
template <class ModelInterface>
bool ModelAnswersTo(ModelInterface* object, const GUID& iid) {
    if (!object) return false;
    void* answer = nullptr;
    if (Failed(object->QueryInterface(iid, &answer)) || !answer) return false;
    static_cast<ModelInterface*>(answer)->Release();
    return true;
}

}  // namespace qv
