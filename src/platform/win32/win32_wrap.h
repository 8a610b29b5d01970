// A platform call that hands out a new COM object, and the port's object
// that stands for it: the out-parameter is emptied first, holds the wrapper
// only on success, and a success without an object is E_POINTER.
#pragma once

#include <utility>

#include "core/ref.h"
#include "platform/types.h"
#include "platform/win32/windows_api.h"

namespace qv {

template <class Wrapper, class PlatformInterface, class PortInterface, class Call>
HRESULT WrapNewObject(CRefPtr<PortInterface>& result, Call call) {
    result = nullptr;
    CRefPtr<PlatformInterface> created;
    HRESULT hr = call(created.put());
    if (FAILED(hr)) return hr;
    if (!created) return E_POINTER;
    result = MakeRef<Wrapper>(std::move(created));
    return hr;
}

}  // namespace qv
