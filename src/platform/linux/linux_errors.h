// The Win32 error number that stands for a C library errno, so that the
// model's failure texts print codes that mean the same on every platform.
#pragma once

#include "platform/types.h"

namespace qv {

// ERROR_PATH_NOT_FOUND, ERROR_ALREADY_EXISTS and the like; anything without
// a counterpart gives ERROR_GEN_FAILURE (31).
Win32Error Win32ErrorFromErrno(int error);

inline constexpr Win32Error kErrorPathNotFound = 3;
inline constexpr Win32Error kErrorTooManyOpenFiles = 4;
inline constexpr Win32Error kErrorNotEnoughMemory = 8;
inline constexpr Win32Error kErrorGenFailure = 31;
inline constexpr Win32Error kErrorFileExists = 80;
inline constexpr Win32Error kErrorDiskFull = 112;
inline constexpr Win32Error kErrorAlreadyExists = 183;
inline constexpr Win32Error kErrorBadExeFormat = 193;
inline constexpr Win32Error kErrorFileTooLarge = 223;
inline constexpr Win32Error kErrorNotOwner = 288;

}  // namespace qv
