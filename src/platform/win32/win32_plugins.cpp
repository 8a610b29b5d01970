#include "platform/win32/win32_plugins.h"

#include "platform/win32/windows_api.h"

namespace qv {

namespace {

class CWin32LoadedModule : public CAddReleaseRef, public ILoadedModule {
public:
    explicit CWin32LoadedModule(HMODULE module) : m_module(module) {}
    void* GetProcAddress(const char* name) override {
        if (!m_module) return nullptr;
        FARPROC proc = ::GetProcAddress(m_module, name);
        m_lastError = proc ? 0 : ::GetLastError();
        return reinterpret_cast<void*>(proc);
    }
    Win32Error LastError() const override { return m_lastError; }
    void FreeLibrary() override {
        if (m_module) ::FreeLibrary(m_module);
        m_module = nullptr;
    }

private:
    HMODULE m_module;
    Win32Error m_lastError = 0;
};

}  // namespace

Win32Error CWin32PluginLoader::LoadLibrary(const std::wstring& path, CRefPtr<ILoadedModule>& module) {
    HMODULE handle = ::LoadLibraryW(path.c_str());
    if (!handle) return ::GetLastError();
    module = MakeRef<CWin32LoadedModule>(handle);
    return 0;
}

}  // namespace qv
