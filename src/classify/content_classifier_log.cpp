#include "classify/content_classifier_log.h"

#include <string_view>

#include "classify/classification.h"
#include "core/text.h"
#include "platform/codes.h"
#include "platform/platform.h"

namespace qv {

CContentClassifierLog::CContentClassifierLog(const CRefPtr<ITraceFuncCallTarget>& traceTarget)
    : m_traceTarget(traceTarget) {
    if (CRefPtr<IPlatform> platform = GetPlatform()) m_pipes = platform->Pipes();
}

void CContentClassifierLog::SendLine(const std::wstring& text) {
    if (!m_pipes) return;
    CRefPtr<IPipeConnection> pipe;
    Win32Error error = m_pipes->CreateFile(kPipeName, pipe);
    while (error != 0 || !pipe) {
        if (error != ERROR_PIPE_BUSY) return;
        if (m_pipes->WaitNamedPipe(kPipeName, 4000) != 0) return;
        error = m_pipes->CreateFile(kPipeName, pipe);
    }
    // The length counts the UTF-16 text and its terminating null.
    std::vector<uint8_t> payload = WideToUtf16Le(text);
    payload.push_back(0);
    payload.push_back(0);
    const auto size = static_cast<uint32_t>(payload.size());
    const uint8_t length[4] = {static_cast<uint8_t>(size), static_cast<uint8_t>(size >> 8),
                               static_cast<uint8_t>(size >> 16), static_cast<uint8_t>(size >> 24)};
    uint32_t written = 0;
    if (pipe->WriteFile(length, 4, written) != 0) return;
    pipe->WriteFile(payload.data(), size, written);
}

void CContentClassifierLog::Flush(int32_t finalCategory) {
    const bool news = App.IsNews() || MediaFile.IsNews() || Url.IsNews() || VideoSite.IsNews() || Category.IsNews() ||
                      NetworkInput.IsNews() || NetworkOutput.IsNews();
    if (!news) return;
    if (App.has) {
        WriteLine(L"App: %s (Voice)\n", App.fields.text);
        App.written = true;
    }
    if (MediaFile.has) {
        WriteLine(L"Media file: %s\n", MediaFile.fields.text);
        MediaFile.written = true;
    }
    if (Url.has) {
        WriteLine(L"Url: %s\n", Url.fields.text);
        Url.written = true;
    }
    if (VideoSite.has) {
        const auto& v = VideoSite.fields;
        WriteLine(L"Youtube: duration = %f, sample rate = %f, channel count = %i\n", v.duration, v.sampleRate,
                  v.channelCount);
        VideoSite.written = true;
    }
    if (Category.has) {
        WriteLine(L"Category: #%i (%s)\n", Category.fields.number, Category.fields.name);
        Category.written = true;
    }
    if (NetworkInput.has) {
        const auto& n = NetworkInput.fields;
        WriteLine(L"NN: duration = %f, sample rate = %f, video = %i, bit resolution = %i, channel count = %i\n",
                  n.duration, n.sampleRate, n.video, n.bitResolution, n.channelCount);
        NetworkInput.written = true;
    }
    if (NetworkOutput.has) {
        const auto& o = NetworkOutput.fields;
        WriteLine(L"NN: [%f, %f, %f] (%s)\n", o.scores[0], o.scores[1], o.scores[2], o.label);
        NetworkOutput.written = true;
    }
    // The one place where category 1 is printed as music.
    std::wstring mode = ClassificationName(finalCategory);
    if (mode == L"AnyContent") mode = L"Music";
    WriteLine(L"MODE: ____________ %s ____________\n", mode);
}

}  // namespace qv
