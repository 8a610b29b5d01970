// A small hash table keyed by pointer whose walk order is the system's own,
// not a library's: the notification clients reach their receivers in this
// order, so it must be the same on every platform and standard library.
//
// The rules: 8 buckets at first; a key's bucket is the FNV-1a hash of the
// pointer's bytes (offset basis 0xCBF29CE484222325, prime 0x100000001B3)
// modulo the bucket count; at most one entry per bucket on average (maximum
// load factor 1.0). The walk goes bucket by bucket from bucket 0, and within
// a bucket in the order the entries were put in. Left to us: past the load
// factor the buckets double, and the entries are put into the new buckets in
// the order of the old walk, so the rules above hold again at once.
//
// Not thread-safe: its owner guards it (the clients' ReceiversLock).
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

namespace qv {

inline uint64_t PointerFnv1a(const void* pointer) {
    uint64_t hash = 0xCBF29CE484222325ULL;
    unsigned char bytes[sizeof(pointer)];
    std::memcpy(bytes, &pointer, sizeof(pointer));
    for (unsigned char b : bytes) {
        hash ^= b;
        hash *= 0x100000001B3ULL;
    }
    return hash;
}

template <class Key, class Value>
class CPointerHashTable {
public:
    static constexpr std::size_t kInitialBuckets = 8;

    CPointerHashTable() : m_buckets(kInitialBuckets) {}

    Value* Find(const Key* key) {
        auto& bucket = BucketOf(key);
        auto entry = std::find_if(bucket.begin(), bucket.end(), [&](const auto& e) { return e.first == key; });
        return entry == bucket.end() ? nullptr : &entry->second;
    }

    // Puts a new key in; the caller has checked that it is not there.
    void Insert(Key* key, Value value) {
        if (m_size + 1 > m_buckets.size()) Grow();
        BucketOf(key).emplace_back(key, std::move(value));
        ++m_size;
    }

    // True if the key was there. The value goes before this returns.
    bool Erase(const Key* key) {
        auto& bucket = BucketOf(key);
        auto entry = std::find_if(bucket.begin(), bucket.end(), [&](const auto& e) { return e.first == key; });
        if (entry == bucket.end()) return false;
        bucket.erase(entry);
        --m_size;
        return true;
    }

    // Calls visit(key, value) for each entry in the walk order.
    template <class Visit>
    void ForEach(Visit&& visit) {
        for (auto& bucket : m_buckets)
            for (auto& [key, value] : bucket) visit(key, value);
    }

    std::size_t Size() const { return m_size; }
    std::size_t BucketCount() const { return m_buckets.size(); }

private:
    using Bucket = std::vector<std::pair<Key*, Value>>;

    Bucket& BucketOf(const Key* key) { return m_buckets[PointerFnv1a(key) % m_buckets.size()]; }

    void Grow() {
        std::vector<Bucket> old(m_buckets.size() * 2);
        old.swap(m_buckets);
        for (auto& bucket : old)
            for (auto& entry : bucket) BucketOf(entry.first).push_back(std::move(entry));
    }

    std::vector<Bucket> m_buckets;
    std::size_t m_size = 0;
};

}  // namespace qv
