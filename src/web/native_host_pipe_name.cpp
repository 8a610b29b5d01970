#include "web/native_host_pipe_name.h"

namespace qv {

std::wstring NativeHostPipeName(int slot) {
    return L"\\\\.\\pipe\\{68327F92-4C65-4484-860D-DA80B61FCDBA}.Quorvane_CoCl_" + std::to_wstring(slot);
}

}  // namespace qv
