// The simulated platform: audio, processes, power, registry and the rest in
// memory, driven by a test; callbacks come from threads of the simulation,
// never from the caller's. Pipes stay real: they are the machine's own.
#pragma once

#include <mutex>

#include "platform/platform.h"
#include "platform/sim/sim_app_services.h"
#include "platform/sim/sim_audio.h"
#include "platform/sim/sim_debug_output.h"
#include "platform/sim/sim_files.h"
#include "platform/sim/sim_http.h"
#include "platform/sim/sim_media.h"
#include "platform/sim/sim_power.h"
#include "platform/sim/sim_processes.h"
#include "platform/sim/sim_registry.h"
#include "platform/sim/sim_resources.h"
#include "platform/sim/sim_sync.h"
#include "platform/sim/sim_system.h"
#include "platform/sim/sim_vendor_api.h"

namespace qv {

class CSimPlatform : public CAddReleaseRef, public IPlatform {
public:
    CSimPlatform();
    // Ends the machine's threads and lets go of the model's registrations.
    ~CSimPlatform() override;

    std::wstring Name() const override { return L"simulated"; }
    CRefPtr<IMessageLoop> CreateMessageLoop() override;
    HRESULT CreateDeviceEnumerator(CRefPtr<IMMDeviceEnumerator>& enumerator) override;

    CRefPtr<ISystem> System() override { return SimSystem; }
    CRefPtr<IDebugOutput> DebugOutput() override { return SimDebugOutput; }
    CRefPtr<IPipes> Pipes() override;
    CRefPtr<IRegistry> Registry() override;
    CRefPtr<ISync> Sync() override;
    CRefPtr<IPower> Power() override;
    CRefPtr<IProcesses> Processes() override;
    CRefPtr<IFiles> Files() override;
    CRefPtr<IResources> Resources() override;
    CRefPtr<IMediaFoundation> Media() override;
    CRefPtr<IHttp> Http() override;
    CRefPtr<IAppServices> AppServices() override;
    CRefPtr<IVendorApi> VendorApi() override;
    CRefPtr<IPluginLoader> Plugins() override;

    // Before the ports that record into it.
    const CRefPtr<CSimJournal> SimJournal;
    const CRefPtr<CSimSystem> SimSystem;
    const CRefPtr<CSimDebugOutput> SimDebugOutput;
    const CRefPtr<CSimAudio> SimAudio;
    const CRefPtr<CSimSync> SimSync;  // before SimProcesses, which shares its kernel
    const CRefPtr<CSimProcesses> SimProcesses;
    const CRefPtr<CSimPower> SimPower;
    const CRefPtr<CSimRegistry> SimRegistry;
    const CRefPtr<CSimFiles> SimFiles;
    const CRefPtr<CSimResources> SimResources;
    const CRefPtr<CSimMedia> SimMedia;
    const CRefPtr<CSimHttp> SimHttp;
    const CRefPtr<CSimAppServices> SimAppServices;
    const CRefPtr<CSimVendorApi> SimVendorApi;

private:
    CRefPtr<IPlatform> m_native;  // for what stays real: pipes
};

}  // namespace qv
