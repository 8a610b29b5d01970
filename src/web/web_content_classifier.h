// The browsers' pages as the add-on reports them, one object per process,
// shared by every endpoint's classifier (only the default endpoint's uses
// it). Its pipe thread serves the browser's native host, one exchange per
// connection, and hands each message to the main thread, where the message
// becomes property sets on the web objects.
//
// Threads: the pipe thread does all pipe I/O and never touches the model; it
// holds the classifier only weakly and waits for the main thread's answer
// to each message, so at most one message is in progress. Everything else
// runs on the main thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <stop_token>
#include <string>

#include "core/common_base.h"
#include "platform/ipc.h"
#include "platform/types.h"
#include "web/web_classification_objects.h"

namespace qv {

class CThread;
class CWebPage;

class CWebContentClassifier : public CCommonBase {
public:
    using PageCollection = observable_collection<CWebContentClassifier, CWebPage*>;

    // Takes the lowest free pipe slot and starts the pipe thread, last.
    CWebContentClassifier(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                          const CRefPtr<IAsyncActionDispatcher>& dispatcher, const CRefPtr<CContentClassifierLog>& log);

    // True also when no slot was free: the process then runs without web
    // information.
    bool StartPELTAKPipeThread();
    // Closes the pipe, which ends the thread's blocking calls.
    void StopPELTAKPipeThread();
    // The slot this classifier serves, or -1.
    int PipeSlot() const { return m_slot; }

    // One message of the native host, on the main thread. The reply is the
    // compact JSON that goes back; empty when the message was refused (the
    // trace says why) or the body was empty.
    void ProcessMessage(uint32_t sourceProcessId, const std::wstring& sourceProcessPath, const std::string& body,
                        std::string& reply);
    // The object of that id, made through the factory table and wired to
    // this classifier when it is new; null for an unknown type.
    CRefPtr<CWebClassificationObject> FindOrCreateObject(const WebObjectId& id, const std::string& type);
    // One line on LogOutput, stamped with the seconds since start.
    void LogLine(const std::string& text);
    // Standard output, where a person running the program reads along; a
    // benchmark or test may point it elsewhere.
    std::FILE* LogOutput = stdout;

    // "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}".
    std::string HostIdText() const;

    // The largest timeStamp of any page so far.
    uint64_t LatestTimeStamp = 0;
    CWebClassificationObjects Objects;

    observable_property<CWebContentClassifier, std::wstring> AudioEndpointId{this, "AudioEndpointId"};
    // The instanceId of the add-on last heard; a new one wipes every page.
    observable_property<CWebContentClassifier, std::string> ExtensionInstanceId{this, "ExtensionInstanceId"};

    // Every live page.
    PageCollection WebPages{this};
    // The pages that really are audible.
    PageCollection AudibleWebPages{this};

protected:
    ~CWebContentClassifier() override;

private:
    static void PELTAKPipeThread(std::stop_token stop, CRefPtr<IPipeServer> server,
                                 CWeakRefPtr<CWebContentClassifier> self, CRefPtr<IAsyncActionDispatcher> dispatcher);
    void NewHostId();
    void WipePages();

    QV_PROPERTY_HOOKS(AudioEndpointId)
    QV_PROPERTY_HOOKS(ExtensionInstanceId)

    CRefPtr<IPipeServer> m_pipe;
    std::shared_ptr<CThread> m_thread;
    int m_slot = -1;
    const std::chrono::steady_clock::time_point StartTicks = std::chrono::steady_clock::now();
    nlohmann::json ReplyJson;
    GUID hostId{};
};

}  // namespace qv
