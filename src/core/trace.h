// Tracing: function entry and exit as an indented call tree, and free lines
// in between. Lines go to the debugger output and to a log pipe that an
// outside viewer may serve. With tracing off a call site costs one pointer
// test, one virtual call and one flag test.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <string>

#include "core/format.h"
#include "core/ref.h"
#include "platform/debug_output.h"
#include "platform/ipc.h"

namespace qv {

// The one trace record of the process.
struct DBG_TRACE {
    static constexpr int32_t kMaxIndent = 1023;
    static constexpr std::size_t kLineChars = 4096;

    uint32_t instance = 0;
    // Indentation in characters, 0 to 1023. One process-wide value without a
    // lock, so lines of concurrent threads may show a wrong indentation; it
    // is atomic only so that such races are not undefined behaviour.
    std::atomic<int32_t> indent{0};
    std::wstring name;  // program name in the line prefix, at most 255 characters
    uint8_t FileEnabled = 0;
    std::FILE* file = nullptr;  // nothing opens one; the branch is kept for a file sink
    CRefPtr<IPipeConnection> logPipe;
    std::atomic<bool> Enabled{false};
    uint8_t NoDebuggerOutput = 0;
    uint8_t NoThreadId = 0;
    // The debugger output sink, taken from the platform at start.
    CRefPtr<IDebugOutput> debugOutput;
};

struct ITraceFuncCallTarget : virtual IAddReleaseRef {
    virtual DBG_TRACE* GetTrace() = 0;
};

// Holds the record. A plain atomic count, no weak references.
class CTraceFuncCallTarget final : public ITraceFuncCallTarget {
public:
    CTraceFuncCallTarget() = default;
    uint32_t AddRef() override { return m_count.fetch_add(1, std::memory_order_relaxed) + 1; }
    uint32_t Release() override {
        uint32_t n = m_count.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (n == 0) delete this;
        return n;
    }
    DBG_TRACE* GetTrace() override { return &m_trace; }

private:
    ~CTraceFuncCallTarget() override = default;
    std::atomic<uint32_t> m_count{1};
    DBG_TRACE m_trace;
};

// Writes one finished message: prefix, cut to 4096 characters, to each sink.
void DBG_TRACE_WriteLine(DBG_TRACE* record, std::wstring_view message);

// Writes one line. Without arguments the format is plain text, "%" and all;
// with arguments it is a wide printf format expanded into 4096 characters.
template <class... Args>
void DBG_TRACE_Print(DBG_TRACE* record, const wchar_t* format, const Args&... args) {
    if (!record) return;
    if constexpr (sizeof...(Args) == 0) {
        DBG_TRACE_WriteLine(record, format);
    } else {
        DBG_TRACE_WriteLine(record, FormatWInto(DBG_TRACE::kLineChars, format, args...));
    }
}

// Opens a log pipe and reads the registry switch: whether tracing is to be on.
bool DBG_TRACE_Start(DBG_TRACE* record);
// Gives the record its instance number and name.
void DBG_TRACE_SetName(DBG_TRACE* record);

inline DBG_TRACE* TraceRecordOf(ITraceFuncCallTarget* target) { return target ? target->GetTrace() : nullptr; }
inline bool TraceEnabled(DBG_TRACE* record) { return record && record->Enabled.load(std::memory_order_relaxed); }

// A traced function's scope: "{ Name(args)" at entry, the body two to the
// right, "} Name(args)" at exit.
class CTraceFuncCall {
public:
    CTraceFuncCall(DBG_TRACE* record, const wchar_t* name);
    CTraceFuncCall(DBG_TRACE* record, const wchar_t* name, std::wstring arguments);
    ~CTraceFuncCall();
    CTraceFuncCall(const CTraceFuncCall&) = delete;
    CTraceFuncCall& operator=(const CTraceFuncCall&) = delete;

private:
    void Open();
    DBG_TRACE* m_record;
    const wchar_t* m_name;  // a literal, not copied
    std::wstring m_arguments;
};

}  // namespace qv
