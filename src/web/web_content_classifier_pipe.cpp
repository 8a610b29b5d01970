// The pipe thread of the web classifier: it serves the native host, one
// exchange per connection, and hands each message to the main thread.
#include <condition_variable>
#include <mutex>

#include "core/async.h"
#include "core/text.h"
#include "platform/codes.h"
#include "platform/platform.h"
#include "web/native_host_pipe_name.h"
#include "web/native_host_request.h"
#include "web/web_content_classifier.h"

namespace qv {

namespace {

// The pipe's buffers: a page script arrives whole in one change.
constexpr uint32_t kPipeBufferBytes = 100000;

// The main thread's answer to one message. The action sets it when it is
// done, and also when it is dropped without running (a main loop that has
// ended), so the pipe thread never waits for an answer that cannot come.
class CMessageHandover {
public:
    void Set() {
        {
            std::lock_guard lock(m_mutex);
            m_set = true;
        }
        m_cv.notify_all();
    }
    // False when the process ends first.
    bool Wait(std::stop_token stop) {
        std::unique_lock lock(m_mutex);
        return m_cv.wait(lock, stop, [&] { return m_set; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable_any m_cv;
    bool m_set = false;
};

class CSetWhenDropped {
public:
    explicit CSetWhenDropped(std::shared_ptr<CMessageHandover> handover) : m_handover(std::move(handover)) {}
    CSetWhenDropped(const CSetWhenDropped&) = delete;
    CSetWhenDropped& operator=(const CSetWhenDropped&) = delete;
    ~CSetWhenDropped() { m_handover->Set(); }
    void Set() { m_handover->Set(); }

private:
    std::shared_ptr<CMessageHandover> m_handover;
};

// The reply to one request, from the main thread; empty for none. A refused
// request only leaves its trace line there. The classifier is locked on the
// main thread alone, so that its last reference is never let go here.
std::string AnswerOnMainThread(std::stop_token stop, NativeHostRequest& request,
                               const CWeakRefPtr<CWebContentClassifier>& weakSelf,
                               const CRefPtr<IAsyncActionDispatcher>& dispatcher) {
    auto handover = std::make_shared<CMessageHandover>();
    auto reply = std::make_shared<std::string>();
    auto shared = std::make_shared<NativeHostRequest>(std::move(request));
    auto done = std::make_shared<CSetWhenDropped>(handover);
    CRefPtr<CAsyncAction> action =
        CAsyncAction::Post(dispatcher, [weakSelf, shared, reply, done](CRefPtr<CAsyncAction>) {
            if (CRefPtr<CWebContentClassifier> self = weakSelf.Lock()) {
                if (shared->refusal.empty())
                    self->ProcessMessage(shared->sourceProcessId, shared->sourceProcessPath, shared->body, *reply);
                else
                    self->Trace(L"Native host request refused: %s.\n", Utf8ToWide(shared->refusal));
            }
            done->Set();
        });
    done.reset();
    // Refused by a dispatcher whose loop has ended: nothing will answer.
    if (!action || (action->Finished.load() && !action->Ran.load())) return {};
    action = nullptr;
    if (!handover->Wait(stop)) return {};
    return *reply;
}

void ServeExchange(std::stop_token stop, IPipeConnection& connection,
                   const CWeakRefPtr<CWebContentClassifier>& weakSelf,
                   const CRefPtr<IAsyncActionDispatcher>& dispatcher) {
    std::optional<NativeHostRequest> request = ReadNativeHostRequest(connection);
    if (!request) return;
    std::string reply;
    if (!request->refusal.empty()) {
        AnswerOnMainThread(stop, *request, weakSelf, dispatcher);
    } else if (request->body == "/exit") {
        // The native host's request to end the process. The quit went to a
        // thread id that nobody has, so the process ran on; it still does:
        // a browser add-on must not be able to end the classifier.
    } else if (!request->body.empty()) {
        reply = AnswerOnMainThread(stop, *request, weakSelf, dispatcher);
    }
    WriteNativeHostReply(connection, reply);
}

}  // namespace

bool CWebContentClassifier::StartPELTAKPipeThread() {
    CRefPtr<IPlatform> platform = GetPlatform();
    if (!platform) return true;
    CRefPtr<IPipes> pipes = platform->Pipes();
    if (!pipes) return true;
    PipeServerOptions options;
    options.firstInstance = true;
    options.messageMode = true;
    options.outBufferSize = kPipeBufferBytes;
    options.inBufferSize = kPipeBufferBytes;
    options.everyoneMayConnect = true;
    for (int slot = 0; slot < kNativeHostPipeSlots; ++slot) {
        CRefPtr<IPipeServer> server;
        if (pipes->CreateNamedPipe(NativeHostPipeName(slot), options, server) != ERROR_SUCCESS) continue;
        m_pipe = server;
        m_slot = slot;
        Trace(L"PELTAK pipe name: %s.\n", NativeHostPipeName(slot));
        m_thread = CThread::Start([server, self = CWeakRefPtr<CWebContentClassifier>(this), dispatcher = Dispatcher()](
                                      std::stop_token stop) { PELTAKPipeThread(stop, server, self, dispatcher); });
        return true;
    }
    // No free slot: the process runs on without web information.
    return true;
}

void CWebContentClassifier::StopPELTAKPipeThread() {
    if (CRefPtr<IPipeServer> pipe = std::move(m_pipe)) pipe->Close();
    m_slot = -1;
}

void CWebContentClassifier::PELTAKPipeThread(std::stop_token stop, CRefPtr<IPipeServer> server,
                                             CWeakRefPtr<CWebContentClassifier> self,
                                             CRefPtr<IAsyncActionDispatcher> dispatcher) {
    CRefPtr<IPipeConnection> connection;
    if (server->ConnectNamedPipe(connection) != ERROR_SUCCESS) return;
    for (;;) {
        ServeExchange(stop, *connection, self, dispatcher);
        connection = nullptr;
        server->DisconnectNamedPipe();
        if (server->ConnectNamedPipe(connection) != ERROR_SUCCESS) break;
    }
}

}  // namespace qv
