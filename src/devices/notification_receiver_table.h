// The receiver table shared by the endpoint and the power notification
// clients: one entry per receiver, counted by registrations, holding the
// receiver weakly and the actions posted to it, so that an entry that goes
// cancels what has not reached its receiver yet.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

#include "core/async.h"
#include "core/ref.h"
#include "devices/pointer_hash_table.h"

namespace qv {

template <class Receiver, std::size_t Operations>
class CNotificationReceiverInfo : public CAddReleaseRef {
public:
    explicit CNotificationReceiverInfo(Receiver* receiver) : ReceiverWeakRef(receiver) {}

    CWeakRefPtr<Receiver> ReceiverWeakRef;
    // How many times the receiver has registered; the entry goes at zero.
    uint32_t Registrations = 1;
    std::array<std::vector<CWeakRefPtr<CAsyncAction>>, Operations> PendingActions;

private:
    // Nothing posted reaches a receiver after it has been unregistered.
    ~CNotificationReceiverInfo() override {
        for (auto& actions : PendingActions)
            for (auto& action : actions) CancelPending(action);
    }
};

template <class Receiver, std::size_t Operations>
class CNotificationReceiverTable {
public:
    using Info = CNotificationReceiverInfo<Receiver, Operations>;

    // A receiver that registers twice must unregister twice.
    void Register(Receiver* receiver) {
        std::lock_guard lock(ReceiversLock);
        if (CRefPtr<Info>* known = m_receivers.Find(receiver)) {
            ++(*known)->Registrations;
            return;
        }
        CRefPtr<Info> info = MakeRef<Info>(receiver);
        m_receivers.Insert(receiver, std::move(info));
    }

    void Unregister(Receiver* receiver) {
        std::lock_guard lock(ReceiversLock);
        CRefPtr<Info>* known = m_receivers.Find(receiver);
        if (known && --(*known)->Registrations == 0) m_receivers.Erase(receiver);
    }

    // Posts one action per receiver, in the table's walk order, after pruning that operation's list of
    // actions that are gone or finished. The call gets the receiver, locked.
    void PostToAll(const CRefPtr<IAsyncActionDispatcher>& dispatcher, std::size_t operation,
                   const std::function<void(Receiver&)>& call) {
        std::lock_guard lock(ReceiversLock);
        m_receivers.ForEach([&](Receiver*, CRefPtr<Info>& info) {
            auto& actions = info->PendingActions[operation];
            std::erase_if(actions, [](const CWeakRefPtr<CAsyncAction>& weak) {
                CRefPtr<CAsyncAction> action = weak.Lock();
                return !action || action->Finished.load();
            });
            CWeakRefPtr<Receiver> receiver = info->ReceiverWeakRef;
            CRefPtr<CAsyncAction> action = CAsyncAction::Post(dispatcher, [receiver, call](CRefPtr<CAsyncAction>) {
                if (CRefPtr<Receiver> alive = receiver.Lock()) call(*alive);
            });
            if (action) actions.emplace_back(action);
        });
    }

    std::size_t size() const {
        std::lock_guard lock(ReceiversLock);
        return m_receivers.Size();
    }

    mutable std::recursive_mutex ReceiversLock;

private:
    CPointerHashTable<Receiver, CRefPtr<Info>> m_receivers;
};

}  // namespace qv
