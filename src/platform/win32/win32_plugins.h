// Libraries loaded at run time on Windows: LoadLibraryW of a full path,
// GetProcAddress, FreeLibrary.
#pragma once

#include "platform/plugin.h"

namespace qv {

class CWin32PluginLoader : public CAddReleaseRef, public IPluginLoader {
public:
    Win32Error LoadLibrary(const std::wstring& path, CRefPtr<ILoadedModule>& module) override;
    std::wstring LibraryFileName(const std::wstring& baseName) const override { return baseName + L".dll"; }
};

}  // namespace qv
