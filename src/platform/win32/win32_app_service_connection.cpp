#include "platform/win32/win32_app_service_connection.h"

#include "platform/win32/win32_call_gate.h"
#include "platform/win32/win32_com_apartment.h"
#include "platform/win32/win32_com_callback.h"
#include "platform/win32/win32_hstring.h"
#include "platform/win32/win32_winrt_iid.h"
#include "platform/win32/win32_winrt_value_set.h"
#include "platform/win32/win32_winrt_wait.h"

namespace qv {

// The model's handlers of one SetHandlers, shared with the delegates that
// the runtime holds: those may outlive the registration, and then find the
// gate closed.
struct CWin32AppServiceConnection::Handlers {
    CCallGate gate;
    std::function<void(const ValueSet&)> requestReceived;
    std::function<void()> serviceClosed;
};

namespace {

using winrt::IAppServiceClosedEventArgs;
using winrt::IAppServiceRequestReceivedEventArgs;

// TypedEventHandler<AppServiceConnection, TArgs>, forwarding to the model's
// handler through the gate.
template <class TArgs>
class CConnectionEventHandler : public CComCallback<winrt::IConnectionEventHandler<TArgs>> {
public:
    using Handlers = CWin32AppServiceConnection::Handlers;
    using Forward = void (*)(Handlers&, TArgs*);

    CConnectionEventHandler(const ::GUID& iid, std::shared_ptr<Handlers> handlers, Forward forward)
        : m_iid(iid), m_handlers(std::move(handlers)), m_forward(forward) {}

    ::HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        // Agile: the runtime calls it from any thread without marshalling.
        if (iid != ::IID_IUnknown && iid != m_iid && iid != IID_IAgileObject) return E_NOINTERFACE;
        this->AddRef();
        *object = static_cast<winrt::IConnectionEventHandler<TArgs>*>(this);
        return S_OK;
    }
    ::HRESULT STDMETHODCALLTYPE Invoke(winrt::IAppServiceConnection*, TArgs* args) override {
        CCallGate::Call call(m_handlers->gate);
        if (call) m_forward(*m_handlers, args);
        return S_OK;
    }

private:
    const ::GUID m_iid;
    const std::shared_ptr<Handlers> m_handlers;
    const Forward m_forward;
};

// A request whose message cannot be read still reaches the model, empty: it
// answers what it does not understand by its own rules.
void ForwardRequest(CWin32AppServiceConnection::Handlers& handlers, IAppServiceRequestReceivedEventArgs* args) {
    ValueSet message;
    CRefPtr<winrt::IAppServiceRequest> request;
    CRefPtr<winrt::IPropertySet> set;
    if (args && SUCCEEDED(args->get_Request(request.put())) && request && SUCCEEDED(request->get_Message(set.put())) &&
        set)
        winrt::ReadValueSet(set.get(), message);
    if (handlers.requestReceived) handlers.requestReceived(message);
}

void ForwardClosed(CWin32AppServiceConnection::Handlers& handlers, IAppServiceClosedEventArgs*) {
    if (handlers.serviceClosed) handlers.serviceClosed();
}

template <class Put>
void PutName(const std::wstring& name, Put put) {
    CHString text;
    if (SUCCEEDED(text.Set(name))) put(text.get());
}

}  // namespace

CWin32AppServiceConnection::CWin32AppServiceConnection(CRefPtr<winrt::IAppServiceConnection> connection)
    : m_connection(std::move(connection)) {}

// The runtime's connection closes itself when its last reference goes; the
// handlers must not outlive this object all the same.
CWin32AppServiceConnection::~CWin32AppServiceConnection() { RemoveHandlers(); }

// The port gives no result for the names; a name that did not take makes
// OpenAsync fail, which the model hears.
void CWin32AppServiceConnection::SetAppServiceName(const std::wstring& name) {
    PutName(name, [&](HSTRING text) { m_connection->put_AppServiceName(text); });
}

void CWin32AppServiceConnection::SetPackageFamilyName(const std::wstring& name) {
    PutName(name, [&](HSTRING text) { m_connection->put_PackageFamilyName(text); });
}

int32_t CWin32AppServiceConnection::OpenAsync() {
    EnsureComOnThisThread();
    const winrt::AppServiceIids& iids = winrt::AppServiceInterfaceIds();
    if (FAILED(iids.result)) return iids.result;
    CRefPtr<winrt::IAsyncOperation<int32_t>> operation;
    HRESULT hr = m_connection->OpenAsync(operation.put());
    if (FAILED(hr)) return hr;
    int32_t status = 0;
    hr = winrt::WaitForResults(operation.get(), iids.openCompletedHandler, &status);
    return FAILED(hr) ? hr : status;
}

int32_t CWin32AppServiceConnection::SendMessageAsync(const ValueSet& message, ValueSet& response) {
    response.clear();
    // The message's ValueSet is activated on this thread.
    EnsureComOnThisThread();
    const winrt::AppServiceIids& iids = winrt::AppServiceInterfaceIds();
    if (FAILED(iids.result)) return iids.result;
    CRefPtr<winrt::IPropertySet> set;
    HRESULT hr = winrt::CreateValueSet(message, set);
    if (FAILED(hr)) return hr;
    CRefPtr<winrt::IAsyncOperation<winrt::IAppServiceResponse*>> operation;
    hr = m_connection->SendMessageAsync(set.get(), operation.put());
    if (FAILED(hr)) return hr;
    CRefPtr<winrt::IAppServiceResponse> answer;
    hr = winrt::WaitForResults(operation.get(), iids.sendCompletedHandler, answer.put());
    if (FAILED(hr)) return hr;
    if (!answer) return E_POINTER;
    int32_t status = 0;
    hr = answer->get_Status(&status);
    if (FAILED(hr)) return hr;
    // A response without a message (a failed status) is an empty one.
    CRefPtr<winrt::IPropertySet> reply;
    if (SUCCEEDED(answer->get_Message(reply.put())) && reply) winrt::ReadValueSet(reply.get(), response);
    return status;
}

void CWin32AppServiceConnection::SetHandlers(std::function<void(const ValueSet& request)> requestReceived,
                                             std::function<void()> serviceClosed) {
    RemoveHandlers();
    const winrt::AppServiceIids& iids = winrt::AppServiceInterfaceIds();
    if (FAILED(iids.result)) return;
    auto handlers = std::make_shared<Handlers>();
    handlers->requestReceived = std::move(requestReceived);
    handlers->serviceClosed = std::move(serviceClosed);
    auto onRequest = MakeRef<CConnectionEventHandler<IAppServiceRequestReceivedEventArgs>>(iids.requestReceivedHandler,
                                                                                           handlers, ForwardRequest);
    auto onClosed = MakeRef<CConnectionEventHandler<IAppServiceClosedEventArgs>>(iids.serviceClosedHandler, handlers,
                                                                                 ForwardClosed);
    if (FAILED(m_connection->add_RequestReceived(onRequest.get(), &m_requestReceivedToken))) return;
    m_handlers = handlers;
    if (FAILED(m_connection->add_ServiceClosed(onClosed.get(), &m_serviceClosedToken)))
        m_serviceClosedToken = EventRegistrationToken{};
}

void CWin32AppServiceConnection::Close() {
    RemoveHandlers();
    CRefPtr<winrt::IClosable> closable;
    if (SUCCEEDED(m_connection->QueryInterface(winrt::kIidClosable, reinterpret_cast<void**>(closable.put()))) &&
        closable)
        closable->Close();
}

void CWin32AppServiceConnection::RemoveHandlers() {
    if (!m_handlers) return;
    m_connection->remove_RequestReceived(m_requestReceivedToken);
    if (m_serviceClosedToken.value != 0) m_connection->remove_ServiceClosed(m_serviceClosedToken);
    m_requestReceivedToken = m_serviceClosedToken = EventRegistrationToken{};
    // A delegate that the runtime is calling right now, or still holds,
    // finds the gate closed.
    std::shared_ptr<Handlers> handlers = std::move(m_handlers);
    handlers->gate.Close();
}

}  // namespace qv
