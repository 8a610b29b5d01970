// The resources port on Windows: the program's own module (FindResourceW
// with no module, LoadResource, LockResource, SizeofResource). The bytes are
// copied out; a module's resource memory needs no freeing.
#pragma once

#include "platform/resources.h"

namespace qv {

class CWin32Resources : public CAddReleaseRef, public IResources {
public:
    Win32Error LoadResource(uint32_t id, uint32_t type, std::vector<uint8_t>& bytes) override;
};

}  // namespace qv
