// The machine as a test wants it: a clock that only moves when told, GUIDs
// that count up, a fixed process id and executable path.
#pragma once

#include <atomic>
#include <mutex>

#include "platform/sim/sim_journal.h"
#include "platform/system.h"

namespace qv {

class CSimSystem : public CAddReleaseRef, public ISystem {
public:
    explicit CSimSystem(CRefPtr<CSimJournal> journal) : m_journal(std::move(journal)) {}

    uint32_t GetProductType() override { return ProductType.load(); }
    HRESULT CoCreateGuid(GUID& guid) override;
    FILETIME GetSystemTimeAsFileTime() override { return FILETIME::FromTicks(NowTicks.load()); }
    uint32_t GetCurrentProcessId() override { return ProcessId.load(); }
    Win32Error GetModuleFileName(std::wstring& path) override;
    // The run-time services succeed (or give the result set below) and are
    // recorded in the journal.
    HRESULT CoInitializeEx() override;
    void CoUninitialize() override;
    uint32_t LookUpNtdllFunctions() override;
    HRESULT MFStartup() override;

    void AdvanceClock(uint64_t ticks) { NowTicks.fetch_add(ticks); }
    void SetModuleFileName(const std::wstring& path);

    std::atomic<uint32_t> ProductType{0};
    std::atomic<uint64_t> NowTicks{133000000000000000ULL};  // late 2022
    std::atomic<uint32_t> ProcessId{4242};
    std::atomic<uint32_t> GuidCounter{0};
    std::atomic<HRESULT> CoCreateGuidResult{0};
    std::atomic<HRESULT> CoInitializeExResult{0};

private:
    const CRefPtr<CSimJournal> m_journal;
    std::mutex m_mutex;
    std::wstring m_modulePath = L"C:\\Program Files\\Quorvane\\ContentClassifier.exe";
};

}  // namespace qv
