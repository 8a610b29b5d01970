#include "platform/linux/linux_platform.h"

#include "platform/codes.h"
#include "platform/embedded_resources.h"
#include "platform/linux/linux_app_services.h"
#include "platform/linux/linux_audio.h"
#include "platform/linux/linux_debug_output.h"
#include "platform/linux/linux_files.h"
#include "platform/linux/linux_http.h"
#include "platform/linux/linux_media.h"
#include "platform/linux/linux_plugins.h"
#include "platform/linux/linux_power.h"
#include "platform/linux/linux_processes.h"
#include "platform/linux/linux_registry.h"
#include "platform/linux/linux_sync.h"
#include "platform/linux/linux_system.h"
#include "platform/linux/linux_vendor_api.h"
#include "platform/native.h"
#include "platform/portable_message_loop.h"
#include "platform/vendor_library_api.h"

namespace qv {

CRefPtr<IPlatform> CreateNativePlatform() { return MakeRef<CLinuxPlatform>(); }

CLinuxPlatform::CLinuxPlatform() : m_system(MakeRef<CLinuxSystem>()), m_debugOutput(MakeRef<CLinuxDebugOutput>()) {}

CRefPtr<IMessageLoop> CLinuxPlatform::CreateMessageLoop() { return MakeRef<CPortableMessageLoop>(); }

// One connection to the sound server per enumerator (linux_audio.h).
HRESULT CLinuxPlatform::CreateDeviceEnumerator(CRefPtr<IMMDeviceEnumerator>& enumerator) {
    enumerator = MakeRef<CLinuxAudioEnumerator>();
    return S_OK;
}

CRefPtr<IPipes> CLinuxPlatform::Pipes() {
    std::lock_guard lock(m_mutex);
    if (!m_pipes) m_pipes = CreateNativePipes();
    return m_pipes;
}
CRefPtr<IRegistry> CLinuxPlatform::Registry() {
    std::lock_guard lock(m_mutex);
    if (!m_registry) m_registry = MakeRef<CLinuxRegistry>(CLinuxRegistry::DefaultDirectory());
    return m_registry;
}
CRefPtr<ISync> CLinuxPlatform::Sync() {
    std::lock_guard lock(m_mutex);
    if (!m_sync) m_sync = MakeRef<CLinuxSync>();
    return m_sync;
}
CRefPtr<IPower> CLinuxPlatform::Power() {
    std::lock_guard lock(m_mutex);
    if (!m_power) m_power = MakeRef<CLinuxPower>();
    return m_power;
}
CRefPtr<IProcesses> CLinuxPlatform::Processes() {
    std::lock_guard lock(m_mutex);
    if (!m_processes) m_processes = MakeRef<CLinuxProcesses>();
    return m_processes;
}
CRefPtr<IFiles> CLinuxPlatform::Files() {
    std::lock_guard lock(m_mutex);
    if (!m_files) m_files = MakeRef<CLinuxFiles>();
    return m_files;
}
// The resources are compiled into the program (embedded_resources.h).
CRefPtr<IResources> CLinuxPlatform::Resources() { return MakeRef<CEmbeddedResources>(); }
// FFmpeg keeps no state between readers, so one port serves them all.
CRefPtr<IMediaFoundation> CLinuxPlatform::Media() {
    std::lock_guard lock(m_mutex);
    if (!m_media) m_media = MakeRef<CLinuxMediaFoundation>();
    return m_media;
}
// Every request has a transfer of its own, so one port serves them all.
CRefPtr<IHttp> CLinuxPlatform::Http() {
    std::lock_guard lock(m_mutex);
    if (!m_http) m_http = MakeRef<CLinuxHttp>();
    return m_http;
}
// Every call opens what it needs, so one port serves them all.
CRefPtr<IAppServices> CLinuxPlatform::AppServices() {
    std::lock_guard lock(m_mutex);
    if (!m_appServices) m_appServices = MakeRef<CLinuxAppServices>();
    return m_appServices;
}
// Beside the program, as on Windows; a system without the library gets a
// port whose every call fails, as the model expects of such a system.
CRefPtr<IVendorApi> CLinuxPlatform::VendorApi() {
    std::lock_guard lock(m_mutex);
    if (!m_vendorApi) {
        std::wstring executable;
        m_system->GetModuleFileName(executable);
        m_vendorApi = CreateLinuxVendorApi(ProgramFolderOf(executable), m_debugOutput);
    }
    return m_vendorApi;
}
CRefPtr<IPluginLoader> CLinuxPlatform::Plugins() {
    std::lock_guard lock(m_mutex);
    if (!m_plugins) m_plugins = MakeRef<CLinuxPluginLoader>();
    return m_plugins;
}

}  // namespace qv
