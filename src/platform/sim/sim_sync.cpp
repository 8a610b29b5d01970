#include "platform/sim/sim_sync.h"

#include "platform/codes.h"

namespace qv {

namespace {
// The process that the test plays.
const SimOwner kExternalProcess = SimOwner::External(1);
// WaitForMultipleObjects takes at most MAXIMUM_WAIT_OBJECTS handles.
constexpr std::size_t kMaximumWaitObjects = 64;
}  // namespace

CSimSync::CSimSync(CRefPtr<CSimJournal> journal)
    : m_kernel(MakeRef<CSimKernel>(std::move(journal))),
      m_failures({L"CreateEvent", L"OpenMutex", L"CreateMutex", L"WaitForMultipleObjects"}) {}

CSimSync::~CSimSync() { Shutdown(); }

Win32Error CSimSync::CreateEvent(CRefPtr<IEvent>& event) {
    event = nullptr;
    m_kernel->Journal->Record(L"Sync::CreateEvent");
    if (auto failure = m_failures.Enter(L"CreateEvent")) return *failure;
    event = MakeRef<CSimEvent>(m_kernel);
    return ERROR_SUCCESS;
}

CRefPtr<CSimMutexHandle> CSimSync::OpenOrCreate(const std::wstring& name, bool create, bool& existed) {
    std::lock_guard lock(m_kernel->Mutex);
    auto named = m_kernel->NamedMutexes.find(name);
    existed = named != m_kernel->NamedMutexes.end();
    if (existed) return MakeRef<CSimMutexHandle>(m_kernel, CRefPtr<CSimMutexObject>(named->second));
    if (!create) return nullptr;
    auto object = MakeRef<CSimMutexObject>(name);
    m_kernel->NamedMutexes[name] = object.get();
    return MakeRef<CSimMutexHandle>(m_kernel, object);
}

Win32Error CSimSync::OpenMutex(const std::wstring& name, CRefPtr<INamedMutex>& mutex) {
    mutex = nullptr;
    m_kernel->Journal->Record(L"Sync::OpenMutex", name);
    if (auto failure = m_failures.Enter(L"OpenMutex", {name})) return *failure;
    bool existed = false;
    CRefPtr<CSimMutexHandle> handle = OpenOrCreate(name, false, existed);
    if (!handle) return ERROR_FILE_NOT_FOUND;
    mutex = handle;
    return ERROR_SUCCESS;
}

Win32Error CSimSync::CreateMutex(const std::wstring& name, bool initialOwner, CRefPtr<INamedMutex>& mutex) {
    mutex = nullptr;
    m_kernel->Journal->Record(L"Sync::CreateMutex", name);
    if (auto failure = m_failures.Enter(L"CreateMutex", {name})) return *failure;
    bool existed = false;
    CRefPtr<CSimMutexHandle> handle = OpenOrCreate(name, true, existed);
    if (initialOwner && !existed) {
        std::lock_guard lock(m_kernel->Mutex);
        handle->Mutex().TryTake(SimOwner::CurrentThread());
    }
    mutex = handle;
    return ERROR_SUCCESS;
}

uint32_t CSimSync::WaitForMultipleObjects(const std::vector<IWaitable*>& objects, uint32_t timeoutMs) {
    if (m_failures.Enter(L"WaitForMultipleObjects")) return kWaitFailed;
    if (objects.empty() || objects.size() > kMaximumWaitObjects) return kWaitFailed;
    std::vector<CSimKernelObject*> kernelObjects;
    for (IWaitable* waitable : objects) {
        // Only handles of this machine's kernel can be waited for together;
        // anything else is an invalid handle here.
        auto* handle = dynamic_cast<ISimHandle*>(waitable);
        if (!handle || handle->Kernel() != m_kernel.get()) return kWaitFailed;
        kernelObjects.push_back(handle->KernelObject());
    }
    return m_kernel->Wait(kernelObjects, timeoutMs, SimOwner::CurrentThread());
}

bool CSimSync::CreateExternalMutex(const std::wstring& name, bool owned) {
    std::lock_guard external(m_externalMutex);
    if (m_kernel->IsShutDown()) return false;
    bool existed = false;
    CRefPtr<CSimMutexHandle> handle = OpenOrCreate(name, true, existed);
    if (owned && !existed) {
        std::lock_guard lock(m_kernel->Mutex);
        handle->Mutex().TryTake(kExternalProcess);
    }
    // A second handle of the same process to the same name adds nothing.
    auto& slot = m_external[name];
    if (!slot) slot = handle;
    return !existed;
}

bool CSimSync::ReleaseExternalMutex(const std::wstring& name) {
    std::lock_guard external(m_externalMutex);
    auto held = m_external.find(name);
    if (held == m_external.end()) return false;
    Win32Error result;
    {
        std::lock_guard lock(m_kernel->Mutex);
        result = held->second->Mutex().ReleaseBy(kExternalProcess);
    }
    if (result != 0) return false;
    m_kernel->Changed();
    return true;
}

bool CSimSync::EndExternalProcess(const std::wstring& name) {
    CRefPtr<CSimMutexHandle> closing;  // closed after both locks
    std::lock_guard external(m_externalMutex);
    auto held = m_external.find(name);
    if (held == m_external.end()) return false;
    closing = std::move(held->second);
    m_external.erase(held);
    {
        std::lock_guard lock(m_kernel->Mutex);
        closing->Mutex().AbandonBy(kExternalProcess);
    }
    m_kernel->Changed();
    return true;
}

bool CSimSync::MutexExists(const std::wstring& name) {
    std::lock_guard lock(m_kernel->Mutex);
    return m_kernel->NamedMutexes.contains(name);
}

bool CSimSync::IsMutexOwned(const std::wstring& name) {
    std::lock_guard lock(m_kernel->Mutex);
    auto named = m_kernel->NamedMutexes.find(name);
    return named != m_kernel->NamedMutexes.end() && named->second->IsOwned();
}

void CSimSync::Shutdown() {
    m_kernel->Shutdown();
    std::map<std::wstring, CRefPtr<CSimMutexHandle>> closing;
    {
        std::lock_guard external(m_externalMutex);
        closing.swap(m_external);
    }
}

}  // namespace qv
