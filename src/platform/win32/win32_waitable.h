// What the ports of this platform hand out as waitable (events, named
// mutexes, processes) is a kernel handle underneath. The wait and the
// process-exit thread reach it through this interface; an object of another
// platform does not have it and is refused as an invalid handle.
#pragma once

#include "platform/win32/windows_api.h"

namespace qv {

struct IWin32Waitable {
    // Owned by the object, valid for its life.
    virtual HANDLE WaitHandle() const = 0;

protected:
    ~IWin32Waitable() = default;
};

}  // namespace qv
