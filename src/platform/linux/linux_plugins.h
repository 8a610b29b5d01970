// Libraries loaded at run time on Linux: dlopen of a full path, dlsym.
#pragma once

#include "platform/plugin.h"

namespace qv {

class CLinuxPluginLoader : public CAddReleaseRef, public IPluginLoader {
public:
    Win32Error LoadLibrary(const std::wstring& path, CRefPtr<ILoadedModule>& module) override;
    std::wstring LibraryFileName(const std::wstring& baseName) const override { return baseName + L".so"; }
};

}  // namespace qv
