// Result codes, states and flags that the model tests, with the platform's
// names and values. Model code only: on Windows these names are macros of
// <windows.h>, so an implementation file that includes that header uses the
// platform's own definitions and never includes this one.
#pragma once

#include "platform/types.h"

#if defined(S_OK) || defined(ERROR_PIPE_BUSY) || defined(DEVICE_STATE_ACTIVE)
#error "platform/codes.h is for model code; Windows implementation files use <windows.h> instead"
#endif

namespace qv {

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001u);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002u);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003u);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);
inline constexpr HRESULT E_ACCESSDENIED = static_cast<HRESULT>(0x80070005u);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057u);
inline constexpr HRESULT E_NOTFOUND = static_cast<HRESULT>(0x80070490u);
inline constexpr HRESULT AUDCLNT_E_DEVICE_INVALIDATED = static_cast<HRESULT>(0x88890004u);
inline constexpr HRESULT AUDCLNT_E_SERVICE_NOT_RUNNING = static_cast<HRESULT>(0x88890010u);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000Eu);
inline constexpr HRESULT DISP_E_TYPEMISMATCH = static_cast<HRESULT>(0x80020005u);

// Media Foundation's results (mferror.h).
inline constexpr HRESULT MF_E_INVALIDREQUEST = static_cast<HRESULT>(0xC00D36B2u);
inline constexpr HRESULT MF_E_INVALIDSTREAMNUMBER = static_cast<HRESULT>(0xC00D36B3u);
inline constexpr HRESULT MF_E_INVALIDMEDIATYPE = static_cast<HRESULT>(0xC00D36B4u);
inline constexpr HRESULT MF_E_INVALIDTYPE = static_cast<HRESULT>(0xC00D36BDu);
inline constexpr HRESULT MF_E_UNSUPPORTED_BYTESTREAM_TYPE = static_cast<HRESULT>(0xC00D36C4u);
inline constexpr HRESULT MF_E_ATTRIBUTENOTFOUND = static_cast<HRESULT>(0xC00D36E6u);
inline constexpr HRESULT MF_E_INVALID_FILE_FORMAT = static_cast<HRESULT>(0xC00D3E8Cu);
inline constexpr HRESULT MF_E_TOPO_CODEC_NOT_FOUND = static_cast<HRESULT>(0xC00D5212u);

inline constexpr Win32Error ERROR_SUCCESS = 0;
inline constexpr Win32Error ERROR_FILE_NOT_FOUND = 2;
inline constexpr Win32Error ERROR_ACCESS_DENIED = 5;
inline constexpr Win32Error ERROR_INVALID_HANDLE = 6;
inline constexpr Win32Error ERROR_INVALID_PARAMETER = 87;
inline constexpr Win32Error ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr Win32Error ERROR_MORE_DATA = 234;
inline constexpr Win32Error ERROR_PIPE_BUSY = 231;
inline constexpr Win32Error ERROR_NO_DATA = 232;
inline constexpr Win32Error ERROR_PIPE_NOT_CONNECTED = 233;
inline constexpr Win32Error ERROR_BROKEN_PIPE = 109;
inline constexpr Win32Error ERROR_SEM_TIMEOUT = 121;
inline constexpr Win32Error ERROR_FILENAME_EXCED_RANGE = 206;
inline constexpr Win32Error ERROR_PIPE_CONNECTED = 535;
inline constexpr Win32Error ERROR_ARITHMETIC_OVERFLOW = 534;
inline constexpr Win32Error ERROR_PROC_NOT_FOUND = 127;
inline constexpr Win32Error ERROR_MOD_NOT_FOUND = 126;
inline constexpr Win32Error ERROR_CALL_NOT_IMPLEMENTED = 120;
inline constexpr Win32Error ERROR_INVALID_FUNCTION = 1;
inline constexpr Win32Error ERROR_NOT_SUPPORTED = 50;
inline constexpr Win32Error ERROR_ALREADY_EXISTS = 183;
inline constexpr Win32Error ERROR_RESOURCE_TYPE_NOT_FOUND = 1813;
inline constexpr Win32Error ERROR_RESOURCE_NAME_NOT_FOUND = 1814;
inline constexpr Win32Error ERROR_NEGATIVE_SEEK = 131;
inline constexpr Win32Error ERROR_DIRECTORY = 267;
inline constexpr Win32Error ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr Win32Error ERROR_SERVICE_NOT_ACTIVE = 1062;
inline constexpr Win32Error ERROR_TIMEOUT = 1460;

// WinHTTP's errors (winhttp.h), which the HTTP port gives on every platform.
inline constexpr Win32Error ERROR_WINHTTP_TIMEOUT = 12002;
inline constexpr Win32Error ERROR_WINHTTP_INTERNAL_ERROR = 12004;
inline constexpr Win32Error ERROR_WINHTTP_INVALID_URL = 12005;
inline constexpr Win32Error ERROR_WINHTTP_UNRECOGNIZED_SCHEME = 12006;
inline constexpr Win32Error ERROR_WINHTTP_NAME_NOT_RESOLVED = 12007;
inline constexpr Win32Error ERROR_WINHTTP_OPERATION_CANCELLED = 12017;
inline constexpr Win32Error ERROR_WINHTTP_INCORRECT_HANDLE_STATE = 12019;
inline constexpr Win32Error ERROR_WINHTTP_CANNOT_CONNECT = 12029;
inline constexpr Win32Error ERROR_WINHTTP_CONNECTION_ERROR = 12030;
inline constexpr Win32Error ERROR_WINHTTP_INVALID_SERVER_RESPONSE = 12152;
inline constexpr Win32Error ERROR_WINHTTP_REDIRECT_FAILED = 12156;
inline constexpr Win32Error ERROR_WINHTTP_SECURE_FAILURE = 12175;

// GetFileAttributesW's answers.
inline constexpr uint32_t INVALID_FILE_ATTRIBUTES = 0xFFFFFFFFu;
inline constexpr uint32_t FILE_ATTRIBUTE_DIRECTORY = 0x10;
inline constexpr uint32_t FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr uint32_t FILE_ATTRIBUTE_REPARSE_POINT = 0x400;

inline constexpr uint32_t DEVICE_STATE_ACTIVE = 0x1;
inline constexpr uint32_t DEVICE_STATE_DISABLED = 0x2;
inline constexpr uint32_t DEVICE_STATE_NOTPRESENT = 0x4;
inline constexpr uint32_t DEVICE_STATE_UNPLUGGED = 0x8;
inline constexpr uint32_t DEVICE_STATEMASK_ALL = 0xF;

inline constexpr uint32_t STGM_READ = 0;
inline constexpr uint32_t CLSCTX_ALL = 23;

inline constexpr uint32_t PBT_APMSUSPEND = 4;
inline constexpr uint32_t PBT_APMRESUMEAUTOMATIC = 18;

inline constexpr uint32_t WM_QUIT = 18;
inline constexpr uint32_t WM_USER = 0x400;

}  // namespace qv
