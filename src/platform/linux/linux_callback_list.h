// The registrations of one kind of callback object (endpoint clients, the
// session notifications of one endpoint, the events objects of one session),
// with the guarantee that the platform gives: once the unregistration has
// returned, no call to the object runs and none will start. An event goes
// to the registrations that existed when the sound server's event was seen
// and still exist when it is delivered.
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
class CLinuxCallbackList {
public:
    // With a reference the object lives until it is unregistered (session
    // notifications and events); without, the list holds a bare pointer,
    // which is safe only because removal waits for running calls.
    using Stored = std::conditional_t<HoldsReference, CRefPtr<T>, T*>;

    uint64_t Add(T* callback) {
        std::lock_guard lock(m_mutex);
        m_entries.push_back(Entry{++m_lastId, Stored(callback)});
        return m_lastId;
    }

    // Removes the first registration of the object and waits until no call
    // of it runs on another thread. A call on this very thread (the object
    // unregistering from within its own callback) is not waited for: it is
    // the caller. False if the object was not registered.
    bool Remove(T* callback) {
        [[maybe_unused]] Stored dropped{};  // a held reference goes after the lock
        std::unique_lock lock(m_mutex);
        auto entry = std::find_if(m_entries.begin(), m_entries.end(),
                                  [&](const Entry& e) { return Raw(e.callback) == callback; });
        if (entry == m_entries.end()) return false;
        const uint64_t id = entry->id;
        dropped = std::move(entry->callback);
        m_entries.erase(entry);
        const auto self = std::this_thread::get_id();
        m_finished.wait(lock, [&] { return !(m_runningId == id && m_runningThread != self); });
        lock.unlock();
        return true;
    }

    std::vector<uint64_t> Snapshot() const {
        std::lock_guard lock(m_mutex);
        std::vector<uint64_t> ids;
        for (const Entry& e : m_entries) ids.push_back(e.id);
        return ids;
    }

    // Calls `call` for each registration of the snapshot that is still
    // there, with no lock held. One thread delivers at a time.
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
                m_runningId = id;
                m_runningThread = std::this_thread::get_id();
            }
            call(Raw(keep));
            {
                std::lock_guard lock(m_mutex);
                m_runningId = 0;
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

    static T* Raw(const Stored& s) {
        if constexpr (HoldsReference)
            return s.get();
        else
            return s;
    }

    mutable std::mutex m_mutex;
    std::condition_variable m_finished;
    std::vector<Entry> m_entries;
    uint64_t m_lastId = 0;
    uint64_t m_runningId = 0;
    std::thread::id m_runningThread;
};

}  // namespace qv
