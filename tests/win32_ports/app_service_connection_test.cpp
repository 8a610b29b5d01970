// The port's connection over a runtime connection of the test's own, which
// completes its operations and raises its events on threads of its own as
// the runtime does: the blocking wait, the names passed through, and the
// handlers' contract (called on the runtime's thread, never after Close, and
// Close waits for a call in progress). Under Wine nothing else can run this:
// the runtime class is not there.
#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/win32/win32_app_service_connection.h"
#include "platform/win32/win32_com_callback.h"
#include "platform/win32/win32_hstring.h"
#include "platform/win32/win32_winrt_iid.h"
#include "platform/win32/windows_api.h"
#include "support/wait_until.h"
#include "support/wine_detect.h"
#include "winrt_fakes.h"

namespace qv {
namespace {

using test::Boxed;
using test::CFake;
using test::FakeValueSet;
using test::WaitUntil;

// OpenAsync's operation: completes on a thread of its own once a handler is
// there.
class FakeOpenOperation : public CFake<winrt::IAsyncOperation<int32_t>> {
public:
    explicit FakeOpenOperation(int32_t status) : m_status(status) {}
    ~FakeOpenOperation() override {
        if (m_completer.joinable()) m_completer.join();
    }
    ::HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        return Answer(iid, ::IID_IUnknown, object);
    }
    ::HRESULT STDMETHODCALLTYPE put_Completed(winrt::IAsyncOperationCompletedHandler<int32_t>* handler) override {
        CRefPtr<winrt::IAsyncOperationCompletedHandler<int32_t>> held(handler);
        // The runtime asks for the handler's interface by its derived IID.
        void* asked = nullptr;
        handlerAnswered =
            SUCCEEDED(handler->QueryInterface(winrt::AppServiceInterfaceIds().openCompletedHandler, &asked));
        if (asked) handler->Release();
        m_completer = std::thread([this, held] {
            completedOn = std::this_thread::get_id();
            held->Invoke(this, winrt::kAsyncCompleted);
        });
        return S_OK;
    }
    ::HRESULT STDMETHODCALLTYPE get_Completed(winrt::IAsyncOperationCompletedHandler<int32_t>**) override {
        return E_NOTIMPL;
    }
    ::HRESULT STDMETHODCALLTYPE GetResults(int32_t* results) override {
        *results = m_status;
        return S_OK;
    }

    std::atomic<bool> handlerAnswered{false};
    std::thread::id completedOn;

private:
    const int32_t m_status;
    std::thread m_completer;
};

class FakeClosable : public CFake<winrt::IClosable> {
public:
    ::HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        return Answer(iid, winrt::kIidClosable, object);
    }
    ::HRESULT STDMETHODCALLTYPE Close() override {
        ++closed;
        return S_OK;
    }
    std::atomic<int> closed{0};
};

class FakeRuntimeConnection : public CFake<winrt::IAppServiceConnection> {
public:
    using RequestHandler = winrt::IConnectionEventHandler<winrt::IAppServiceRequestReceivedEventArgs>;
    using ClosedHandler = winrt::IConnectionEventHandler<winrt::IAppServiceClosedEventArgs>;

    ::HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (iid == winrt::kIidClosable) return closable->QueryInterface(iid, object);
        return Answer(iid, winrt::kIidAppServiceConnection, object);
    }
    ::HRESULT STDMETHODCALLTYPE get_AppServiceName(HSTRING*) override { return E_NOTIMPL; }
    ::HRESULT STDMETHODCALLTYPE put_AppServiceName(HSTRING name) override {
        serviceName = CHString::ToWide(name);
        return S_OK;
    }
    ::HRESULT STDMETHODCALLTYPE get_PackageFamilyName(HSTRING*) override { return E_NOTIMPL; }
    ::HRESULT STDMETHODCALLTYPE put_PackageFamilyName(HSTRING name) override {
        familyName = CHString::ToWide(name);
        return S_OK;
    }
    ::HRESULT STDMETHODCALLTYPE OpenAsync(winrt::IAsyncOperation<int32_t>** operation) override {
        *operation = open.get();
        open->AddRef();
        return S_OK;
    }
    ::HRESULT STDMETHODCALLTYPE SendMessageAsync(winrt::IPropertySet*,
                                                 winrt::IAsyncOperation<winrt::IAppServiceResponse*>**) override {
        return E_NOTIMPL;
    }
    ::HRESULT STDMETHODCALLTYPE add_RequestReceived(RequestHandler* handler, EventRegistrationToken* token) override {
        void* asked = nullptr;
        if (FAILED(handler->QueryInterface(winrt::AppServiceInterfaceIds().requestReceivedHandler, &asked)))
            return E_INVALIDARG;
        handler->Release();
        onRequest = CRefPtr<RequestHandler>(handler);
        token->value = 11;
        return S_OK;
    }
    ::HRESULT STDMETHODCALLTYPE remove_RequestReceived(EventRegistrationToken token) override {
        ++removals;
        removed.push_back(token.value);
        return S_OK;
    }
    ::HRESULT STDMETHODCALLTYPE add_ServiceClosed(ClosedHandler* handler, EventRegistrationToken* token) override {
        void* asked = nullptr;
        if (FAILED(handler->QueryInterface(winrt::AppServiceInterfaceIds().serviceClosedHandler, &asked)))
            return E_INVALIDARG;
        handler->Release();
        onClosed = CRefPtr<ClosedHandler>(handler);
        token->value = 22;
        return S_OK;
    }
    ::HRESULT STDMETHODCALLTYPE remove_ServiceClosed(EventRegistrationToken token) override {
        ++removals;
        removed.push_back(token.value);
        return S_OK;
    }

    // The runtime keeps the delegates it was given; they may still be
    // raised after removal, by a raise that had already begun.
    CRefPtr<RequestHandler> onRequest;
    CRefPtr<ClosedHandler> onClosed;
    CRefPtr<FakeOpenOperation> open = MakeRef<FakeOpenOperation>(0);
    CRefPtr<FakeClosable> closable = MakeRef<FakeClosable>();
    std::wstring serviceName, familyName;
    std::vector<int64_t> removed;  // read only once the removing thread is done
    std::atomic<int> removals{0};
};

struct Win32AppServiceConnection : ::testing::Test {
    CRefPtr<FakeRuntimeConnection> runtime = MakeRef<FakeRuntimeConnection>();
    CRefPtr<CWin32AppServiceConnection> connection =
        MakeRef<CWin32AppServiceConnection>(CRefPtr<winrt::IAppServiceConnection>(runtime.get()));
};

TEST_F(Win32AppServiceConnection, OpenWaitsForTheRuntimesThreadAndGivesItsStatus) {
    runtime->open = MakeRef<FakeOpenOperation>(2);  // AppServiceConnectionStatus::AppUnavailable
    connection->SetAppServiceName(L"com.example.toast");
    connection->SetPackageFamilyName(L"Example.Toasts_abc");
    EXPECT_EQ(connection->OpenAsync(), 2);
    EXPECT_TRUE(runtime->open->handlerAnswered) << "the handler answers to its derived IID";
    EXPECT_NE(runtime->open->completedOn, std::this_thread::get_id());
    EXPECT_EQ(runtime->serviceName, L"com.example.toast");
    EXPECT_EQ(runtime->familyName, L"Example.Toasts_abc");
}

// Under Wine the message's ValueSet cannot be made, and the send fails with
// the activation's result; on Windows the fake's SendMessageAsync refuses.
TEST_F(Win32AppServiceConnection, AMessageThatCannotBeSentIsTheFailureWithNoResponse) {
    ValueSet response{{L"stale", L"x"}};
    const int32_t status = connection->SendMessageAsync({{L"ShowToast", L"true"}}, response);
    EXPECT_EQ(status, test::RunningUnderWine() ? REGDB_E_CLASSNOTREG : E_NOTIMPL);
    EXPECT_TRUE(response.empty());
}

class FakeRequest : public CFake<winrt::IAppServiceRequest> {
public:
    explicit FakeRequest(CRefPtr<FakeValueSet> message) : m_message(std::move(message)) {}
    ::HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        return Answer(iid, ::IID_IUnknown, object);
    }
    ::HRESULT STDMETHODCALLTYPE get_Message(winrt::IPropertySet** message) override {
        // The fake set answers as the property set it stands for: both are
        // IInspectable at the ABI, and the port only queries it.
        *message = reinterpret_cast<winrt::IPropertySet*>(static_cast<::IInspectable*>(m_message.get()));
        m_message->AddRef();
        return S_OK;
    }
    ::HRESULT STDMETHODCALLTYPE SendResponseAsync(winrt::IPropertySet*, ::IInspectable**) override { return E_NOTIMPL; }

private:
    const CRefPtr<FakeValueSet> m_message;
};

class FakeRequestArgs : public CFake<winrt::IAppServiceRequestReceivedEventArgs> {
public:
    explicit FakeRequestArgs(CRefPtr<FakeRequest> request) : m_request(std::move(request)) {}
    ::HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        return Answer(iid, ::IID_IUnknown, object);
    }
    ::HRESULT STDMETHODCALLTYPE get_Request(winrt::IAppServiceRequest** request) override {
        *request = m_request.get();
        m_request->AddRef();
        return S_OK;
    }
    ::HRESULT STDMETHODCALLTYPE GetDeferral(::IInspectable**) override { return E_NOTIMPL; }

private:
    const CRefPtr<FakeRequest> m_request;
};

TEST_F(Win32AppServiceConnection, ARequestReachesTheHandlerWithItsTextValues) {
    std::vector<ValueSet> requests;
    connection->SetHandlers([&](const ValueSet& message) { requests.push_back(message); }, [] {});
    auto message = MakeRef<FakeValueSet>(test::FakeEntries{{L"Answer", Boxed(L"Install")}, {L"Count", Boxed(3)}});
    auto args = MakeRef<FakeRequestArgs>(MakeRef<FakeRequest>(message));
    std::thread raiser([&] { runtime->onRequest->Invoke(runtime.get(), args.get()); });
    raiser.join();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0], (ValueSet{{L"Answer", L"Install"}}));
}

TEST_F(Win32AppServiceConnection, CloseRemovesTheHandlersClosesTheRuntimeConnectionAndSilencesLateRaises) {
    std::atomic<int> calls{0};
    connection->SetHandlers([&](const ValueSet&) { ++calls; }, [&] { ++calls; });
    connection->Close();
    EXPECT_EQ(runtime->removed, (std::vector<int64_t>{11, 22}));
    EXPECT_EQ(runtime->closable->closed, 1);
    runtime->onRequest->Invoke(runtime.get(), nullptr);
    runtime->onClosed->Invoke(runtime.get(), nullptr);
    EXPECT_EQ(calls, 0);
}

TEST_F(Win32AppServiceConnection, CloseWaitsForAHandlerInProgress) {
    std::atomic<bool> entered{false}, release{false}, closeReturned{false}, closeReturnedDuringHandler{false};
    connection->SetHandlers([](const ValueSet&) {},
                            [&] {
                                entered = true;
                                WaitUntil([&] { return release.load(); });
                                closeReturnedDuringHandler = closeReturned.load();
                            });
    // Joined however the test ends: a failed assertion must not leave it running.
    std::jthread raiser([&] { runtime->onClosed->Invoke(runtime.get(), nullptr); });
    ASSERT_TRUE(WaitUntil([&] { return entered.load(); }));
    std::thread closer([&] {
        connection->Close();
        closeReturned = true;
    });
    // Close has taken the handlers off the runtime: what is left is the wait.
    EXPECT_TRUE(WaitUntil([&] { return runtime->removals == 2; }));
    release = true;
    raiser.join();
    closer.join();
    EXPECT_FALSE(closeReturnedDuringHandler);
    EXPECT_TRUE(closeReturned);
}

TEST_F(Win32AppServiceConnection, AHandlerMayCloseItsOwnConnection) {
    std::atomic<int> closedCalls{0};
    connection->SetHandlers([](const ValueSet&) {},
                            [&] {
                                ++closedCalls;
                                connection->Close();
                            });
    std::thread raiser([&] { runtime->onClosed->Invoke(runtime.get(), nullptr); });
    raiser.join();
    EXPECT_EQ(closedCalls, 1);
    EXPECT_EQ(runtime->closable->closed, 1);
}

TEST_F(Win32AppServiceConnection, NewHandlersReplaceTheOldOnes) {
    std::atomic<int> first{0}, second{0};
    connection->SetHandlers([](const ValueSet&) {}, [&] { ++first; });
    CRefPtr<FakeRuntimeConnection::ClosedHandler> old = runtime->onClosed;
    connection->SetHandlers([](const ValueSet&) {}, [&] { ++second; });
    old->Invoke(runtime.get(), nullptr);
    runtime->onClosed->Invoke(runtime.get(), nullptr);
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 1);
    EXPECT_EQ(runtime->removed, (std::vector<int64_t>{11, 22}));
}

}  // namespace
}  // namespace qv
