// Loading a library at run time from a path (LoadLibraryW / dlopen) and
// finding its exports (GetProcAddress / dlsym).
#pragma once

#include <string>

#include "core/ref.h"
#include "platform/types.h"

namespace qv {

// A loaded library. FreeLibrary unloads it; releasing the object without
// that leaves it loaded, as a module handle would.
struct ILoadedModule : virtual IAddReleaseRef {
    // Null when the export is missing; LastError then tells why.
    virtual void* GetProcAddress(const char* name) = 0;
    virtual Win32Error LastError() const = 0;
    virtual void FreeLibrary() = 0;
};

struct IPluginLoader : virtual IAddReleaseRef {
    // LoadLibraryW of a full path; no search path is used. 0 or an error number.
    virtual Win32Error LoadLibrary(const std::wstring& path, CRefPtr<ILoadedModule>& module) = 0;
    // The file name of the plug-in library on this platform, from its base
    // name: "ZKAICC64" becomes "ZKAICC64.dll" or "ZKAICC64.so".
    virtual std::wstring LibraryFileName(const std::wstring& baseName) const = 0;
};

}  // namespace qv
