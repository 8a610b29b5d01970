// The one process-wide platform object: it hands out the ports. main sets it
// to the machine's platform (Windows or Linux); each test fixture sets the
// simulated one. Nothing else in the program is global.
//
// A port that a platform cannot provide comes back null, and the platform has
// said so on standard error, once per port, naming the port and itself.
#pragma once

#include <string>

#include "core/ref.h"
#include "platform/app_service.h"
#include "platform/audio.h"
#include "platform/debug_output.h"
#include "platform/files.h"
#include "platform/http.h"
#include "platform/ipc.h"
#include "platform/loop.h"
#include "platform/media.h"
#include "platform/plugin.h"
#include "platform/power.h"
#include "platform/process.h"
#include "platform/registry.h"
#include "platform/resources.h"
#include "platform/sync.h"
#include "platform/system.h"
#include "platform/types.h"
#include "platform/vendor_api.h"

namespace qv {

struct IPlatform : virtual IAddReleaseRef {
    // "windows", "linux" or "simulated".
    virtual std::wstring Name() const = 0;

    // A message loop bound to the calling thread.
    virtual CRefPtr<IMessageLoop> CreateMessageLoop() = 0;
    // CoCreateInstance of MMDeviceEnumerator.
    virtual HRESULT CreateDeviceEnumerator(CRefPtr<IMMDeviceEnumerator>& enumerator) = 0;

    virtual CRefPtr<ISystem> System() = 0;
    virtual CRefPtr<IDebugOutput> DebugOutput() = 0;
    virtual CRefPtr<IPipes> Pipes() = 0;
    virtual CRefPtr<IRegistry> Registry() = 0;
    virtual CRefPtr<ISync> Sync() = 0;
    virtual CRefPtr<IPower> Power() = 0;
    virtual CRefPtr<IProcesses> Processes() = 0;
    virtual CRefPtr<IFiles> Files() = 0;
    virtual CRefPtr<IResources> Resources() = 0;
    virtual CRefPtr<IMediaFoundation> Media() = 0;
    virtual CRefPtr<IHttp> Http() = 0;
    virtual CRefPtr<IAppServices> AppServices() = 0;
    virtual CRefPtr<IVendorApi> VendorApi() = 0;
    virtual CRefPtr<IPluginLoader> Plugins() = 0;
};

// Sets the process's platform; null clears it.
void SetPlatform(CRefPtr<IPlatform> platform);
// The process's platform, or null before main (or a fixture) has set one.
CRefPtr<IPlatform> GetPlatform();

// Writes "<platform>: the <port> port is unavailable on this platform" to
// standard error the first time it is called for that pair, and returns null.
std::nullptr_t ReportPortUnavailable(const std::wstring& platformName, const wchar_t* portName);

}  // namespace qv
