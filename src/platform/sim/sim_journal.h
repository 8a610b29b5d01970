// The order in which the model made the calls of the simulated machine that
// mark the life of the process (mutexes, COM, resources, the registry, files,
// the audio port). A test reads it to tell that start and stop went in order,
// without reading the trace. Any thread may record; entries keep the order of
// their arrival.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "core/ref.h"

namespace qv {

class CSimJournal : public CAddReleaseRef {
public:
    // "Port::Operation target", e.g. "Sync::OpenMutex {3BD7...}".
    void Record(const std::wstring& operation, const std::wstring& target = {}) {
        std::lock_guard lock(m_mutex);
        m_entries.push_back(target.empty() ? operation : operation + L" " + target);
    }

    std::vector<std::wstring> Entries() const {
        std::lock_guard lock(m_mutex);
        return m_entries;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<std::wstring> m_entries;
};

}  // namespace qv
