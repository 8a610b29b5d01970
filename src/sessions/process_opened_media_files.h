// The media files a player process holds open, as the helper executable lists
// them: video paths and audio paths. Each set keeps a path once, and iterates
// from the first path put in, the only order anything relies on.
#pragma once

#include <string>
#include <vector>

#include "core/ref.h"

namespace qv {

class CInsertionOrderedPathSet {
public:
    // False if the path was there already.
    bool Insert(const std::wstring& path) {
        for (const auto& p : m_paths)
            if (p == path) return false;
        m_paths.push_back(path);
        return true;
    }
    bool empty() const { return m_paths.empty(); }
    std::size_t size() const { return m_paths.size(); }
    const std::wstring& front() const { return m_paths.front(); }
    auto begin() const { return m_paths.begin(); }
    auto end() const { return m_paths.end(); }

private:
    std::vector<std::wstring> m_paths;
};

class CProcessOpenedMediaFiles : public CAddReleaseRef {
public:
    CInsertionOrderedPathSet VideoFiles;
    CInsertionOrderedPathSet AudioFiles;
};

}  // namespace qv
