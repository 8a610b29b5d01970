// The invitation to personalise a newly connected device. The device decides
// when it is due; what shows it (a toast of the companion app) comes from the
// prompts subsystem, which installs the factory at start. Without a factory a
// device that would invite says so in the trace and shows nothing.
#pragma once

#include <functional>
#include <string>

#include "core/async.h"
#include "core/ref.h"
#include "core/trace.h"

namespace qv {

class CContentClassifierLog;

struct INewDeviceToast : virtual IAddReleaseRef {
    // True while the toast is offered and its answer not yet in.
    virtual bool IsRunning() const = 0;
    virtual void Start() = 0;
};

using NewDeviceToastFactory = std::function<CRefPtr<INewDeviceToast>(
    const CRefPtr<ITraceFuncCallTarget>&, const CRefPtr<IAsyncActionDispatcher>&,
    const CRefPtr<CContentClassifierLog>&, const std::wstring& endpointId)>;

// Process-wide, set by main (and by tests) before the device manager exists.
void SetNewDeviceToastFactory(NewDeviceToastFactory factory);
const NewDeviceToastFactory& GetNewDeviceToastFactory();

}  // namespace qv
