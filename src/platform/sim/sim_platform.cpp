#include "platform/sim/sim_platform.h"

#include "platform/codes.h"
#include "platform/native.h"
#include "platform/portable_message_loop.h"

namespace qv {

CSimPlatform::CSimPlatform()
    : SimSystem(MakeRef<CSimSystem>()), SimDebugOutput(MakeRef<CSimDebugOutput>()), m_native(CreateNativePlatform()) {}

CRefPtr<IMessageLoop> CSimPlatform::CreateMessageLoop() { return MakeRef<CPortableMessageLoop>(); }

HRESULT CSimPlatform::CreateDeviceEnumerator(CRefPtr<IMMDeviceEnumerator>& enumerator) {
    ReportPortUnavailable(Name(), L"audio");
    return E_NOTIMPL;
}

CRefPtr<IPipes> CSimPlatform::Pipes() { return m_native->Pipes(); }
CRefPtr<IRegistry> CSimPlatform::Registry() { return ReportPortUnavailable(Name(), L"registry"); }
CRefPtr<ISync> CSimPlatform::Sync() { return ReportPortUnavailable(Name(), L"synchronisation"); }
CRefPtr<IPower> CSimPlatform::Power() { return ReportPortUnavailable(Name(), L"power"); }
CRefPtr<IProcesses> CSimPlatform::Processes() { return ReportPortUnavailable(Name(), L"processes"); }
CRefPtr<IFiles> CSimPlatform::Files() { return ReportPortUnavailable(Name(), L"files"); }
CRefPtr<IResources> CSimPlatform::Resources() { return ReportPortUnavailable(Name(), L"resources"); }
CRefPtr<IMediaFoundation> CSimPlatform::Media() { return ReportPortUnavailable(Name(), L"media"); }
CRefPtr<IHttp> CSimPlatform::Http() { return ReportPortUnavailable(Name(), L"HTTP"); }
CRefPtr<IAppServices> CSimPlatform::AppServices() { return ReportPortUnavailable(Name(), L"app service"); }
CRefPtr<IVendorApi> CSimPlatform::VendorApi() { return ReportPortUnavailable(Name(), L"vendor library"); }
CRefPtr<IPluginLoader> CSimPlatform::Plugins() { return ReportPortUnavailable(Name(), L"plug-in"); }

}  // namespace qv
