#include "platform/linux/linux_plugins.h"

#include <cstdio>
#include <dlfcn.h>
#include <unistd.h>

#include "core/text.h"
#include "platform/codes.h"

namespace qv {

namespace {

class CLinuxLoadedModule : public CAddReleaseRef, public ILoadedModule {
public:
    explicit CLinuxLoadedModule(void* handle) : m_handle(handle) {}
    void* GetProcAddress(const char* name) override {
        if (!m_handle) return nullptr;
        void* symbol = ::dlsym(m_handle, name);
        m_lastError = symbol ? 0 : ERROR_PROC_NOT_FOUND;
        return symbol;
    }
    Win32Error LastError() const override { return m_lastError; }
    void FreeLibrary() override {
        if (m_handle) ::dlclose(m_handle);
        m_handle = nullptr;
    }

private:
    void* m_handle;
    Win32Error m_lastError = 0;
};

}  // namespace

Win32Error CLinuxPluginLoader::LoadLibrary(const std::wstring& path, CRefPtr<ILoadedModule>& module) {
    const std::string file = WideToUtf8(path);
    // dlopen searches the library path for a bare name; only a path counts.
    if (file.find('/') == std::string::npos) return ERROR_MOD_NOT_FOUND;
    if (::access(file.c_str(), F_OK) != 0) return ERROR_MOD_NOT_FOUND;
    void* handle = ::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        // A file that is there but is no loadable library (ERROR_BAD_EXE_FORMAT).
        return 193;
    }
    module = MakeRef<CLinuxLoadedModule>(handle);
    return 0;
}

}  // namespace qv
