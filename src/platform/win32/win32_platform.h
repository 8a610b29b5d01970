// The Windows platform: the product. Every port is a thin forward to the
// system's own interfaces (Core Audio, Win32, Media Foundation, WinHTTP,
// WinRT, the registry, named pipes).
#pragma once

#include <mutex>

#include "platform/platform.h"

namespace qv {

class CWin32Platform : public CAddReleaseRef, public IPlatform {
public:
    CWin32Platform();

    std::wstring Name() const override { return L"windows"; }
    CRefPtr<IMessageLoop> CreateMessageLoop() override;
    HRESULT CreateDeviceEnumerator(CRefPtr<IMMDeviceEnumerator>& enumerator) override;

    CRefPtr<ISystem> System() override { return m_system; }
    CRefPtr<IDebugOutput> DebugOutput() override { return m_debugOutput; }
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

private:
    // Made once, here, and handed out to any thread: the ports themselves
    // hold no state that needs a lock.
    const CRefPtr<ISystem> m_system;
    const CRefPtr<IDebugOutput> m_debugOutput;
    const CRefPtr<IPipes> m_pipes;
    const CRefPtr<IRegistry> m_registry;
    const CRefPtr<ISync> m_sync;
    const CRefPtr<IPower> m_power;  // one, for its table of registrations
    const CRefPtr<IProcesses> m_processes;
    const CRefPtr<IFiles> m_files;
    const CRefPtr<IResources> m_resources;
    const CRefPtr<IMediaFoundation> m_media;
    const CRefPtr<IHttp> m_http;
    const CRefPtr<IPluginLoader> m_plugins;
    const CRefPtr<IAppServices> m_appServices;
    std::mutex m_vendorMutex;
    CRefPtr<IVendorApi> m_vendorApi;  // the library loaded on first use, kept for the platform's life
};

}  // namespace qv
