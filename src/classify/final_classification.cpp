// The second half of the content classifier: from a calculated result to what
// the host hears.
#include <cstdio>

#include "classify/content_classifier.h"
#include "classify/content_classifier_log.h"
#include "classify/content_discrimination.h"
#include "classify/host_message.h"
#include "core/text.h"
#include "platform/codes.h"
#include "platform/platform.h"

namespace qv {

bool ReadNetworkOnlyOverride() {
    CRefPtr<IPlatform> platform = GetPlatform();
    CRefPtr<IRegistry> registry = platform ? platform->Registry() : nullptr;
    if (!registry) return false;
    CRefPtr<IRegistryKey> key;
    if (registry->RegOpenKeyEx(RegistryRoot::LocalMachine, L"Software\\Quorvane", kRegOptionOpenLink,
                               kKeyRead | kKeyWow6464Key, key) != 0 ||
        !key)
        return false;
    uint32_t type = 0;
    std::vector<uint8_t> data;
    if (key->RegQueryValueEx(L"SymbolicLinkValue", type, data) == 0) return false;
    if (key->RegQueryValueEx(L"AICCNNOnly", type, data) != 0 || data.size() < 4) return false;
    const uint32_t value = data[0] | (data[1] << 8) | (data[2] << 16) | (uint32_t{data[3]} << 24);
    return value != 0;
}

uint32_t CContentClassifier::FeatureMode() const {
    return AudioDevice.value() ? AudioDevice.value()->AutoPresetFeatureMode.value() : 0;
}

void CContentClassifier::PostUpdateFinalClassification(const CClassification& c,
                                                       const CRefPtr<CAudioStreamBasicInfo>& info, bool isVideo,
                                                       std::chrono::milliseconds delay) {
    QV_TRACE_SCOPE(L"CContentClassifier::PostUpdateFinalClassification");
    Trace(L"Audio endpoint id: %s\n", m_endpointId);
    Trace(L"Calculated classification: %s\n", ClassificationName(c.Category));
    CancelPending(PendingUpdate);
    CWeakRefPtr<CContentClassifier> weak(this);
    PendingUpdate = CAsyncAction::Post(Dispatcher(), delay, [weak, c, info, isVideo](CRefPtr<CAsyncAction>) {
        if (CRefPtr<CContentClassifier> self = weak.Lock()) self->UpdateFinalClassification(c, info, isVideo);
    });
}

void CContentClassifier::UpdateFinalClassification(const CClassification& c,
                                                   const CRefPtr<CAudioStreamBasicInfo>& info, bool isVideo) {
    QV_TRACE_SCOPE(L"CContentClassifier::UpdateFinalClassification");
    Trace(L"Audio endpoint id: %s\n", m_endpointId);
    Trace(L"Calculated classification: %s\n", ClassificationName(c.Category));
    const bool networkOnly = ReadNetworkOnlyOverride();
    const uint32_t mode = FeatureMode();
    Trace(L"AutoPresetFeatureMode = %i\n", mode);

    // A sure result (confidence exactly 1.0) is final unless the override
    // lets the network overrule it.
    const bool askNetwork = mode == 0 && ContentDiscriminationLoaded() && (networkOnly || c.Confidence < 1.0f);
    if (!askNetwork) {
        if (Log()) {
            Log()->NetworkInput.Clear();
            Log()->NetworkOutput.Clear();
        }
        SetFinalClassification(c);
        return;
    }
    // Without stream facts there is nothing to ask about, and the final
    // classification stays as it was.
    if (!info) return;

    double* output = nullptr;
    ContentDiscriminationAnswer answer = AskContentDiscrimination(*info, isVideo, Log().get(), &output);
    CClassification r{CategoryNone, 1.0f, 0, c.Source, false};
    const wchar_t* label = nullptr;
    switch (answer.index) {
        case 0:
            r = {CategoryMovie, 1.0f, 10, c.Source, false};
            label = L"Movie";
            break;
        case 1:
            r = {CategoryMusic, 1.0f, 20, c.Source, false};
            label = L"Music";
            break;
        default:
            // The network cannot call Voice what the sample analysis refused.
            if (!c.VoiceRejected) {
                r = {CategoryVoice, 1.0f, 30, c.Source, false};
                label = L"Voice";
            }
            break;
    }
    if (label && Log()) {
        NetworkOutputFields fields;
        for (int i = 0; i < 3; ++i) fields.scores[i] = answer.scores[i];
        fields.label = label;
        Log()->NetworkOutput.Set(fields);
    }
    SetFinalClassification(r);
    FreeContentDiscriminationOutput(output);
}

void CContentClassifier::SetFinalClassification(CClassification c) {
    QV_TRACE_SCOPE(L"CContentClassifier::SetFinalClassification");
    const uint32_t mode = FeatureMode();
    Trace(L"Audio endpoint id: %s\n", m_endpointId);
    Trace(L"Classification: %s\n", ClassificationName(c.Category));
    Trace(L"AutoPresetFeatureMode = %i\n", mode);

    // Under mode 1 Voice alone goes through: the host hears "Voice" when
    // speech begins and, when it ends, the content type the device had before.
    if (mode != 0) {
        const int32_t current = FinalClassification->Category;
        if (c.Category == CategoryVoice) {
            if (current != CategoryVoice) {
                const CAudioDevice* device = AudioDevice->get();
                PreFinalClassification = CategoryFromName(device ? device->ContentTypeName.value() : L"");
            }
        } else if (current == CategoryVoice && PreFinalClassification != CategoryUndefined) {
            c.Category = PreFinalClassification;
            PreFinalClassification = CategoryUndefined;
        } else {
            return;
        }
    }

    Trace(L"Old FinalClassification: %s\n", ClassificationName(FinalClassification->Category));
    FinalClassification.set(c);
    Trace(L"New FinalClassification: %s\n", ClassificationName(FinalClassification->Category));
    if (FinalClassification->Category != CategoryNone && Log()) Log()->Flush(FinalClassification->Category);
}

void CContentClassifier::CContentClassifier_FinalClassificationChanged(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CContentClassifier::FinalClassification_Changed");
    const CClassification& final = FinalClassification.value();
    if (final.Category < 0) return;
    const CAudioDevice* device = AudioDevice->get();
    const bool hasAutoPreset = device && device->HasAutoPreset.value();
    Trace(L"Audio endpoint id: %s\n", m_endpointId);
    Trace(L"FinalClassification: %s\n", ClassificationName(final.Category));
    Trace(L"HasAutoPreset == %i", hasAutoPreset ? 1 : 0);
    if (!hasAutoPreset) return;
    const std::string word = WideToUtf8(ClassificationName(final.Category));
    const std::string endpoint = WideToUtf8(m_endpointId);
    Trace(L"%s >>> Classified as '%s'\n", m_endpointId, ClassificationName(final.Category));
    std::printf("%s >>> Classified as '%s'\n", endpoint.c_str(), word.c_str());
    std::fflush(stdout);
    SendToHost(word);
}

// Only leaving for good withdraws the classification; a change sends the
// new one from _Changed.
void CContentClassifier::CContentClassifier_FinalClassificationChanging(void*, CallbackCallReason reason) {
    QV_TRACE_SCOPE(L"CContentClassifier::FinalClassification_Changing");
    if (FinalClassification->Category < 0) return;
    if (reason == CallbackCallReason::Unsubscribed) SendToHost(std::string());
}

void CContentClassifier::SendToHost(const std::string& word) {
    QV_TRACE_SCOPE(L"CContentClassifier::SendToHost");
    if (HostPipeName->empty()) return;
    CRefPtr<IPlatform> platform = GetPlatform();
    CRefPtr<IPipes> pipes = platform ? platform->Pipes() : nullptr;
    if (!pipes) return;
    SendHostMessage(*pipes, HostPipeName.value(), BuildHostMessageText(WideToUtf8(m_endpointId), word));
}

}  // namespace qv
