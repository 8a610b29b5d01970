// The meta log's reader, as its outside viewer would be: it serves the meta
// log pipe and hands on each line the classifier sends, so that the replay
// can print why beside what the host hears. One line a connection: four
// bytes of length, then UTF-16LE text with its null.
#pragma once

#include <functional>
#include <string>
#include <thread>

#include "platform/ipc.h"

namespace qv::replay {

class MetaLogListener {
public:
    using LineFunction = std::function<void(const std::string& line)>;

    MetaLogListener() = default;
    // Closes the pipe and waits for the reader: no line comes after.
    ~MetaLogListener();
    MetaLogListener(const MetaLogListener&) = delete;
    MetaLogListener& operator=(const MetaLogListener&) = delete;

    // False when the pipe cannot be served (another reader has it).
    bool Start(IPipes& pipes, LineFunction onLine);

private:
    void Listen();

    CRefPtr<IPipeServer> m_server;
    LineFunction m_onLine;
    std::thread m_reader;
};

}  // namespace qv::replay
