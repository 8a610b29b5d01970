#include "replay_media_files.h"

#include <algorithm>
#include <cmath>
#include <cwchar>

#include "core/text.h"

namespace qv::replay {

namespace {

constexpr const wchar_t* kSelector = L"{B5A1C3D7-9E42-4F06-8C1B-2D7E6F30A914}";

// The process id and interop path of the classifier's command line:
// "LISTER" SELECTOR PID "PATH". False for anything else.
bool ParseListerCommandLine(const std::wstring& commandLine, uint32_t& pid, std::wstring& interopPath) {
    const std::size_t programEnd = commandLine.find(L"\" ", 1);
    if (commandLine.empty() || commandLine[0] != L'"' || programEnd == std::wstring::npos) return false;
    std::wstring rest = commandLine.substr(programEnd + 2);
    const std::wstring selector = std::wstring(kSelector) + L" ";
    if (rest.compare(0, selector.size(), selector) != 0) return false;
    rest.erase(0, selector.size());
    const std::size_t pidEnd = rest.find(L' ');
    if (pidEnd == std::wstring::npos || pidEnd == 0) return false;
    pid = static_cast<uint32_t>(std::wcstoul(rest.substr(0, pidEnd).c_str(), nullptr, 10));
    const std::wstring quoted = rest.substr(pidEnd + 1);
    if (quoted.size() < 2 || quoted.front() != L'"' || quoted.back() != L'"') return false;
    interopPath = quoted.substr(1, quoted.size() - 2);
    return true;
}

// Little-endian signed PCM of the resolution, in buffers of a tenth of a
// second, as a decoder hands them out.
std::vector<std::vector<uint8_t>> PcmBuffers(const std::vector<float>& samples, const FileSpec& file) {
    const std::size_t perBuffer = std::max<std::size_t>(1, std::size_t{file.rate} * file.channels / 10);
    const int bytes = static_cast<int>(file.bits / 8);
    const double scale = std::ldexp(1.0, static_cast<int>(file.bits) - 1) - 1;
    std::vector<std::vector<uint8_t>> buffers;
    for (std::size_t first = 0; first < samples.size(); first += perBuffer) {
        std::vector<uint8_t>& buffer = buffers.emplace_back();
        for (std::size_t i = first; i < std::min(samples.size(), first + perBuffer); ++i) {
            const auto value = static_cast<int32_t>(std::lround(std::clamp(samples[i], -1.0f, 1.0f) * scale));
            for (int b = 0; b < bytes; ++b) buffer.push_back(static_cast<uint8_t>(value >> (8 * b)));
        }
    }
    return buffers;
}

}  // namespace

CReplayMediaFiles::CReplayMediaFiles(CRefPtr<CSimPlatform> platform) : m_platform(std::move(platform)) {
    m_platform->SimProcesses->SetCreateProcessHandler(
        [this](const std::wstring&, const std::wstring& commandLine) { return RunLister(commandLine); });
}

bool CReplayMediaFiles::Open(const FileSpec& file, const std::vector<float>* samples, std::string& problem) {
    SimMediaFile media;
    media.channels = file.channels;
    media.samplesPerSecond = file.rate;
    media.bitsPerSample = file.bits;
    media.duration100ns = static_cast<int64_t>(std::llround(file.duration * 10000000.0));
    if (samples) {
        if (file.bits != 8 && file.bits != 16) {
            problem = "sound is made for 8 and 16 bits only";
            return false;
        }
        media.buffers = PcmBuffers(*samples, file);
    }
    const std::wstring path = Utf8ToWide(file.path);
    m_platform->SimMedia->PutMediaFile(path, std::move(media));
    std::lock_guard lock(m_mutex);
    OpenedMediaFileLists& lists = m_open[file.pid];
    std::vector<std::wstring>& list = file.video ? lists.video : lists.audio;
    if (std::find(list.begin(), list.end(), path) == list.end()) list.push_back(path);
    return true;
}

uint32_t CReplayMediaFiles::RunLister(const std::wstring& commandLine) {
    uint32_t pid = 0;
    std::wstring interopPath;
    if (!ParseListerCommandLine(commandLine, pid, interopPath)) return 2;
    std::vector<uint8_t> bytes;
    {
        std::lock_guard lock(m_mutex);
        auto found = m_open.find(pid);
        bytes = EncodeInteropFile(found == m_open.end() ? OpenedMediaFileLists{} : found->second);
    }
    const Win32Error error =
        m_platform->SimFiles->WriteAt(interopPath, 0, bytes.data(), static_cast<uint32_t>(bytes.size()));
    return error == 0 ? 0 : 1;
}

}  // namespace qv::replay
