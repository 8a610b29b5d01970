// The base of every model class, and the wiring of property handlers.
//
// A class C that reacts to a property P declares its handler pair with
// QV_PROPERTY_HANDLERS(C, P): the class's own handlers C_PChanging and
// C_PChanged, two empty virtual hooks P_Changing and P_Changed (the extension
// point of a subclass), and P_Handlers(), the two static entry functions that
// go into the property's lists. Collections have QV_COLLECTION_HANDLERS.
#pragma once

#include <cstdint>
#include <utility>

#include "classify/content_classifier_log.h"
#include "core/async.h"
#include "core/observable.h"
#include "core/ref.h"
#include "core/trace.h"

namespace qv {

class CCommonBase : public CAddReleaseRef {
public:
    CCommonBase(const CRefPtr<ITraceFuncCallTarget>& traceTarget, const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                const CRefPtr<CContentClassifierLog>& log);

    const CRefPtr<ITraceFuncCallTarget>& TraceTarget() const { return m_traceTarget; }
    const CRefPtr<IAsyncActionDispatcher>& Dispatcher() const { return m_dispatcher; }
    const CRefPtr<CContentClassifierLog>& Log() const { return m_log; }
    DBG_TRACE* TraceRecord() const { return TraceRecordOf(m_traceTarget.get()); }
    bool Tracing() const { return TraceEnabled(TraceRecord()); }

    // One trace line, if there is a trace and it is on.
    template <class... Args>
    void Trace(const wchar_t* format, const Args&... args) const {
        DBG_TRACE* record = TraceRecord();
        if (TraceEnabled(record)) DBG_TRACE_Print(record, format, args...);
    }

    // Never assigned: it keeps the zero of a new object.
    uint32_t ThreadId = 0;

protected:
    ~CCommonBase() override;

private:
    // Declared in this order so that they go in the reverse one: the lock,
    // the log, the dispatcher, and last the trace, which outlives everything
    // that traces.
    CRefPtr<ITraceFuncCallTarget> m_traceTarget;
    CRefPtr<IAsyncActionDispatcher> m_dispatcher;
    CRefPtr<CContentClassifierLog> m_log;
    SharedLock m_lock;
};

// The static entry of a property handler: keeps the trace alive for the call,
// runs the class's handler, then the virtual hook.
template <class C, void (C::*Handler)(void*, CallbackCallReason), void (C::*Hook)(void*, CallbackCallReason)>
void HandlerDispatch(void* subscriber, void* sender, CallbackCallReason reason) {
    C* self = static_cast<C*>(subscriber);
    CRefPtr<ITraceFuncCallTarget> keep = self->TraceTarget();
    (self->*Handler)(sender, reason);
    (self->*Hook)(sender, reason);
}

// The static entry of a collection handler: keeps the trace alive and hands
// the class's handler the item of the event.
template <class C, class Collection,
          void (C::*Handler)(const typename Collection::value_type& item, int32_t index)>
void CollectionHandlerDispatch(void* subscriber, void* collection, int32_t index) {
    C* self = static_cast<C*>(subscriber);
    CRefPtr<ITraceFuncCallTarget> keep = self->TraceTarget();
    (self->*Handler)(static_cast<Collection*>(collection)->CurrentItem, index);
}

}  // namespace qv

#define QV_PROPERTY_HANDLERS(C, P)                                                                  \
    void C##_##P##Changing(void* sender, ::qv::CallbackCallReason reason);                         \
    void C##_##P##Changed(void* sender, ::qv::CallbackCallReason reason);                          \
                                                                                                    \
public:                                                                                             \
    virtual void P##_Changing(void*, ::qv::CallbackCallReason) {}                                  \
    virtual void P##_Changed(void*, ::qv::CallbackCallReason) {}                                   \
                                                                                                    \
private:                                                                                            \
    static ::qv::PropertyHandlerPair P##_Handlers() {                                              \
        return {&::qv::HandlerDispatch<C, &C::C##_##P##Changing, &C::P##_Changing>,                \
                &::qv::HandlerDispatch<C, &C::C##_##P##Changed, &C::P##_Changed>};                 \
    }

// The two empty virtual hooks of a property that the class itself does not
// watch; a subclass may still override them.
#define QV_PROPERTY_HOOKS(P)                                                                        \
public:                                                                                             \
    virtual void P##_Changing(void*, ::qv::CallbackCallReason) {}                                  \
    virtual void P##_Changed(void*, ::qv::CallbackCallReason) {}                                   \
                                                                                                    \
private:

#define QV_COLLECTION_HANDLERS(C, CollectionType, N)                                                 \
    void N##_ItemAdded(const CollectionType::value_type& item, int32_t index);                       \
    void N##_ItemRemoved(const CollectionType::value_type& item, int32_t index);                     \
    static ::qv::CollectionHandlerPair N##_CollectionHandlers() {                                    \
        return {&::qv::CollectionHandlerDispatch<C, CollectionType, &C::N##_ItemRemoved>,            \
                &::qv::CollectionHandlerDispatch<C, CollectionType, &C::N##_ItemAdded>};             \
    }

// Opens the trace scope of the enclosing function under its system name.
#define QV_TRACE_SCOPE(...) ::qv::CTraceFuncCall qvTraceScope_(TraceRecord(), __VA_ARGS__)
