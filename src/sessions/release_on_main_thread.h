// A platform thread that locks a model object in order to post for it may,
// by the time it is done, hold the object's last reference: the main thread
// can let go of the object meanwhile. The object must not end there, since
// its end takes down subscriptions on other model objects, which belong to
// the main thread. So such a thread hands what it locked over to the main
// thread instead of dropping it.
#pragma once

#include <memory>
#include <tuple>
#include <utility>

#include "core/async.h"

namespace qv {

template <class... Objects>
void ReleaseOnMainThread(const CRefPtr<IAsyncActionDispatcher>& dispatcher, CRefPtr<Objects>&&... objects) {
    // Shared, and emptied by the main thread when it gets to it: whichever
    // thread drops the last copy of the posted function, the references go
    // on the main thread. If the post is refused (the loop has ended), they
    // go here, with nobody left on the main thread to mind.
    auto held = std::make_shared<std::tuple<CRefPtr<Objects>...>>(std::move(objects)...);
    if (dispatcher) dispatcher->Post([held] { *held = std::tuple<CRefPtr<Objects>...>(); });
}

}  // namespace qv
