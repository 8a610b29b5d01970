// The Linux platform: PulseAudio or PipeWire for audio, /proc for processes,
// local sockets for pipes, files for the registry, FFmpeg for media, the
// session bus for the companion app.
#pragma once

#include <mutex>

#include "platform/platform.h"

namespace qv {

class CLinuxPlatform : public CAddReleaseRef, public IPlatform {
public:
    CLinuxPlatform();

    std::wstring Name() const override { return L"linux"; }
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
    std::mutex m_mutex;  // ports are made on first use, possibly from several threads
    CRefPtr<ISystem> m_system;
    CRefPtr<IDebugOutput> m_debugOutput;
    CRefPtr<IPipes> m_pipes;
    CRefPtr<IRegistry> m_registry;
    CRefPtr<ISync> m_sync;
    CRefPtr<IPower> m_power;
    CRefPtr<IProcesses> m_processes;
    CRefPtr<IFiles> m_files;
    CRefPtr<IMediaFoundation> m_media;
    CRefPtr<IHttp> m_http;
    CRefPtr<IAppServices> m_appServices;
    CRefPtr<IPluginLoader> m_plugins;
    CRefPtr<IVendorApi> m_vendorApi;  // the library loaded on first use, kept for the platform's life
};

}  // namespace qv
