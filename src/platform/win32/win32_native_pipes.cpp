// Apart from the platform object, so that a program that links only this
// does not pull in the other ports and their libraries.
#include "platform/native.h"
#include "platform/win32/win32_pipes.h"

namespace qv {

CRefPtr<IPipes> CreateNativePipes() { return MakeRef<CWin32Pipes>(); }

}  // namespace qv
