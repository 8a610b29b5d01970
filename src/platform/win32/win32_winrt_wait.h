// Blocking on a Windows Runtime asynchronous operation: the port's calls
// return only when the operation has completed. A completion handler sets a
// manual-reset event; the results are then read with GetResults, which gives
// the operation's own error when it failed or was cancelled.
//
// The runtime calls the handler on a thread of its own (or at once, inside
// put_Completed, when the operation has already completed), so the caller
// must be in the multithreaded apartment, or in none that the handler
// would have to reach: the handler is agile and only sets the event.
#pragma once

#include <atomic>

#include "core/ref.h"
#include "platform/win32/win32_com_callback.h"
#include "platform/win32/win32_unique_handle.h"
#include "platform/win32/win32_winrt_abi.h"

namespace qv::winrt {

// The event that a completion handler sets and the waiter waits on.
class CCompletionSignal {
public:
    CCompletionSignal();
    bool IsValid() const { return static_cast<bool>(m_event); }
    void Set() const;
    void Wait() const;

private:
    CUniqueHandle m_event;
};

template <class TAbi>
class CCompletionHandler : public CComCallback<IAsyncOperationCompletedHandler<TAbi>> {
public:
    explicit CCompletionHandler(const ::GUID& iid) : m_iid(iid) {}

    ::HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        if (iid != ::IID_IUnknown && iid != m_iid && iid != IID_IAgileObject) return E_NOINTERFACE;
        this->AddRef();
        *object = static_cast<IAsyncOperationCompletedHandler<TAbi>*>(this);
        return S_OK;
    }
    ::HRESULT STDMETHODCALLTYPE Invoke(IAsyncOperation<TAbi>*, int32_t) override {
        m_signal.Set();
        return S_OK;
    }
    const CCompletionSignal& Signal() const { return m_signal; }

private:
    const ::GUID m_iid;
    CCompletionSignal m_signal;
};

// Waits for the operation and reads its results. handlerIid is the IID of
// AsyncOperationCompletedHandler<T> (win32_winrt_iid.h).
template <class TAbi>
HRESULT WaitForResults(IAsyncOperation<TAbi>* operation, const ::GUID& handlerIid, TAbi* results) {
    if (!operation) return E_POINTER;
    CRefPtr<CCompletionHandler<TAbi>> handler = MakeRef<CCompletionHandler<TAbi>>(handlerIid);
    if (!handler->Signal().IsValid()) return HRESULT_FROM_WIN32(::GetLastError());
    HRESULT hr = operation->put_Completed(handler.get());
    if (FAILED(hr)) return hr;
    handler->Signal().Wait();
    return operation->GetResults(results);
}

}  // namespace qv::winrt
