// The ten exported C functions of the endpoint parameter library ORBENT64,
// as the vendor library port resolves them by name and as the reference
// library in tools/plugins defines them. C calling convention; wide strings
// are wchar_t, which the library and the port share because one compiler
// builds both on each platform.
#pragma once

#include <cstdint>

#if defined(ORBENT_BUILDING_LIBRARY) && defined(_WIN32)
#define ORBENT_EXPORT extern "C" __declspec(dllexport)
#elif defined(ORBENT_BUILDING_LIBRARY)
#define ORBENT_EXPORT extern "C" __attribute__((visibility("default")))
#else
#define ORBENT_EXPORT extern "C"
#endif

// Null is failure.
ORBENT_EXPORT void* ORBAPOAPI_InitializeAPI(void);
ORBENT_EXPORT void* ORBAPOAPI_GetEndpoint(void* api, const wchar_t* endpointId, int32_t zero);
ORBENT_EXPORT int32_t ORBAPOAPI_SetAPOType(void* endpoint, const char* type);
// Not 0 on success. *size on entry is the room of value, on return what was
// written (or, when the room was too small, what it would need).
ORBENT_EXPORT int32_t ORBAPOAPI_GetUserParameterEx(void* endpoint, int32_t first, int32_t second, int32_t third,
                                                   void* value, uint32_t* size, int32_t zero1, int32_t zero2);
ORBENT_EXPORT int32_t ORBAPOAPI_SetUserParameterEx(void* endpoint, int32_t first, int32_t second, int32_t third,
                                                   const void* value, uint32_t size, int32_t one, int32_t zero1,
                                                   int32_t zero2, int32_t zero3);
ORBENT_EXPORT int32_t ORBAPOAPI_FreeEndpoint(void* endpoint);
ORBENT_EXPORT int32_t ORBAPOAPI_FreeAPI(void* api);
// The code of the last failure; apiOrNull may be null.
ORBENT_EXPORT uint32_t ORBAPOAPI_GetLastError(void* apiOrNull);
// 1 when the browser's default profile is there and the add-on is missing
// from it, which is the one answer on which the add-on is offered; 2 when it
// is installed; 0 when the browser or its profile is unknown.
ORBENT_EXPORT int32_t ORBMISCAPI_IsBrowserExtensionInstalled(const wchar_t* vendor, const wchar_t* browser,
                                                             const wchar_t* extensionId);
// 1 when the browser was started.
ORBENT_EXPORT int32_t ORBMISCAPI_OpenBrowser(const wchar_t* vendor, const wchar_t* browser, const wchar_t* arguments,
                                             int32_t one);
