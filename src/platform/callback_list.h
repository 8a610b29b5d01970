// The registrations of one kind of callback object (endpoint clients,
// session notifications, power callbacks...), with the guarantee that the
// platform gives: once the unregistration has returned, no call to the
// object runs any more and none will start.
//
// An event reaches the registrations that existed when it was raised (seen
// from the sound server, or made by a simulation) and still exist when it is
// delivered: an object that registers from within a callback does not
// receive the event being delivered.
#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <type_traits>
#include <vector>

#include "core/ref.h"

namespace qv {

template <class T, bool HoldsReference>
class CCallbackList {
public:
    // A registration with a reference keeps the object alive until it is
    // unregistered (session notifications and events); one without holds a
    // bare pointer (endpoint clients, power callbacks), which is safe only
    // because unregistration waits for running calls.
    using Stored = std::conditional_t<HoldsReference, CRefPtr<T>, T*>;

    // The id of the new registration; never 0. The same object may be
    // registered more than once and is then called once per registration.
    uint64_t Add(T* callback) {
        std::lock_guard lock(m_mutex);
        uint64_t id = ++m_lastId;
        m_entries.push_back(Entry{id, Stored(callback)});
        return id;
    }

    // Removes the first registration of the object, or the one with the id,
    // and waits until no call of it runs on another thread. A call running
    // on this very thread (an object unregistering itself from a callback)
    // cannot be waited for and is not. False if there was none.
    bool Remove(T* callback) {
        return RemoveWhere([&](const Entry& e) { return Raw(e.callback) == callback; });
    }
    bool RemoveId(uint64_t id) {
        return RemoveWhere([&](const Entry& e) { return e.id == id; });
    }

    std::vector<uint64_t> Snapshot() const {
        std::lock_guard lock(m_mutex);
        std::vector<uint64_t> ids;
        for (const Entry& e : m_entries) ids.push_back(e.id);
        return ids;
    }

    // Calls `call` for each registration of the snapshot that is still
    // there, with no lock held.
    template <class Call>
    void Deliver(const std::vector<uint64_t>& ids, Call&& call) {
        for (uint64_t id : ids) {
            Stored keep{};
            {
                std::lock_guard lock(m_mutex);
                auto entry =
                    std::find_if(m_entries.begin(), m_entries.end(), [&](const Entry& e) { return e.id == id; });
                if (entry == m_entries.end()) continue;
                keep = entry->callback;
                m_running.push_back(Running{id, std::this_thread::get_id()});
            }
            call(Raw(keep));
            {
                std::lock_guard lock(m_mutex);
                auto mine = std::find(m_running.begin(), m_running.end(), Running{id, std::this_thread::get_id()});
                if (mine != m_running.end()) m_running.erase(mine);
            }
            m_finished.notify_all();
        }
    }

    std::size_t Count() const {
        std::lock_guard lock(m_mutex);
        return m_entries.size();
    }

    // Forgets every registration; what they held goes after the lock.
    void Clear() {
        std::vector<Entry> dropped;
        std::lock_guard lock(m_mutex);
        dropped.swap(m_entries);
    }

private:
    struct Entry {
        uint64_t id;
        Stored callback;
    };
    struct Running {
        uint64_t id;
        std::thread::id thread;
        friend bool operator==(const Running&, const Running&) = default;
    };

    static T* Raw(const Stored& s) {
        if constexpr (HoldsReference)
            return s.get();
        else
            return s;
    }

    template <class Predicate>
    bool RemoveWhere(Predicate&& matches) {
        [[maybe_unused]] Stored dropped{};  // a held reference goes after the lock
        std::unique_lock lock(m_mutex);
        auto entry = std::find_if(m_entries.begin(), m_entries.end(), matches);
        if (entry == m_entries.end()) return false;
        uint64_t id = entry->id;
        dropped = std::move(entry->callback);
        m_entries.erase(entry);
        auto self = std::this_thread::get_id();
        m_finished.wait(lock, [&] {
            return std::none_of(m_running.begin(), m_running.end(),
                                [&](const Running& r) { return r.id == id && r.thread != self; });
        });
        lock.unlock();
        return true;
    }

    mutable std::mutex m_mutex;
    std::condition_variable m_finished;
    std::vector<Entry> m_entries;
    std::vector<Running> m_running;
    uint64_t m_lastId = 0;
};

}  // namespace qv
