// The security of the objects that other users' processes must reach: the
// native host's pipe, which Everyone may connect to, and the named mutexes.
// Each is a DACL of a few grants to well-known groups.
#pragma once

#include <initializer_list>
#include <memory>
#include <vector>

#include "platform/win32/windows_api.h"

namespace qv {

enum class WellKnownGroup { Everyone, Administrators };

struct AccessGrant {
    WellKnownGroup group;
    DWORD access;
};

// A descriptor whose DACL holds the grants, in their order, and the record
// that points at it. Its pieces are freed with it, so a failure half-way
// leaves nothing behind.
class CSecurityAttributes {
public:
    explicit CSecurityAttributes(std::initializer_list<AccessGrant> grants);
    CSecurityAttributes(const CSecurityAttributes&) = delete;
    CSecurityAttributes& operator=(const CSecurityAttributes&) = delete;

    // Null when any step of building it failed: the object then gets the
    // default security of the creating user, rather than no object at all.
    SECURITY_ATTRIBUTES* get() { return m_ready ? &m_attributes : nullptr; }

private:
    struct SidFree {
        void operator()(void* sid) const { ::FreeSid(sid); }
    };
    struct LocalMemoryFree {
        void operator()(void* memory) const { ::LocalFree(memory); }
    };

    bool Build(std::initializer_list<AccessGrant> grants);

    std::vector<std::unique_ptr<void, SidFree>> m_sids;
    std::unique_ptr<ACL, LocalMemoryFree> m_acl;
    std::unique_ptr<void, LocalMemoryFree> m_descriptor;
    SECURITY_ATTRIBUTES m_attributes{};
    bool m_ready = false;
};

// The native host's pipe: Everyone is granted FILE_ALL_ACCESS.
inline constexpr AccessGrant kEveryoneMayConnect{WellKnownGroup::Everyone, FILE_ALL_ACCESS};

// The named mutexes that this process creates: Everyone and the
// Administrators group are granted 0xF003F. Note that this mask lacks
// SYNCHRONIZE, the right that opening for a wait asks for; the values are
// kept as they are. Built once, on first use, and kept until the process
// ends; null as CSecurityAttributes::get tells.
SECURITY_ATTRIBUTES* MutexSecurityAttributes();

}  // namespace qv
