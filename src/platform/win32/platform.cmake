# Libraries of the Windows platform beyond the ones that every mingw-w64
# program gets. CoCreateGuid lives in ole32.
target_link_libraries(qv_platform_native PUBLIC ole32)
# Core Audio and COM (ole32: CoCreateInstance, CoTaskMemFree,
# PropVariantClear), power events (powrprof), the mutexes' security
# (advapi32), the known folders (shell32; their ids are in uuid), Media
# Foundation (mfplat; the source reader in mfreadwrite, the attribute and
# format ids in mfuuid), the variant conversions (propsys) and the HTTP port
# (winhttp).
target_link_libraries(qv_platform_native PUBLIC ole32 uuid powrprof advapi32 shell32 mfplat mfreadwrite mfuuid propsys
                                                 winhttp)
# The app-service port: activation and strings of the Windows Runtime
# (runtimeobject) and the SHA-1 that derives the IIDs of its parameterized
# interfaces (bcrypt).
target_link_libraries(qv_platform_native PUBLIC runtimeobject bcrypt)
