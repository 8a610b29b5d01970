// PELTAK64's side of the classifier's pipe: one exchange per connection.
// The request goes field by field, each field a write of its own, since the
// classifier reads the pipe in message mode and asks for exactly 4 bytes of
// each number: the browser's process id, the size of its path, the path
// (UTF-16LE with its terminator), the size of the body, the body. Back come
// the size of the reply and the reply; 4 bytes of acknowledgement end it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "browser_process.h"
#include "core/ref.h"
#include "platform/ipc.h"

namespace qv::peltak {

enum class ExchangeResult {
    Replied,        // the reply came (it may be empty)
    NoClassifier,   // no slot has a classifier, or every one stayed busy
    Failed,         // a classifier took the request but the exchange broke off
    ReplyTooLarge,  // the reply is more than the browser takes; it was not read
};

class ClassifierPipeClient {
public:
    ClassifierPipeClient(CRefPtr<IPipes> pipes, BrowserProcess browser);

    // Sends the body to the first classifier that takes it, trying the
    // slots from 0 up, and gives its reply. Anything but Replied says in
    // problem what happened.
    ExchangeResult Exchange(std::string_view body, std::string& reply, std::string& problem);

private:
    // The connection to the lowest slot that answers, or null.
    CRefPtr<IPipeConnection> Connect(std::string& problem);

    CRefPtr<IPipes> m_pipes;
    const BrowserProcess m_browser;
    const std::vector<uint8_t> m_pathField;
};

// The path as the classifier reads it: UTF-16LE with a wide NUL, in at most
// kNativeHostMaxPathBytes. A longer path is cut, never inside a surrogate
// pair: the classifier reads no more, and the rest would be taken for the
// next field.
std::vector<uint8_t> SourcePathField(const std::wstring& path);

}  // namespace qv::peltak
