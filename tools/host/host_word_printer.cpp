#include "host_word_printer.h"

#include <cstdio>
#include <ctime>

#include "core/text.h"
#include "host_frame.h"
#include "host_system.h"

namespace qv::host {

std::string Stamp(Clock::time_point start) {
    const auto now = std::chrono::system_clock::now();
    const std::tm local = LocalTime(std::chrono::system_clock::to_time_t(now));
    char clock[32];
    std::strftime(clock, sizeof clock, "%H:%M:%S", &local);
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    const double since = std::chrono::duration<double>(Clock::now() - start).count();
    char text[80];
    std::snprintf(text, sizeof text, "%s.%03d +%.3fs", clock, static_cast<int>(ms), since);
    return text;
}

std::wstring EndpointName(IMMDeviceEnumerator* enumerator, const std::wstring& id) {
    if (!enumerator) return id;
    CRefPtr<IMMDevice> device;
    CRefPtr<IPropertyStore> store;
    PROPVARIANT name;
    if (Failed(enumerator->GetDevice(id, device)) || !device || Failed(device->OpenPropertyStore(0, store)) || !store ||
        Failed(store->GetValue(PKEY_Device_FriendlyName, name)) || name.vt != VT_LPWSTR || name.pwszVal.empty())
        return id;
    return name.pwszVal;
}

CHostWordPrinter::CHostWordPrinter(CHostPipeListener& listener, CRefPtr<IMMDeviceEnumerator> enumerator,
                                   Clock::time_point start)
    : m_listener(listener), m_enumerator(std::move(enumerator)), m_start(start), m_thread([this] { Run(); }) {}

CHostWordPrinter::~CHostWordPrinter() {
    m_listener.Close();
    m_thread.join();
}

void CHostWordPrinter::Run() {
    for (;;) {
        CRefPtr<IPipeConnection> connection;
        if (m_listener.Accept(connection) != 0 || !connection) return;
        std::string frameError;
        std::optional<std::string> text = ReceiveHostFrame(*connection, frameError);
        m_listener.Done(connection);
        if (!text) {
            std::fprintf(stderr, "[%s] dropped a message: %s\n", Stamp(m_start).c_str(), frameError.c_str());
            continue;
        }
        std::optional<HostMessage> message = ParseHostMessage(*text);
        if (!message) {
            std::fprintf(stderr, "[%s] dropped a message that is not three lines\n", Stamp(m_start).c_str());
            continue;
        }
        Print(message->endpointId, message->word, message->version);
        m_received.fetch_add(1);
    }
}

void CHostWordPrinter::Print(const std::string& endpointId, const std::string& word, const std::string& version) {
    auto name = m_names.find(endpointId);
    if (name == m_names.end())
        name = m_names.emplace(endpointId, EndpointName(m_enumerator.get(), Utf8ToWide(endpointId))).first;
    std::printf("[%s] %s: %s\n", Stamp(m_start).c_str(), WideToUtf8(name->second).c_str(),
                word.empty() ? "(withdrawn)" : word.c_str());
    if (version != "1.0.0.0") std::printf("    (protocol version %s, expected 1.0.0.0)\n", version.c_str());
    std::fflush(stdout);
}

}  // namespace qv::host
