#include "platform/linux/linux_av.h"

#include "platform/codes.h"
#include "platform/linux/linux_errors.h"

namespace qv {

HRESULT HresultFromAvError(int error) {
    if (error >= 0) return E_FAIL;  // not an error, yet the caller met a failure
    switch (error) {
        case AVERROR_INVALIDDATA: return MF_E_INVALID_FILE_FORMAT;
        case AVERROR_DECODER_NOT_FOUND: return MF_E_TOPO_CODEC_NOT_FOUND;
        case AVERROR_STREAM_NOT_FOUND: return MF_E_INVALIDSTREAMNUMBER;
        case AVERROR(ENOMEM): return E_OUTOFMEMORY;
        default: break;
    }
    // AVERROR(e) is -e, and errno values are small; FFmpeg's own codes are
    // tags of four characters, far below.
    if (error > -4096) return HresultFromWin32(Win32ErrorFromErrno(-error));
    return error;
}

}  // namespace qv
