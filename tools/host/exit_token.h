// The starter's half of the exit token: a named mutex that the host creates
// under a fresh name and holds for as long as the classifier is to live. The
// classifier waits on it; the host's release, or the host's death (which
// abandons it), ends the classifier.
#pragma once

#include <string>

#include "platform/platform.h"

namespace qv::host {

class CExitToken {
public:
    CExitToken() = default;
    // Lets go of the token if it is still held.
    ~CExitToken() { Release(); }
    CExitToken(const CExitToken&) = delete;
    CExitToken& operator=(const CExitToken&) = delete;

    // Creates the mutex, held by the calling thread, which must be the one
    // to release it. False with the reason when it cannot be made.
    bool Create(IPlatform& platform, std::string& error);
    // The name to pass in "/exit-mutex-guid=", without the namespace.
    const std::wstring& Name() const { return m_name; }
    // Releases the mutex once; the classifier then stops.
    void Release();

private:
    CRefPtr<INamedMutex> m_mutex;
    std::wstring m_name;
};

}  // namespace qv::host
