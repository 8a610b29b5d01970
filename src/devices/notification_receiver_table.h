// The receiver table shared by the endpoint and the power notification
// clients: one entry per receiver, counted by registrations, holding the
// receiver weakly and the actions posted to it, so that an entry that goes
// cancels what has not reached its receiver yet.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "core/async.h"
#include "core/ref.h"

namespace qv {

// FNV-1a over the bytes of the pointer.
struct ReceiverPointerHash {
    std::size_t operator()(const void* pointer) const {
        uint64_t hash = 0xCBF29CE484222325ULL;
        unsigned char bytes[sizeof(pointer)];
        std::memcpy(bytes, &pointer, sizeof(pointer));
        for (unsigned char b : bytes) {
            hash ^= b;
            hash *= 0x100000001B3ULL;
        }
        return static_cast<std::size_t>(hash);
    }
};

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

    CNotificationReceiverTable() {
        m_receivers.max_load_factor(1.0f);
        m_receivers.rehash(8);
    }

    // A receiver that registers twice must unregister twice.
    void Register(Receiver* receiver) {
        std::lock_guard lock(ReceiversLock);
        auto it = m_receivers.find(receiver);
        if (it != m_receivers.end()) {
            ++it->second->Registrations;
            return;
        }
        CRefPtr<Info> info;
        info.Attach(new Info(receiver));
        m_receivers.emplace(receiver, info);
    }

    void Unregister(Receiver* receiver) {
        std::lock_guard lock(ReceiversLock);
        auto it = m_receivers.find(receiver);
        if (it == m_receivers.end()) return;
        if (--it->second->Registrations == 0) m_receivers.erase(it);
    }

    // Posts one action per receiver, after pruning that operation's list of
    // actions that are gone or finished. The call gets the receiver, locked.
    void PostToAll(const CRefPtr<IAsyncActionDispatcher>& dispatcher, std::size_t operation,
                   const std::function<void(Receiver&)>& call) {
        std::lock_guard lock(ReceiversLock);
        for (auto& [pointer, info] : m_receivers) {
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
        }
    }

    std::size_t size() const {
        std::lock_guard lock(ReceiversLock);
        return m_receivers.size();
    }

    mutable std::recursive_mutex ReceiversLock;

private:
    std::unordered_map<Receiver*, CRefPtr<Info>, ReceiverPointerHash> m_receivers;
};

}  // namespace qv
