// Reference counting with weak references.
//
// Every model object, delayed action and shared service is counted through
// this family. The hard part is the race between the last Release on one
// thread and a weak Lock on another: both take the same per-object lock, and
// that lock lives on (shared by the control block) after the object is gone.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <utility>

namespace qv {

struct IAddReleaseRef {
    virtual uint32_t AddRef() = 0;
    virtual uint32_t Release() = 0;
    virtual ~IAddReleaseRef() = default;
};

// CRefPtr holds one strong reference of anything with AddRef/Release: model
// objects, ports, and on Windows the platform's COM interfaces as well.
template <class T>
class CRefPtr {
public:
    CRefPtr() noexcept = default;
    CRefPtr(std::nullptr_t) noexcept {}
    explicit CRefPtr(T* p) noexcept : m_p(p) {
        if (m_p) m_p->AddRef();
    }
    CRefPtr(const CRefPtr& o) noexcept : m_p(o.m_p) {
        if (m_p) m_p->AddRef();
    }
    CRefPtr(CRefPtr&& o) noexcept : m_p(std::exchange(o.m_p, nullptr)) {}
    template <class U>
    CRefPtr(const CRefPtr<U>& o) noexcept : m_p(o.get()) {
        if (m_p) m_p->AddRef();
    }
    ~CRefPtr() { reset(); }

    // The new reference is added before the old one goes, so assigning a
    // pointer to itself never lets the object die in between.
    CRefPtr& operator=(const CRefPtr& o) noexcept {
        T* old = m_p;
        if (o.m_p) o.m_p->AddRef();
        m_p = o.m_p;
        if (old) old->Release();
        return *this;
    }
    CRefPtr& operator=(CRefPtr&& o) noexcept {
        if (this != &o) {
            T* old = m_p;
            m_p = std::exchange(o.m_p, nullptr);
            if (old) old->Release();
        }
        return *this;
    }
    CRefPtr& operator=(std::nullptr_t) noexcept {
        reset();
        return *this;
    }

    // Takes over a reference that the caller already owns (a new object is
    // born with count 1). The old pointer is released after the store.
    void Attach(T* p) noexcept {
        T* old = m_p;
        m_p = p;
        if (old) old->Release();
    }
    T* Detach() noexcept { return std::exchange(m_p, nullptr); }
    void reset() noexcept {
        if (T* old = std::exchange(m_p, nullptr)) old->Release();
    }

    T* get() const noexcept { return m_p; }
    T* operator->() const noexcept { return m_p; }
    T& operator*() const noexcept { return *m_p; }
    explicit operator bool() const noexcept { return m_p != nullptr; }

    // For out-parameters of platform calls: the slot must be empty.
    T** put() noexcept {
        reset();
        return &m_p;
    }

    friend bool operator==(const CRefPtr& a, const CRefPtr& b) noexcept { return a.m_p == b.m_p; }
    friend bool operator==(const CRefPtr& a, std::nullptr_t) noexcept { return a.m_p == nullptr; }

private:
    T* m_p = nullptr;
};

// Makes a new object and hands over its birth reference.
template <class T, class... Args>
CRefPtr<T> MakeRef(Args&&... args) {
    CRefPtr<T> p;
    p.Attach(new T(std::forward<Args>(args)...));
    return p;
}

// The lock holder shared by an object and its control block. A copy adds a
// reference; the last one to go destroys the lock. The count is atomic
// because it must work while the lock itself is being given up.
class SharedLock {
public:
    SharedLock() : m_state(new State) {}
    SharedLock(const SharedLock& o) noexcept : m_state(o.m_state) {
        if (m_state) m_state->count.fetch_add(1, std::memory_order_relaxed);
    }
    SharedLock& operator=(const SharedLock& o) noexcept {
        if (o.m_state) o.m_state->count.fetch_add(1, std::memory_order_relaxed);
        Drop();
        m_state = o.m_state;
        return *this;
    }
    ~SharedLock() { Drop(); }

    // Recursive like a critical section: a weak Lock calls AddRef while it
    // already holds the lock.
    void lock() { m_state->mutex.lock(); }
    void unlock() { m_state->mutex.unlock(); }

    class Guard;

private:
    struct State {
        std::recursive_mutex mutex;
        std::atomic<uint32_t> count{1};
    };
    void Drop() noexcept {
        if (m_state && m_state->count.fetch_sub(1, std::memory_order_acq_rel) == 1) delete m_state;
        m_state = nullptr;
    }
    State* m_state;
};

// Scoped guard that keeps its own reference, so the lock cannot vanish under
// it even when the object it came from is destroyed meanwhile.
class SharedLock::Guard {
public:
    explicit Guard(const SharedLock& l) : m_lock(l) { m_lock.lock(); }
    ~Guard() { m_lock.unlock(); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

private:
    SharedLock m_lock;
};

struct IWeakRefCtrlBlockProvider;

struct IWeakRefCtrlBlock {
    virtual uint32_t AddRef() = 0;
    virtual uint32_t Release() = 0;
    // A strong reference, already counted, or null once the object has died.
    virtual IWeakRefCtrlBlockProvider* Lock() = 0;
    virtual ~IWeakRefCtrlBlock() = default;
};

struct IWeakRefCtrlBlockProvider {
    virtual void GetWeakRefCtrlBlock(CRefPtr<IWeakRefCtrlBlock>& block) = 0;
    virtual ~IWeakRefCtrlBlockProvider() = default;
};

class CAddReleaseRef;

class CWeakRefCtrlBlock final : public IWeakRefCtrlBlock {
public:
    CWeakRefCtrlBlock(CAddReleaseRef* target, const SharedLock& lock) : m_target(target), m_lock(lock) {}
    uint32_t AddRef() override { return m_count.fetch_add(1, std::memory_order_relaxed) + 1; }
    uint32_t Release() override {
        uint32_t n = m_count.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (n == 0) delete this;
        return n;
    }
    IWeakRefCtrlBlockProvider* Lock() override;

private:
    friend class CAddReleaseRef;
    CAddReleaseRef* m_target;  // null once the object's count has reached zero
    SharedLock m_lock;
    std::atomic<uint32_t> m_count{1};
};

// Base of every counted object. IAddReleaseRef and the provider are virtual
// bases, so a class with several interfaces still has one count.
class CAddReleaseRef : public virtual IAddReleaseRef, public virtual IWeakRefCtrlBlockProvider {
public:
    CAddReleaseRef() = default;
    CAddReleaseRef(const CAddReleaseRef&) = delete;
    CAddReleaseRef& operator=(const CAddReleaseRef&) = delete;

    uint32_t AddRef() override {
        SharedLock::Guard g(m_lock);
        return ++m_count;
    }

    uint32_t Release() override {
        uint32_t remaining;
        {
            SharedLock::Guard g(m_lock);
            remaining = --m_count;
            // Cut the weak link while the lock is held: a racing weak Lock
            // then either got its reference before this point or sees null.
            if (remaining == 0 && m_block) m_block->m_target = nullptr;
        }
        if (remaining == 0) delete this;
        return remaining;
    }

    void GetWeakRefCtrlBlock(CRefPtr<IWeakRefCtrlBlock>& block) override {
        SharedLock::Guard g(m_lock);
        // Asked during the object's destruction, the block starts dead, so a
        // weak reference made then can never reach the dying object.
        if (!m_block) m_block = new CWeakRefCtrlBlock(m_count != 0 ? this : nullptr, m_lock);
        block = CRefPtr<IWeakRefCtrlBlock>(m_block);
    }

protected:
    ~CAddReleaseRef() override {
        if (m_block) m_block->Release();
    }

private:
    friend class CWeakRefCtrlBlock;
    SharedLock m_lock;
    CWeakRefCtrlBlock* m_block = nullptr;  // holds one count of the block
    uint32_t m_count = 1;                  // the creator's reference
};

inline IWeakRefCtrlBlockProvider* CWeakRefCtrlBlock::Lock() {
    SharedLock::Guard g(m_lock);
    if (!m_target) return nullptr;
    m_target->AddRef();
    return static_cast<IWeakRefCtrlBlockProvider*>(m_target);
}

// A weak reference: one count of the object's control block. Two weak
// references of one object hold the same block and compare equal.
template <class T>
class CWeakRefPtr {
public:
    CWeakRefPtr() = default;
    CWeakRefPtr(std::nullptr_t) {}
    explicit CWeakRefPtr(T* object) { Assign(object); }
    CWeakRefPtr(const CRefPtr<T>& object) { Assign(object.get()); }

    CWeakRefPtr& operator=(const CRefPtr<T>& object) {
        Assign(object.get());
        return *this;
    }
    CWeakRefPtr& operator=(T* object) {
        Assign(object);
        return *this;
    }
    CWeakRefPtr& operator=(std::nullptr_t) {
        m_block.reset();
        return *this;
    }

    // Null when empty, when the object has died, or when it is no T. The
    // cast is checked at run time; a failed cast gives the reference back.
    CRefPtr<T> Lock() const {
        CRefPtr<T> result;
        if (!m_block) return result;
        IWeakRefCtrlBlockProvider* provider = m_block->Lock();
        if (!provider) return result;
        if (T* typed = dynamic_cast<T*>(provider)) {
            result.Attach(typed);
        } else if (auto* counted = dynamic_cast<IAddReleaseRef*>(provider)) {
            counted->Release();
        }
        return result;
    }

    bool empty() const { return !m_block; }
    explicit operator bool() const { return static_cast<bool>(m_block); }
    IWeakRefCtrlBlock* block() const { return m_block.get(); }

    friend bool operator==(const CWeakRefPtr& a, const CWeakRefPtr& b) { return a.m_block == b.m_block; }

    template <class U>
    friend class CWeakRefPtr;
    template <class U>
    CWeakRefPtr(const CWeakRefPtr<U>& o) : m_block(o.m_block) {}

private:
    void Assign(T* object) {
        m_block.reset();
        if (!object) return;
        if (auto* provider = dynamic_cast<IWeakRefCtrlBlockProvider*>(object)) provider->GetWeakRefCtrlBlock(m_block);
    }
    CRefPtr<IWeakRefCtrlBlock> m_block;
};

}  // namespace qv
