// The program's resources on the simulated machine: the embedded table, in
// which a test can take a resource away or change its bytes, as if the
// program had been built so. Every load is journaled.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <set>

#include "platform/resources.h"
#include "platform/sim/sim_journal.h"

namespace qv {

class CSimResources : public CAddReleaseRef, public IResources {
public:
    explicit CSimResources(CRefPtr<CSimJournal> journal) : m_journal(std::move(journal)) {}

    Win32Error LoadResource(uint32_t id, uint32_t type, std::vector<uint8_t>& bytes) override;

    // From now on the id is not found, of any type.
    void Hide(uint32_t id);
    // From now on the id, of any type, has these bytes.
    void Replace(uint32_t id, std::vector<uint8_t> bytes);

private:
    const CRefPtr<CSimJournal> m_journal;
    std::mutex m_mutex;
    std::set<uint32_t> m_hidden;
    std::map<uint32_t, std::vector<uint8_t>> m_replaced;
};

}  // namespace qv
