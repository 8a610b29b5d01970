// Apart from the platform object, so that a program that links only this
// does not pull in the other ports and their libraries.
#include "platform/linux/linux_pipes.h"
#include "platform/native.h"

namespace qv {

CRefPtr<IPipes> CreateNativePipes() { return MakeRef<CLinuxPipes>(); }

}  // namespace qv
