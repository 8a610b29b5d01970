// The two clients between the platform's callback threads and the model:
// what reaches a receiver, what is dropped, and how a client ends when its
// last reference goes on a platform thread.
#include <atomic>
#include <functional>
#include <memory>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "devices/mm_notification_client.h"
#include "devices/suspend_resume_notification_client.h"
#include "platform/codes.h"
#include "support/model_fixture.h"
#include "support/test_doubles.h"

namespace qv::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::wstring kSpeakers = L"{0.0.0.00000000}.{speakers}";
const std::wstring kHeadphones = L"{0.0.0.00000000}.{headphones}";

// What the receivers of one test were told, in order, and on which thread.
struct ReceiverLog {
    std::vector<std::wstring> calls;
    std::vector<std::thread::id> threads;
};

class FakeReceiver : public CAddReleaseRef, public IMMNotificationReceiver, public ISuspendResumeNotificationReceiver {
public:
    FakeReceiver(std::wstring name, std::shared_ptr<ReceiverLog> log)
        : m_name(std::move(name)), m_log(std::move(log)) {}

    void OnDefaultDeviceChanged(EDataFlow flow, ERole role, const std::wstring& id) override {
        Record(L"default " + std::to_wstring(flow) + L" " + std::to_wstring(role) + L" " + id);
    }
    void OnDeviceAdded(const std::wstring& id) override { Record(L"added " + id); }
    void OnDeviceRemoved(const std::wstring& id) override { Record(L"removed " + id); }
    void OnDeviceStateChanged(const std::wstring& id, uint32_t state) override {
        Record(L"state " + id + L" " + std::to_wstring(state));
    }
    void OnPropertyValueChanged(const std::wstring& id, PROPERTYKEY key) override {
        Record(L"property " + id + L" " + std::to_wstring(key.pid));
    }
    void OnPowerSuspendResume(uint32_t type) override { Record(L"power " + std::to_wstring(type)); }

    // Runs inside every call, after it is recorded.
    std::function<void()> During;

private:
    void Record(const std::wstring& call) {
        m_log->calls.push_back(m_name + L": " + call);
        m_log->threads.push_back(std::this_thread::get_id());
        if (During) During();
    }
    std::wstring m_name;
    std::shared_ptr<ReceiverLog> m_log;
};

// Forwards to the test's loop, and first runs a hook on the posting thread.
// A client posts from inside its platform callback, so the hook runs there.
class HookedDispatcher : public CAddReleaseRef, public IAsyncActionDispatcher {
public:
    explicit HookedDispatcher(CRefPtr<IAsyncActionDispatcher> target) : m_target(std::move(target)) {}
    bool Post(const std::function<void()>& function) override {
        if (Hook) Hook();
        return m_target->Post(function);
    }
    std::function<void()> Hook;

private:
    CRefPtr<IAsyncActionDispatcher> m_target;
};

// Makes a client on the dispatcher with the receiver registered and hands its
// only reference to the dispatcher, which lets go of it inside the client's
// next platform callback, as that posts.
template <class Client>
void ReleaseInItsNextCallback(const CRefPtr<HookedDispatcher>& dispatcher,
                              const CRefPtr<IMMDeviceEnumerator>& enumerator,
                              const CRefPtr<ITraceFuncCallTarget>& trace, FakeReceiver* receiver) {
    CRefPtr<Client> own;
    own.Attach(new Client(enumerator, dispatcher, trace));
    own->RegisterReceiver(receiver);
    auto last = std::make_shared<std::atomic<Client*>>(own.Detach());
    dispatcher->Hook = [last] {
        if (Client* client = last->exchange(nullptr)) client->Release();
    };
}

// Receivers that write into one log.
class ReceiverTest : public ModelTest {
protected:
    CRefPtr<FakeReceiver> NewReceiver(const std::wstring& name) { return MakeRef<FakeReceiver>(name, log); }
    std::shared_ptr<ReceiverLog> log = std::make_shared<ReceiverLog>();
};

class NotificationClientTest : public ReceiverTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(Audio().AddEndpoint(kSpeakers, eRender));
        ASSERT_TRUE(Audio().AddEndpoint(kHeadphones, eRender));
        ASSERT_TRUE(Audio().WaitUntilDelivered());
        ASSERT_EQ(Audio().CreateDeviceEnumerator(enumerator), S_OK);
        client.Attach(new CMMNotificationClient(enumerator, h.dispatcher, h.trace));
    }
    void TearDown() override {
        client = nullptr;
        ASSERT_TRUE(h.RunUntil([&] { return Audio().EndpointClientCount() == 0; }));
    }
    CRefPtr<IMMDeviceEnumerator> enumerator;
    CRefPtr<CMMNotificationClient> client;
};

TEST_F(NotificationClientTest, EventsReachEveryReceiverOnTheMainThreadInOrder) {
    auto first = NewReceiver(L"first");
    auto second = NewReceiver(L"second");
    client->RegisterReceiver(first.get());
    client->RegisterReceiver(second.get());
    ASSERT_EQ(Audio().EndpointClientCount(), 1u);

    ASSERT_TRUE(Audio().SetEndpointState(kSpeakers, DEVICE_STATE_UNPLUGGED));
    ASSERT_TRUE(Audio().SetEndpointProperty(kSpeakers, PKEY_HasAutoPreset, SimPropertyUi4(1)));
    ASSERT_TRUE(Audio().RemoveEndpoint(kHeadphones));
    // A default without an id is only logged.
    ASSERT_TRUE(Audio().SetDefaultEndpoint(eRender, eMultimedia, L""));
    ASSERT_TRUE(Audio().SetDefaultEndpoint(eRender, eMultimedia, kSpeakers));
    Settle();

    // The order among receivers is the table's; each one's own is the
    // platform's.
    std::vector<std::wstring> firstCalls, secondCalls;
    for (const auto& call : log->calls) (call.starts_with(L"first") ? firstCalls : secondCalls).push_back(call);
    EXPECT_THAT(firstCalls, ElementsAre(L"first: state " + kSpeakers + L" 8", L"first: property " + kSpeakers + L" 0",
                                        L"first: removed " + kHeadphones, L"first: default 0 1 " + kSpeakers));
    EXPECT_EQ(secondCalls.size(), 4u);
    for (const auto& thread : log->threads) EXPECT_EQ(thread, std::this_thread::get_id());
    EXPECT_TRUE(h.Traced(L"EndpointId = " + kSpeakers + L", dwNewState = 8 (DEVICE_STATE_UNPLUGGED)\n"));
    EXPECT_TRUE(h.Traced(L"flow = 0, role = 1\n"));
}

TEST_F(NotificationClientTest, AReceiverThatDiedOrUnregisteredMeanwhileIsSkipped) {
    auto survivor = NewReceiver(L"survivor");
    auto doomed = NewReceiver(L"doomed");
    auto leaving = NewReceiver(L"leaving");
    client->RegisterReceiver(survivor.get());
    client->RegisterReceiver(doomed.get());
    client->RegisterReceiver(leaving.get());
    CWeakRefPtr<FakeReceiver> watch(doomed);

    ASSERT_TRUE(Audio().SetEndpointState(kSpeakers, DEVICE_STATE_DISABLED));
    ASSERT_TRUE(Audio().SetEndpointProperty(kSpeakers, PKEY_HasAutoPreset, SimPropertyUi4(1)));
    ASSERT_TRUE(Audio().WaitUntilDelivered());
    // The actions are queued now. One receiver goes before they run; it never
    // unregistered: the client holds it only weakly. Another one, alive,
    // unregisters: only the cancel keeps its actions off.
    doomed = nullptr;
    ASSERT_FALSE(watch.Lock());
    client->UnregisterReceiver(leaving.get());
    EXPECT_EQ(client->ReceiverCount(), 2u);
    Settle();
    EXPECT_THAT(log->calls,
                ElementsAre(L"survivor: state " + kSpeakers + L" 2", L"survivor: property " + kSpeakers + L" 0"));
}

TEST_F(NotificationClientTest, ARegistrationCountsOnceAndOneDuringADispatchGetsNothingOfThatEvent) {
    auto receiver = NewReceiver(L"r");
    client->RegisterReceiver(receiver.get());
    client->RegisterReceiver(receiver.get());
    EXPECT_EQ(client->ReceiverCount(), 1u);
    client->UnregisterReceiver(receiver.get());
    EXPECT_EQ(client->ReceiverCount(), 1u) << "as many unregistrations as registrations";

    // Another one registers while the event is dispatched.
    auto late = NewReceiver(L"late");
    receiver->During = [&] {
        if (client->ReceiverCount() == 1) client->RegisterReceiver(late.get());
    };
    ASSERT_TRUE(Audio().SetEndpointState(kSpeakers, DEVICE_STATE_DISABLED));
    Settle();
    // One entry, so one delivery, however often it registered.
    EXPECT_THAT(log->calls, ElementsAre(L"r: state " + kSpeakers + L" 2"));

    client->UnregisterReceiver(receiver.get());
    EXPECT_EQ(client->ReceiverCount(), 1u);
    ASSERT_TRUE(Audio().SetEndpointState(kSpeakers, DEVICE_STATE_ACTIVE));
    Settle();
    EXPECT_THAT(log->calls, ElementsAre(L"r: state " + kSpeakers + L" 2", L"late: state " + kSpeakers + L" 1"));
}

TEST_F(NotificationClientTest, AFailedRegistrationLeavesAWorkingClient) {
    Audio().FailOnce(L"IMMDeviceEnumerator::RegisterEndpointNotificationCallback", E_ACCESSDENIED);
    CRefPtr<CMMNotificationClient> deaf;
    deaf.Attach(new CMMNotificationClient(enumerator, h.dispatcher, h.trace));
    EXPECT_TRUE(h.Traced(L"Failed to register audio endpoint notification callback with error code -2147024891.\n"));
    auto receiver = NewReceiver(L"r");
    deaf->RegisterReceiver(receiver.get());
    EXPECT_EQ(deaf->ReceiverCount(), 1u);
    deaf->UnregisterReceiver(receiver.get());

    // The unregistering is still tried at the end.
    deaf = nullptr;
    EXPECT_TRUE(h.RunUntil([&] { return TraceCount(L"Failed to unregister endpoint notification callback") == 1; }));
}

TEST_F(NotificationClientTest, TheClientAnswersOnlyItsOwnInterfaces) {
    void* object = nullptr;
    EXPECT_EQ(client->QueryInterface(IID_IAudioSessionEvents, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    ASSERT_EQ(client->QueryInterface(IID_IMMNotificationClient, &object), S_OK);
    EXPECT_EQ(object, static_cast<IMMNotificationClient*>(client.get()));
    static_cast<IMMNotificationClient*>(object)->Release();
}

// The last reference of a client goes inside one of its own platform
// callbacks: the callback must return, and the client must still leave the
// platform, from a thread of its own, and only after that callback is over.
TEST_F(NotificationClientTest, TheLastReleaseInsideACallbackDoesNotDeadlock) {
    // The dispatcher outlives the client: the release runs inside its Post.
    auto hooked = MakeRef<HookedDispatcher>(h.dispatcher);
    auto receiver = NewReceiver(L"r");
    ReleaseInItsNextCallback<CMMNotificationClient>(hooked, enumerator, h.trace, receiver.get());
    ASSERT_EQ(Audio().EndpointClientCount(), 2u);

    ASSERT_TRUE(Audio().SetEndpointState(kSpeakers, DEVICE_STATE_DISABLED));
    EXPECT_TRUE(Audio().WaitUntilDelivered(std::chrono::seconds(10)));
    EXPECT_TRUE(h.RunUntil([&] { return Audio().EndpointClientCount() == 1; }));
    EXPECT_TRUE(h.Traced(L"RefCount == 0\n"));

    // Gone from the platform: a later event reaches the fixture's client
    // alone, and the dead one is not called.
    ASSERT_TRUE(Audio().SetEndpointState(kSpeakers, DEVICE_STATE_ACTIVE));
    Settle();
    EXPECT_THAT(log->calls, ::testing::Not(::testing::Contains(L"r: state " + kSpeakers + L" 1")));
}

// ---- The power client

class PowerClientTest : public ReceiverTest {};

TEST_F(PowerClientTest, PowerEventsOfEveryTypeReachTheReceivers) {
    CRefPtr<CSuspendResumeNotificationClient> client;
    client.Attach(new CSuspendResumeNotificationClient(nullptr, h.dispatcher, h.trace));
    ASSERT_EQ(Power().RegistrationCount(), 1u);
    auto receiver = NewReceiver(L"r");
    client->RegisterReceiver(receiver.get());

    Power().Suspend();
    Power().Resume();
    Power().SendPowerEvent(10);
    Settle();
    EXPECT_THAT(log->calls, ElementsAre(L"r: power 4", L"r: power 18", L"r: power 10"));
    EXPECT_TRUE(h.Traced(L"Received PBT_APMRESUMEAUTOMATIC event\n"));

    client->UnregisterReceiver(receiver.get());
    client = nullptr;
    EXPECT_TRUE(h.RunUntil([&] { return Power().RegistrationCount() == 0; }));
    EXPECT_TRUE(h.Traced(L"Unregistering suspend/resume notification callback  ...\n"));
}

TEST_F(PowerClientTest, AFailedRegistrationIsNotUndoneAtTheEnd) {
    Power().FailOnce(L"PowerRegisterSuspendResumeNotification", ERROR_ACCESS_DENIED);
    // A dispatcher of its own: the client lets go of it when it is deleted.
    auto dispatcher = MakeRef<HookedDispatcher>(h.dispatcher);
    CRefPtr<CSuspendResumeNotificationClient> client;
    client.Attach(new CSuspendResumeNotificationClient(nullptr, dispatcher, h.trace));
    EXPECT_TRUE(h.Traced(L"Failed to register suspend/resume notification callback with error code 5.\n"));
    ASSERT_EQ(Power().RegistrationCount(), 0u);
    client = nullptr;
    EXPECT_TRUE(h.RunUntil([&] { return RefCount(dispatcher.get()) == 1; }));
    EXPECT_EQ(Power().CallCount(L"PowerUnregisterSuspendResumeNotification"), 0u);
}

TEST_F(PowerClientTest, TheLastReleaseInsideACallbackDoesNotDeadlock) {
    auto hooked = MakeRef<HookedDispatcher>(h.dispatcher);
    auto receiver = NewReceiver(L"r");
    ReleaseInItsNextCallback<CSuspendResumeNotificationClient>(hooked, nullptr, h.trace, receiver.get());
    Power().Suspend();
    EXPECT_TRUE(Power().WaitUntilDelivered(std::chrono::seconds(10)));
    EXPECT_TRUE(h.RunUntil([&] { return Power().RegistrationCount() == 0; }));
    Power().Resume();
    Settle();
    EXPECT_THAT(log->calls, ::testing::Not(::testing::Contains(L"r: power 18")));
}

}  // namespace
}  // namespace qv::test
