#include "platform/sim/sim_platform.h"

#include "platform/codes.h"
#include "platform/native.h"
#include "platform/portable_message_loop.h"

namespace qv {

CSimPlatform::CSimPlatform()
    : SimJournal(MakeRef<CSimJournal>()),
      SimSystem(MakeRef<CSimSystem>(SimJournal)),
      SimDebugOutput(MakeRef<CSimDebugOutput>()),
      SimAudio(MakeRef<CSimAudio>(SimJournal)),
      SimSync(MakeRef<CSimSync>(SimJournal)),
      SimProcesses(MakeRef<CSimProcesses>(SimSync->Kernel(), SimSystem)),
      SimPower(MakeRef<CSimPower>()),
      SimRegistry(MakeRef<CSimRegistry>(SimJournal)),
      SimFiles(MakeRef<CSimFiles>(SimJournal)),
      SimResources(MakeRef<CSimResources>(SimJournal)),
      SimMedia(MakeRef<CSimMedia>()),
      SimHttp(MakeRef<CSimHttp>()),
      SimAppServices(MakeRef<CSimAppServices>()),
      SimVendorApi(MakeRef<CSimVendorApi>()),
      m_native(CreateNativePlatform()) {}

CSimPlatform::~CSimPlatform() {
    // The model may still hold a port (a cycle through a wait thread's
    // function, say), so the machine is stopped here and not left to the
    // ports' own ends.
    SimAudio->Shutdown();
    SimPower->Shutdown();
    SimProcesses->Shutdown();
    SimSync->Shutdown();
    SimHttp->Shutdown();
    SimAppServices->Shutdown();
}

CRefPtr<IMessageLoop> CSimPlatform::CreateMessageLoop() { return MakeRef<CPortableMessageLoop>(); }

HRESULT CSimPlatform::CreateDeviceEnumerator(CRefPtr<IMMDeviceEnumerator>& enumerator) {
    return SimAudio->CreateDeviceEnumerator(enumerator);
}

CRefPtr<IPipes> CSimPlatform::Pipes() { return m_native->Pipes(); }
CRefPtr<IRegistry> CSimPlatform::Registry() { return SimRegistry; }
CRefPtr<ISync> CSimPlatform::Sync() { return SimSync; }
CRefPtr<IPower> CSimPlatform::Power() { return SimPower; }
CRefPtr<IProcesses> CSimPlatform::Processes() { return SimProcesses; }
CRefPtr<IFiles> CSimPlatform::Files() { return SimFiles; }
CRefPtr<IResources> CSimPlatform::Resources() { return SimResources; }
CRefPtr<IMediaFoundation> CSimPlatform::Media() { return SimMedia; }
CRefPtr<IHttp> CSimPlatform::Http() { return SimHttp; }
CRefPtr<IAppServices> CSimPlatform::AppServices() { return SimAppServices; }
CRefPtr<IVendorApi> CSimPlatform::VendorApi() { return SimVendorApi; }
// Libraries load for real: the plug-in and its test doubles are real files.
CRefPtr<IPluginLoader> CSimPlatform::Plugins() { return m_native->Plugins(); }

}  // namespace qv
