#include "core/trace.h"

#include <array>
#include <ctime>

#include "core/local_time.h"
#include "core/text.h"
#include "platform/platform.h"
#include "platform/thread_id.h"

namespace qv {

namespace {

const std::wstring& Spaces() {
    static const std::wstring spaces(DBG_TRACE::kMaxIndent, L' ');
    return spaces;
}

void WriteToFile(DBG_TRACE* record, const std::wstring& line) {
    char stamp[64] = {};
    const std::tm local = LocalTime(std::time(nullptr));
    std::strftime(stamp, sizeof stamp, "%d-%m-%Y %I:%M:%S", &local);
    std::string text = std::string("[") + stamp + "]\t" + WideToUtf8(line);
    if (text.empty() || text.back() != '\n') text.push_back('\n');
    if (text.size() > 8192) text.resize(8192);
    std::fwrite(text.data(), 1, text.size(), record->file);
    std::fflush(record->file);
}

void Indent(DBG_TRACE* record, int32_t delta) {
    int32_t current = record->indent.load(std::memory_order_relaxed);
    int32_t next = current + delta;
    if (next > DBG_TRACE::kMaxIndent) next = DBG_TRACE::kMaxIndent;
    if (next < 0) next = 0;
    record->indent.store(next, std::memory_order_relaxed);
}

}  // namespace

void DBG_TRACE_WriteLine(DBG_TRACE* record, std::wstring_view message) {
    if (!record) return;
    const int32_t indent = record->indent.load(std::memory_order_relaxed);
    const std::wstring_view indentText(Spaces().data(), static_cast<std::size_t>(indent));
    std::wstring line = record->NoThreadId ? FormatWInto(DBG_TRACE::kLineChars, L"%s{%i}: %s", record->name,
                                                         record->instance, indentText)
                                           : FormatWInto(DBG_TRACE::kLineChars, L"%s{%i}[%i]: %s", record->name,
                                                         record->instance, CurrentThreadId(), indentText);
    line.append(message);
    // A line that would not fit the 4096-character buffer ends in " ...".
    if (line.size() >= DBG_TRACE::kLineChars) {
        line.resize(DBG_TRACE::kLineChars - 5);
        line.append(L" ...");
    }
    if (record->FileEnabled && record->file) WriteToFile(record, line);
    if (!record->NoDebuggerOutput && record->debugOutput) record->debugOutput->OutputDebugString(line);
    if (record->logPipe) {
        std::vector<uint8_t> bytes = WideToUtf16Le(line);
        bytes.push_back(0);
        bytes.push_back(0);
        uint32_t written = 0;
        record->logPipe->WriteFile(bytes.data(), static_cast<uint32_t>(bytes.size()), written);
    }
}

bool DBG_TRACE_Start(DBG_TRACE* record) {
    bool result = false;
    CRefPtr<IPlatform> platform = GetPlatform();
    if (!platform) return false;
    if (record) record->debugOutput = platform->DebugOutput();

    if (record && !record->logPipe) {
        if (CRefPtr<IPipes> pipes = platform->Pipes()) {
            for (int i = 0; i <= 9; ++i) {
                std::wstring name = FormatW(L"\\\\.\\pipe\\{68327F92-4C65-4484-860D-DA80B61FCDBA}.Quorvane_Log_%i", i);
                CRefPtr<IPipeConnection> pipe;
                if (pipes->CreateFile(name, pipe) == 0 && pipe) {
                    record->logPipe = pipe;
                    result = true;
                    break;
                }
            }
        }
    }

    uint32_t productType = 0;
    {
        CTraceFuncCall scope(nullptr, L"DBG_TRACE_GetSystemInfo");
        if (CRefPtr<ISystem> system = platform->System()) productType = system->GetProductType();
    }
    // On these product types the registry switch is not consulted.
    if (productType == 189 || productType == 0xABCDABCDu) return result;

    CRefPtr<IRegistry> registry = platform->Registry();
    if (!registry) return result;
    CRefPtr<IRegistryKey> key;
    std::wstring path = FormatW(L"Software\\Quorvane\\Logging\\%s", L"APO");
    if (registry->RegOpenKeyEx(RegistryRoot::LocalMachine, path, kRegOptionOpenLink, kKeyRead, key) != 0 || !key)
        return result;
    uint32_t type = 0;
    std::vector<uint8_t> data;
    // A link is not followed, so that no other key can switch tracing on.
    if (key->RegQueryValueEx(L"SymbolicLinkValue", type, data) == 0) return result;
    if (key->RegQueryValueEx(L"MIRADO", type, data) != 0 || type != kRegDword || data.size() < 4) return result;
    uint32_t value = data[0] | (data[1] << 8) | (data[2] << 16) | (uint32_t{data[3]} << 24);
    return value != 0 ? true : result;
}

void DBG_TRACE_SetName(DBG_TRACE* record) {
    if (!record) return;
    // The counter starts at 1, so the one record of the process is number 2.
    static std::atomic<uint32_t> counter{1};
    if (record->instance == 0) record->instance = counter.fetch_add(1) + 1;
    record->name = L"MIRADO";
}

CTraceFuncCall::CTraceFuncCall(DBG_TRACE* record, const wchar_t* name) : m_record(record), m_name(name) { Open(); }

CTraceFuncCall::CTraceFuncCall(DBG_TRACE* record, const wchar_t* name, std::wstring arguments)
    : m_record(record), m_name(name), m_arguments(std::move(arguments)) {
    Open();
}

void CTraceFuncCall::Open() {
    if (!TraceEnabled(m_record)) return;
    DBG_TRACE_WriteLine(m_record, std::wstring(L"{ ") + m_name + L"(" + m_arguments + L")\n");
    Indent(m_record, 2);
}

CTraceFuncCall::~CTraceFuncCall() {
    if (!TraceEnabled(m_record)) return;
    Indent(m_record, -2);
    DBG_TRACE_WriteLine(m_record, std::wstring(L"} ") + m_name + L"(" + m_arguments + L")\n");
}

}  // namespace qv
