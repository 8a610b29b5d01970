#include "platform/win32/win32_security.h"

#include <aclapi.h>

namespace qv {

namespace {

constexpr DWORD kMutexAccess = 0xF003F;

PSID AllocateSid(WellKnownGroup group) {
    SID_IDENTIFIER_AUTHORITY world = SECURITY_WORLD_SID_AUTHORITY;
    SID_IDENTIFIER_AUTHORITY nt = SECURITY_NT_AUTHORITY;
    PSID sid = nullptr;
    const BOOL made = group == WellKnownGroup::Everyone
                          ? ::AllocateAndInitializeSid(&world, 1, SECURITY_WORLD_RID, 0, 0, 0, 0, 0, 0, 0, &sid)
                          : ::AllocateAndInitializeSid(&nt, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS, 0,
                                                       0, 0, 0, 0, 0, &sid);
    return made ? sid : nullptr;
}

}  // namespace

CSecurityAttributes::CSecurityAttributes(std::initializer_list<AccessGrant> grants) { m_ready = Build(grants); }

bool CSecurityAttributes::Build(std::initializer_list<AccessGrant> grants) {
    std::vector<EXPLICIT_ACCESSW> entries;
    for (const AccessGrant& grant : grants) {
        m_sids.emplace_back(AllocateSid(grant.group));
        if (!m_sids.back()) return false;
        EXPLICIT_ACCESSW entry{};
        entry.grfAccessPermissions = grant.access;
        entry.grfAccessMode = SET_ACCESS;
        entry.grfInheritance = NO_INHERITANCE;
        entry.Trustee.TrusteeForm = TRUSTEE_IS_SID;
        entry.Trustee.TrusteeType =
            grant.group == WellKnownGroup::Everyone ? TRUSTEE_IS_WELL_KNOWN_GROUP : TRUSTEE_IS_GROUP;
        entry.Trustee.ptstrName = static_cast<LPWSTR>(m_sids.back().get());
        entries.push_back(entry);
    }
    PACL acl = nullptr;
    if (::SetEntriesInAclW(static_cast<ULONG>(entries.size()), entries.data(), nullptr, &acl) != ERROR_SUCCESS)
        return false;
    m_acl.reset(acl);
    m_descriptor.reset(::LocalAlloc(LPTR, SECURITY_DESCRIPTOR_MIN_LENGTH));
    if (!m_descriptor) return false;
    if (!::InitializeSecurityDescriptor(m_descriptor.get(), SECURITY_DESCRIPTOR_REVISION)) return false;
    if (!::SetSecurityDescriptorDacl(m_descriptor.get(), TRUE, m_acl.get(), FALSE)) return false;
    m_attributes.nLength = sizeof m_attributes;
    m_attributes.lpSecurityDescriptor = m_descriptor.get();
    m_attributes.bInheritHandle = FALSE;
    return true;
}

SECURITY_ATTRIBUTES* MutexSecurityAttributes() {
    static CSecurityAttributes security{{WellKnownGroup::Everyone, kMutexAccess},
                                        {WellKnownGroup::Administrators, kMutexAccess}};
    return security.get();
}

}  // namespace qv
