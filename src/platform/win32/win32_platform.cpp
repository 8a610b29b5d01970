#include "platform/win32/win32_platform.h"

#include "platform/native.h"
#include "platform/vendor_library_api.h"
#include "platform/win32/win32_app_services.h"
#include "platform/win32/win32_debug_output.h"
#include "platform/win32/win32_device_enumerator.h"
#include "platform/win32/win32_files.h"
#include "platform/win32/win32_http.h"
#include "platform/win32/win32_media.h"
#include "platform/win32/win32_message_loop.h"
#include "platform/win32/win32_plugins.h"
#include "platform/win32/win32_power.h"
#include "platform/win32/win32_processes.h"
#include "platform/win32/win32_registry.h"
#include "platform/win32/win32_resources.h"
#include "platform/win32/win32_sync.h"
#include "platform/win32/win32_system.h"
#include "platform/win32/win32_vendor_api.h"
#include "platform/win32/windows_api.h"

namespace qv {

CRefPtr<IPlatform> CreateNativePlatform() { return MakeRef<CWin32Platform>(); }

CWin32Platform::CWin32Platform()
    : m_system(MakeRef<CWin32System>()),
      m_debugOutput(MakeRef<CWin32DebugOutput>()),
      m_pipes(CreateNativePipes()),
      m_registry(MakeRef<CWin32Registry>()),
      m_sync(MakeRef<CWin32Sync>()),
      m_power(MakeRef<CWin32Power>()),
      m_processes(MakeRef<CWin32Processes>()),
      m_files(MakeRef<CWin32Files>()),
      m_resources(MakeRef<CWin32Resources>()),
      m_media(MakeRef<CWin32MediaFoundation>()),
      m_http(MakeRef<CWin32Http>()),
      m_plugins(MakeRef<CWin32PluginLoader>()),
      m_appServices(MakeRef<CWin32AppServices>()) {}

CRefPtr<IMessageLoop> CWin32Platform::CreateMessageLoop() { return MakeRef<CWin32MessageLoop>(); }

HRESULT CWin32Platform::CreateDeviceEnumerator(CRefPtr<IMMDeviceEnumerator>& enumerator) {
    return CreateWin32DeviceEnumerator(enumerator);
}

CRefPtr<IPipes> CWin32Platform::Pipes() { return m_pipes; }
CRefPtr<IRegistry> CWin32Platform::Registry() { return m_registry; }
CRefPtr<ISync> CWin32Platform::Sync() { return m_sync; }
CRefPtr<IPower> CWin32Platform::Power() { return m_power; }
CRefPtr<IProcesses> CWin32Platform::Processes() { return m_processes; }
CRefPtr<IFiles> CWin32Platform::Files() { return m_files; }
CRefPtr<IResources> CWin32Platform::Resources() { return m_resources; }
CRefPtr<IMediaFoundation> CWin32Platform::Media() { return m_media; }
CRefPtr<IHttp> CWin32Platform::Http() { return m_http; }
CRefPtr<IAppServices> CWin32Platform::AppServices() { return m_appServices; }
// Beside the program; a system without the library gets a port whose every
// call fails, as the model expects of such a system.
CRefPtr<IVendorApi> CWin32Platform::VendorApi() {
    std::lock_guard lock(m_vendorMutex);
    if (!m_vendorApi) {
        std::wstring executable;
        m_system->GetModuleFileName(executable);
        m_vendorApi = CreateWin32VendorApi(ProgramFolderOf(executable), m_debugOutput);
    }
    return m_vendorApi;
}
CRefPtr<IPluginLoader> CWin32Platform::Plugins() { return m_plugins; }

}  // namespace qv
