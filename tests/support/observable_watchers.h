// Test-side subscribers of the model's properties and collections. They
// subscribe exactly as a model class does (Changing then Changed; Removed then
// Added), so what they record is what any subscriber of the model would see.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "core/observable.h"

namespace qv::test {

// Records the values that a property takes through real changes, in order.
// The owner of the property must outlive the watcher.
template <class Owner, class T>
class PropertyWatcher {
public:
    explicit PropertyWatcher(observable_property<Owner, T>& property) : m_property(property) {
        m_property.Subscribe(this, {&Changing, &Changed});
    }
    ~PropertyWatcher() { m_property.Unsubscribe(this, {&Changing, &Changed}); }
    PropertyWatcher(const PropertyWatcher&) = delete;
    PropertyWatcher& operator=(const PropertyWatcher&) = delete;

    // The values after each change; the value found at subscription is not
    // among them.
    std::vector<T> values;
    // Changing calls for a real change: they must match the values one to one.
    int changingCalls = 0;

private:
    static void Changing(void* self, void*, CallbackCallReason reason) {
        if (reason == CallbackCallReason::ValueChanged) ++static_cast<PropertyWatcher*>(self)->changingCalls;
    }
    static void Changed(void* self, void*, CallbackCallReason reason) {
        auto* watcher = static_cast<PropertyWatcher*>(self);
        if (reason == CallbackCallReason::ValueChanged) watcher->values.push_back(watcher->m_property.value());
    }

    observable_property<Owner, T>& m_property;
};

// Writes each event of a collection into a log shared with other watchers,
// as "<label> added" or "<label> removed", followed by what the describe
// function makes of CurrentItem (a state read inside the handler, say). The
// replay of the subscription is recorded too; that of the unsubscription is
// not, since the collection's owner may be on its way out.
template <class Collection>
class CollectionWatcher {
public:
    using Item = typename Collection::value_type;
    using Describe = std::function<std::string(const Item&)>;

    CollectionWatcher(Collection& collection, std::string label, std::vector<std::string>& log, Describe describe = {})
        : m_collection(collection), m_label(std::move(label)), m_log(log), m_describe(std::move(describe)) {
        m_collection.Subscribe(this, {&Removed, &Added});
    }
    ~CollectionWatcher() { Detach(); }
    CollectionWatcher(const CollectionWatcher&) = delete;
    CollectionWatcher& operator=(const CollectionWatcher&) = delete;

    // Stops watching; needed before the collection's owner goes.
    void Detach() {
        if (!m_attached) return;
        m_attached = false;
        m_collection.Unsubscribe(this, {&Removed, &Added});
    }

private:
    void Record(const char* what) {
        if (!m_attached) return;
        std::string line = m_label + " " + what;
        if (m_describe) line += " " + m_describe(m_collection.CurrentItem);
        m_log.push_back(std::move(line));
    }
    static void Added(void* self, void*, int32_t) { static_cast<CollectionWatcher*>(self)->Record("added"); }
    static void Removed(void* self, void*, int32_t) { static_cast<CollectionWatcher*>(self)->Record("removed"); }

    Collection& m_collection;
    std::string m_label;
    std::vector<std::string>& m_log;
    Describe m_describe;
    bool m_attached = true;
};

}  // namespace qv::test
