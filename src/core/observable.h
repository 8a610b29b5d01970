// Observable properties and collections: the only change notification of the
// model. A `_Changing` handler undoes what it built on the value that is about
// to go; a `_Changed` handler builds on the value that is there. Subscribing
// and unsubscribing go through the same two handlers, so set-up and tear-down
// are each written once.
//
// Everything here runs on the main thread; nothing locks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "core/property_accessor_table.h"

namespace qv {

enum class CallbackCallReason : int32_t {
    Subscribed = 0,    // to the `_Changed` handler being added, before it enters the list
    Unsubscribed = 1,  // to the `_Changing` handler being removed, after it left the list
    ValueChanged = 2,  // to every handler, at a real change of value
};

using PropertyHandler = void (*)(void* subscriber, void* sender, CallbackCallReason reason);

struct PropertyHandlerEntry {
    void* subscriber = nullptr;
    void* sender = nullptr;  // filled in from the list's owner at insertion
    PropertyHandler handler = nullptr;
};

// The Changing and Changed dispatchers of one handler pair, as a class makes
// them for a property it watches.
struct PropertyHandlerPair {
    PropertyHandler changing;
    PropertyHandler changed;
};

class PropertyHandlerList {
public:
    explicit PropertyHandlerList(void* owner) : m_owner(owner) {}

    void Append(void* subscriber, PropertyHandler handler) { m_entries.push_back({subscriber, m_owner, handler}); }

    // Entries compare by subscriber and function only; every match goes.
    void RemoveAll(void* subscriber, PropertyHandler handler) {
        std::erase_if(m_entries,
                      [&](const PropertyHandlerEntry& e) { return e.subscriber == subscriber && e.handler == handler; });
    }

    // Newest subscriber first. The count is taken once; an entry appended by
    // a handler is not called in this walk. The array is indexed afresh
    // before each call, so an append that moves it is harmless; a handler
    // that removes from this list is a programming error, and the walk only
    // makes sure it does not read past the end.
    void CallNewestFirst(CallbackCallReason reason) {
        const std::size_t count = m_entries.size();
        for (std::size_t i = count; i-- > 0;) {
            if (i >= m_entries.size()) continue;
            PropertyHandlerEntry e = m_entries[i];
            e.handler(e.subscriber, e.sender, reason);
        }
    }

    // Oldest subscriber first, with the count read after every call: an
    // entry appended by a handler is called in the same walk, and a removal
    // shortens it.
    void CallOldestFirst(CallbackCallReason reason) {
        for (std::size_t i = 0; i < m_entries.size(); ++i) {
            PropertyHandlerEntry e = m_entries[i];
            e.handler(e.subscriber, e.sender, reason);
        }
    }

    std::size_t size() const { return m_entries.size(); }

private:
    std::vector<PropertyHandlerEntry> m_entries;
    void* m_owner;
};

// Type-erased root: what the accessor table hands out by name.
class _observable_property_base {
public:
    virtual ~_observable_property_base() = default;
    // Text without knowing the type: a property of narrow text takes it as its
    // typed set (which overrides this one); every other property ignores it.
    virtual void set(std::string /*value*/) {}
    // Wide text is taken by no property, one of wide text included: not
    // virtual, so that the typed set of such a property cannot override it.
    // The model never calls it.
    void set(std::wstring /*value*/) {}

    virtual void AddChangingHandler(const PropertyHandlerEntry& entry) = 0;
    virtual void AddChangedHandler(const PropertyHandlerEntry& entry) = 0;
    virtual void RemoveChangedHandler(const PropertyHandlerEntry& entry) = 0;
    virtual void RemoveChangingHandler(const PropertyHandlerEntry& entry) = 0;
};

template <class T>
class observable_property_base : public _observable_property_base {
public:
    using _observable_property_base::set;
    // For T of narrow text this is the root's text setter too.
    virtual void set(T value) = 0;
    virtual T get() const = 0;
};

// The value type decides what counts as a change: `==` of T, which for the
// types of this system is exactly the rule wanted (float `==`, so NaN always
// changes; pointers by address; weak references by control block;
// CClassification by its first three fields).
template <class Owner, class T>
class observable_property final : public observable_property_base<T> {
public:
    using value_type = T;

    observable_property(Owner* owner, const char* name) : observable_property(owner, name, T{}) {}
    observable_property(Owner* owner, const char* name, T initial)
        : m_owner(owner), m_value(std::move(initial)), m_changed(owner), m_changing(owner) {
        PropertyAccessorTable::Instance().RegisterOnce<Owner>(name, PropertyOffset(owner));
    }
    observable_property(const observable_property&) = delete;
    observable_property& operator=(const observable_property&) = delete;

    // Model code sets a property it knows through this typed setter alone;
    // the root's text setters stay hidden here so that text cannot be given
    // to a property of another type by mistake.
    void set(T value) override {
        if (value == m_value) return;
        m_changing.CallNewestFirst(CallbackCallReason::ValueChanged);
        m_value = std::move(value);
        m_changed.CallOldestFirst(CallbackCallReason::ValueChanged);
    }
    // Clears a property of a pointer or reference.
    void set(std::nullptr_t) { set(T(nullptr)); }

    T get() const override { return m_value; }
    // Read without a copy; for the model's own reads.
    const T& value() const { return m_value; }
    const T* operator->() const { return &m_value; }

    void AddChangingHandler(const PropertyHandlerEntry& entry) override {
        m_changing.Append(entry.subscriber, entry.handler);
    }
    void AddChangedHandler(const PropertyHandlerEntry& entry) override {
        entry.handler(entry.subscriber, m_owner, CallbackCallReason::Subscribed);
        m_changed.Append(entry.subscriber, entry.handler);
    }
    void RemoveChangedHandler(const PropertyHandlerEntry& entry) override {
        m_changed.RemoveAll(entry.subscriber, entry.handler);
    }
    // Calls the handler even when it was never added.
    void RemoveChangingHandler(const PropertyHandlerEntry& entry) override {
        m_changing.RemoveAll(entry.subscriber, entry.handler);
        entry.handler(entry.subscriber, m_owner, CallbackCallReason::Unsubscribed);
    }

    // The fixed orders of subscribing and unsubscribing.
    void Subscribe(void* subscriber, const PropertyHandlerPair& pair) {
        AddChangingHandler({subscriber, nullptr, pair.changing});
        AddChangedHandler({subscriber, nullptr, pair.changed});
    }
    void Unsubscribe(void* subscriber, const PropertyHandlerPair& pair) {
        RemoveChangedHandler({subscriber, nullptr, pair.changed});
        RemoveChangingHandler({subscriber, nullptr, pair.changing});
    }

    Owner* owner() const { return m_owner; }
    std::size_t ChangedHandlerCount() const { return m_changed.size(); }
    std::size_t ChangingHandlerCount() const { return m_changing.size(); }

private:
    std::ptrdiff_t PropertyOffset(Owner* owner) const {
        return reinterpret_cast<const char*>(static_cast<const _observable_property_base*>(this)) -
               reinterpret_cast<const char*>(owner);
    }

    Owner* m_owner;
    T m_value;
    PropertyHandlerList m_changed;
    PropertyHandlerList m_changing;
};

using CollectionHandler = void (*)(void* subscriber, void* collection, int32_t index);

struct CollectionHandlerEntry {
    void* subscriber = nullptr;
    CollectionHandler handler = nullptr;
};

struct CollectionHandlerPair {
    CollectionHandler removed;
    CollectionHandler added;
};

template <class T>
class observable_collection_base {
public:
    virtual ~observable_collection_base() = default;
    virtual void Add(T item) = 0;
    virtual void Remove(T item) = 0;
};

template <class Owner, class T>
class observable_collection final : public observable_collection_base<T> {
public:
    using value_type = T;

    explicit observable_collection(Owner* owner) : m_owner(owner) {}
    observable_collection(const observable_collection&) = delete;
    observable_collection& operator=(const observable_collection&) = delete;

    // Appends; duplicates are allowed.
    void Add(T item) override {
        m_items.push_back(item);
        const auto index = static_cast<int32_t>(m_items.size() - 1);
        CurrentItem = std::move(item);
        CallAll(m_added, index);
        CurrentItem = T{};
    }

    // Removes the first equal item; the handlers see the collection without
    // it and the item in CurrentItem.
    void Remove(T item) override {
        for (std::size_t i = 0; i < m_items.size(); ++i) {
            if (m_items[i] == item) {
                RemoveAt(i);
                return;
            }
        }
    }

    void RemoveAt(std::size_t index) {
        if (index >= m_items.size()) return;
        CurrentItem = m_items[index];
        m_items.erase(m_items.begin() + static_cast<std::ptrdiff_t>(index));
        CallAll(m_removed, static_cast<int32_t>(index));
        CurrentItem = T{};
    }

    void AddItemRemovedHandler(const CollectionHandlerEntry& entry) { m_removed.push_back(entry); }
    // Appends, then replays every present item to this handler alone.
    void AddItemAddedHandler(const CollectionHandlerEntry& entry) {
        m_added.push_back(entry);
        Replay(entry);
    }
    void RemoveItemAddedHandler(const CollectionHandlerEntry& entry) { RemoveEntries(m_added, entry); }
    // Replays every present item to this handler alone (they stay), then
    // removes it.
    void RemoveItemRemovedHandler(const CollectionHandlerEntry& entry) {
        Replay(entry);
        RemoveEntries(m_removed, entry);
    }

    void Subscribe(void* subscriber, const CollectionHandlerPair& pair) {
        AddItemRemovedHandler({subscriber, pair.removed});
        AddItemAddedHandler({subscriber, pair.added});
    }
    void Unsubscribe(void* subscriber, const CollectionHandlerPair& pair) {
        RemoveItemRemovedHandler({subscriber, pair.removed});
        RemoveItemAddedHandler({subscriber, pair.added});
    }

    int32_t IndexOf(const T& item) const {
        for (std::size_t i = 0; i < m_items.size(); ++i)
            if (m_items[i] == item) return static_cast<int32_t>(i);
        return -1;
    }
    bool Contains(const T& item) const { return IndexOf(item) >= 0; }

    const std::vector<T>& items() const { return m_items; }
    std::size_t size() const { return m_items.size(); }
    bool empty() const { return m_items.empty(); }
    const T& operator[](std::size_t i) const { return m_items[i]; }
    auto begin() const { return m_items.begin(); }
    auto end() const { return m_items.end(); }
    Owner* owner() const { return m_owner; }

    // The item of the event being delivered; empty at all other times.
    T CurrentItem{};

private:
    void CallAll(std::vector<CollectionHandlerEntry>& list, int32_t index) {
        for (std::size_t i = 0; i < list.size(); ++i) {
            CollectionHandlerEntry e = list[i];
            e.handler(e.subscriber, this, index);
        }
    }
    void Replay(const CollectionHandlerEntry& entry) {
        for (std::size_t i = 0; i < m_items.size(); ++i) {
            CurrentItem = m_items[i];
            entry.handler(entry.subscriber, this, static_cast<int32_t>(i));
            CurrentItem = T{};
        }
    }
    static void RemoveEntries(std::vector<CollectionHandlerEntry>& list, const CollectionHandlerEntry& entry) {
        std::erase_if(list, [&](const CollectionHandlerEntry& e) {
            return e.subscriber == entry.subscriber && e.handler == entry.handler;
        });
    }

    Owner* m_owner;
    std::vector<T> m_items;
    std::vector<CollectionHandlerEntry> m_added;
    std::vector<CollectionHandlerEntry> m_removed;
};

}  // namespace qv
