#include "platform/win32/win32_mutex_security.h"

#include <aclapi.h>

namespace qv {

namespace {

constexpr DWORD kGrantedAccess = 0xF003F;

// The two SIDs, the ACL made of them, the descriptor that holds the ACL and
// the record that points at the descriptor. The pieces are freed in the
// destructor, so a failure half-way leaves nothing behind.
class CMutexSecurity {
public:
    CMutexSecurity() { m_ready = Build(); }
    ~CMutexSecurity() {
        if (m_descriptor) ::LocalFree(m_descriptor);
        if (m_acl) ::LocalFree(m_acl);
        if (m_administrators) ::FreeSid(m_administrators);
        if (m_everyone) ::FreeSid(m_everyone);
    }
    CMutexSecurity(const CMutexSecurity&) = delete;
    CMutexSecurity& operator=(const CMutexSecurity&) = delete;

    SECURITY_ATTRIBUTES* Attributes() { return m_ready ? &m_attributes : nullptr; }

private:
    bool Build() {
        SID_IDENTIFIER_AUTHORITY world = SECURITY_WORLD_SID_AUTHORITY;
        SID_IDENTIFIER_AUTHORITY nt = SECURITY_NT_AUTHORITY;
        if (!::AllocateAndInitializeSid(&world, 1, SECURITY_WORLD_RID, 0, 0, 0, 0, 0, 0, 0, &m_everyone)) return false;
        if (!::AllocateAndInitializeSid(&nt, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS, 0, 0, 0, 0, 0, 0,
                                        &m_administrators))
            return false;
        EXPLICIT_ACCESSW entries[2]{};
        Grant(entries[0], m_everyone, TRUSTEE_IS_WELL_KNOWN_GROUP);
        Grant(entries[1], m_administrators, TRUSTEE_IS_GROUP);
        if (::SetEntriesInAclW(2, entries, nullptr, &m_acl) != ERROR_SUCCESS) return false;
        m_descriptor = ::LocalAlloc(LPTR, SECURITY_DESCRIPTOR_MIN_LENGTH);
        if (!m_descriptor) return false;
        if (!::InitializeSecurityDescriptor(m_descriptor, SECURITY_DESCRIPTOR_REVISION)) return false;
        if (!::SetSecurityDescriptorDacl(m_descriptor, TRUE, m_acl, FALSE)) return false;
        m_attributes.nLength = sizeof m_attributes;
        m_attributes.lpSecurityDescriptor = m_descriptor;
        m_attributes.bInheritHandle = FALSE;
        return true;
    }

    static void Grant(EXPLICIT_ACCESSW& entry, PSID sid, TRUSTEE_TYPE type) {
        entry.grfAccessPermissions = kGrantedAccess;
        entry.grfAccessMode = SET_ACCESS;
        entry.grfInheritance = NO_INHERITANCE;
        entry.Trustee.TrusteeForm = TRUSTEE_IS_SID;
        entry.Trustee.TrusteeType = type;
        entry.Trustee.ptstrName = static_cast<LPWSTR>(sid);
    }

    PSID m_everyone = nullptr;
    PSID m_administrators = nullptr;
    PACL m_acl = nullptr;
    PSECURITY_DESCRIPTOR m_descriptor = nullptr;
    SECURITY_ATTRIBUTES m_attributes{};
    bool m_ready = false;
};

}  // namespace

SECURITY_ATTRIBUTES* MutexSecurityAttributes() {
    static CMutexSecurity security;
    return security.Attributes();
}

}  // namespace qv
