#include "platform/linux/linux_curl_errors.h"

#include "platform/codes.h"

namespace qv {

Win32Error WinHttpErrorFromCurl(CURLcode code) {
    switch (code) {
        case CURLE_OK: return ERROR_SUCCESS;
        case CURLE_COULDNT_RESOLVE_HOST: return ERROR_WINHTTP_NAME_NOT_RESOLVED;
        case CURLE_COULDNT_CONNECT: return ERROR_WINHTTP_CANNOT_CONNECT;
        case CURLE_OPERATION_TIMEDOUT: return ERROR_WINHTTP_TIMEOUT;
        case CURLE_URL_MALFORMAT: return ERROR_WINHTTP_INVALID_URL;
        case CURLE_UNSUPPORTED_PROTOCOL: return ERROR_WINHTTP_UNRECOGNIZED_SCHEME;
        case CURLE_TOO_MANY_REDIRECTS: return ERROR_WINHTTP_REDIRECT_FAILED;
        case CURLE_WEIRD_SERVER_REPLY: return ERROR_WINHTTP_INVALID_SERVER_RESPONSE;
        case CURLE_OUT_OF_MEMORY: return ERROR_NOT_ENOUGH_MEMORY;
        case CURLE_ABORTED_BY_CALLBACK: return ERROR_WINHTTP_OPERATION_CANCELLED;
        // A certificate that is not trusted, expired or for another name, and a
        // handshake that fails: WinHTTP folds them all into one number.
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_PEER_FAILED_VERIFICATION:
        case CURLE_SSL_CERTPROBLEM:
        case CURLE_SSL_CIPHER:
        case CURLE_SSL_CACERT_BADFILE:
        case CURLE_SSL_ISSUER_ERROR:
        case CURLE_SSL_INVALIDCERTSTATUS: return ERROR_WINHTTP_SECURE_FAILURE;
        // The connection broke after it was made: reset, closed early, or a
        // body shorter than the headers promised.
        case CURLE_SEND_ERROR:
        case CURLE_RECV_ERROR:
        case CURLE_GOT_NOTHING:
        case CURLE_PARTIAL_FILE:
        case CURLE_HTTP2:
        case CURLE_HTTP2_STREAM: return ERROR_WINHTTP_CONNECTION_ERROR;
        default: return ERROR_WINHTTP_INTERNAL_ERROR;
    }
}

}  // namespace qv
