#include "platform/linux/linux_platform.h"

#include "platform/codes.h"
#include "platform/linux/linux_debug_output.h"
#include "platform/linux/linux_system.h"
#include "platform/native.h"
#include "platform/portable_message_loop.h"

namespace qv {

CRefPtr<IPlatform> CreateNativePlatform() { return MakeRef<CLinuxPlatform>(); }

CLinuxPlatform::CLinuxPlatform()
    : m_system(MakeRef<CLinuxSystem>()), m_debugOutput(MakeRef<CLinuxDebugOutput>()) {}

CRefPtr<IMessageLoop> CLinuxPlatform::CreateMessageLoop() { return MakeRef<CPortableMessageLoop>(); }

HRESULT CLinuxPlatform::CreateDeviceEnumerator(CRefPtr<IMMDeviceEnumerator>& enumerator) {
    ReportPortUnavailable(Name(), L"audio");
    return E_NOTIMPL;
}

CRefPtr<IPipes> CLinuxPlatform::Pipes() { return ReportPortUnavailable(Name(), L"pipes"); }
CRefPtr<IRegistry> CLinuxPlatform::Registry() { return ReportPortUnavailable(Name(), L"registry"); }
CRefPtr<ISync> CLinuxPlatform::Sync() { return ReportPortUnavailable(Name(), L"synchronisation"); }
CRefPtr<IPower> CLinuxPlatform::Power() { return ReportPortUnavailable(Name(), L"power"); }
CRefPtr<IProcesses> CLinuxPlatform::Processes() { return ReportPortUnavailable(Name(), L"processes"); }
CRefPtr<IFiles> CLinuxPlatform::Files() { return ReportPortUnavailable(Name(), L"files"); }
CRefPtr<IResources> CLinuxPlatform::Resources() { return ReportPortUnavailable(Name(), L"resources"); }
CRefPtr<IMediaFoundation> CLinuxPlatform::Media() { return ReportPortUnavailable(Name(), L"media"); }
CRefPtr<IHttp> CLinuxPlatform::Http() { return ReportPortUnavailable(Name(), L"HTTP"); }
CRefPtr<IAppServices> CLinuxPlatform::AppServices() { return ReportPortUnavailable(Name(), L"app service"); }
CRefPtr<IVendorApi> CLinuxPlatform::VendorApi() { return ReportPortUnavailable(Name(), L"vendor library"); }
CRefPtr<IPluginLoader> CLinuxPlatform::Plugins() { return ReportPortUnavailable(Name(), L"plug-in"); }

}  // namespace qv
