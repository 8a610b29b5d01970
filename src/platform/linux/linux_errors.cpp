#include "platform/linux/linux_errors.h"

#include <cerrno>

#include "platform/codes.h"

namespace qv {

Win32Error Win32ErrorFromErrno(int error) {
    switch (error) {
        case 0: return ERROR_SUCCESS;
        case ENOENT: return ERROR_FILE_NOT_FOUND;
        case ENOTDIR: return kErrorPathNotFound;
        case EACCES:
        case EPERM:
        case EROFS:
        case EISDIR: return ERROR_ACCESS_DENIED;
        case EEXIST: return kErrorAlreadyExists;
        case EMFILE:
        case ENFILE: return kErrorTooManyOpenFiles;
        case ENOMEM: return kErrorNotEnoughMemory;
        case ENOSPC:
        case EDQUOT: return kErrorDiskFull;
        case ENAMETOOLONG: return ERROR_FILENAME_EXCED_RANGE;
        case EINVAL: return ERROR_INVALID_PARAMETER;
        case EBADF: return ERROR_INVALID_HANDLE;
        case ENOEXEC: return kErrorBadExeFormat;
        case EFBIG: return kErrorFileTooLarge;
        case ENOSYS: return ERROR_CALL_NOT_IMPLEMENTED;
        default: return kErrorGenFailure;
    }
}

}  // namespace qv
