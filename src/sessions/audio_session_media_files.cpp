// The media files of a player's session: the interop file made with the
// session, the runs of the lister PELTAK64 that fill it, the choice of one
// path, and the examination of that file. All on the main thread, the wait for
// the lister and the decoding included: the main thread stands still for
// them, and nothing else runs meanwhile.
#include <array>
#include <memory>

#include "classify/content_classifier_log.h"
#include "core/text.h"
#include "platform/codes.h"
#include "platform/platform.h"
#include "sessions/audio_session.h"
#include "sessions/audio_session_manager.h"
#include "sessions/interop_file_format.h"
#include "sessions/media_file_examination.h"
#include "shell/native_host_path.h"

namespace qv {

namespace {

// Players whose open files are asked for, compared whole and without regard
// to case with the process's image name.
constexpr std::array<std::wstring_view, 8> kMediaPlayerProcessNames{
    L"PowerDVD", L"movie.ui", L"video.ui", L"VLC", L"Video", L"music.ui", L"microsoft.media.player", L"wmplayer"};

constexpr const wchar_t* kListerModeSelector = L"{B5A1C3D7-9E42-4F06-8C1B-2D7E6F30A914}";
constexpr std::chrono::milliseconds kRepeatDelay{200};
constexpr int kRepeatRuns = 3;

bool IsMediaPlayer(const std::wstring& imageName) {
    const std::wstring name = ToLowerWide(imageName);
    for (std::wstring_view player : kMediaPlayerProcessNames)
        if (name == ToLowerWide(player)) return true;
    return false;
}

// The lister lies beside the running program.
std::wstring ListerPath(IPlatform& platform) {
    return Utf8ToWide(NativeHostPath(ProgramPath(platform), NativeHostLayoutOf(platform.Files().get())));
}

// The whole answer from the interop file, or an empty object when the file
// says there is nothing or does not hold together.
CRefPtr<CProcessOpenedMediaFiles> ReadInteropFile(const CCommonBase& tracer, IFile& file) {
    auto result = MakeRef<CProcessOpenedMediaFiles>();
    uint8_t field[4] = {};
    uint32_t read = 0;
    file.FlushFileBuffers();
    if (file.SetFilePointer(0) != ERROR_SUCCESS) return result;
    if (file.ReadFile(field, sizeof field, read) != ERROR_SUCCESS || read != sizeof field) return result;
    const uint32_t total = InteropTotalLength(field);
    if (total <= kInteropTotalLengthSize) return result;
    if (total > kInteropMaxTotalLength) {
        tracer.Trace(L"Interop file ignored: its total length %u is over the limit of %u.\n", total,
                     kInteropMaxTotalLength);
        return result;
    }
    std::vector<uint8_t> body(total - kInteropTotalLengthSize);
    if (file.ReadFile(body.data(), static_cast<uint32_t>(body.size()), read) != ERROR_SUCCESS) return result;
    if (read != body.size()) {
        tracer.Trace(L"Interop file ignored: it holds %u of the %u bytes its total length promises.\n",
                     read + kInteropTotalLengthSize, total);
        return result;
    }
    OpenedMediaFileLists lists;
    std::string problem;
    if (!DecodeInteropBody(body, lists, problem)) {
        tracer.Trace(L"Interop file ignored: %s.\n", Utf8ToWide(problem));
        return result;
    }
    for (const std::wstring& path : lists.video) result->VideoFiles.Insert(path);
    for (const std::wstring& path : lists.audio) result->AudioFiles.Insert(path);
    return result;
}

}  // namespace

void CAudioSession::CreateInteropFile() {
    CRefPtr<IPlatform> platform = GetPlatform();
    CRefPtr<IFiles> files = platform ? platform->Files() : nullptr;
    if (!files) return;
    std::string folder;
    Win32Error error = files->GetTempPath(folder);
    // The folder must fit the 1024 bytes it has always been given.
    const uint32_t length = error == ERROR_SUCCESS ? static_cast<uint32_t>(folder.size()) : 0;
    if (length - 1u > 1023u) {
        Trace(L"Failed to retreive interop file's temporary directory with returned value %i.\n",
              static_cast<int32_t>(length));
        return;
    }
    if (files->GetTempFileName(folder, InteropFilePathNarrow) != ERROR_SUCCESS) {
        InteropFilePathNarrow.clear();
        Trace(L"Failed to retreive interop file's temporary path with returned value %i.\n", 0);
        return;
    }
    InteropFilePathWide = Utf8ToWide(InteropFilePathNarrow);
    error = files->CreateTemporaryFile(InteropFilePathNarrow, InteropFileHandle);
    if (error != ERROR_SUCCESS) {
        InteropFileHandle = nullptr;
        Trace(L"Failed to create interop file with error code %i.\n", static_cast<int32_t>(error));
    }
}

void CAudioSession::PostUpdateProcessOpenedMediaFiles(std::chrono::milliseconds firstDelay) {
    CancelPostedUpdateProcessOpenedMediaFiles();
    CRefPtr<CAudioSessionManager> manager = AudioSessionManager->Lock();
    if (!manager) return;
    auto runsLeft = std::make_shared<int>(kRepeatRuns);
    PostedMediaFilesUpdateAction = CAsyncAction::Post(
        Dispatcher(), firstDelay,
        MediaFilesUpdateRun(CWeakRefPtr<CAudioSession>(this), manager->Dispatcher(), kRepeatDelay, runsLeft));
}

// The runs keep the manager's dispatcher, not the manager: the function goes
// with the delay's own thread when a run is cancelled or the loop has ended,
// and a manager whose last reference went there would end off the main
// thread.
CAsyncAction::Function CAudioSession::MediaFilesUpdateRun(CWeakRefPtr<CAudioSession> weakSession,
                                                          CRefPtr<IAsyncActionDispatcher> dispatcher,
                                                          std::chrono::milliseconds repeatDelay,
                                                          std::shared_ptr<int> runsLeft) {
    return [weakSession, dispatcher, repeatDelay, runsLeft](CRefPtr<CAsyncAction>) {
        CRefPtr<CAudioSession> session = weakSession.Lock();
        if (!session) return;
        session->UpdateProcessOpenedMediaFiles();
        if (repeatDelay.count() == 0 || *runsLeft <= 0) return;
        // Each later run is timed from the end of the one before.
        session->PostedMediaFilesUpdateAction = CAsyncAction::Post(
            dispatcher, repeatDelay, MediaFilesUpdateRun(weakSession, dispatcher, repeatDelay, runsLeft));
        --*runsLeft;
    };
}

void CAudioSession::CancelPostedUpdateProcessOpenedMediaFiles() { CancelPending(PostedMediaFilesUpdateAction); }

void CAudioSession::UpdateProcessOpenedMediaFiles() {
    QV_TRACE_SCOPE(L"CAudioSession::UpdateProcessOpenedMediaFiles");
    ProcessOpenedMediaFiles.set(ListProcessOpenedMediaFiles());
}

CRefPtr<CProcessOpenedMediaFiles> CAudioSession::ListProcessOpenedMediaFiles() {
    const CProcessInfo* process = ProcessInfo->get();
    if (SourceProcessID.value() == 0 || !process || !IsMediaPlayer(process->ImageName)) return nullptr;
    if (!InteropFileHandle) return nullptr;
    CRefPtr<IPlatform> platform = GetPlatform();
    CRefPtr<IProcesses> processes = platform ? platform->Processes() : nullptr;
    CRefPtr<ISync> sync = platform ? platform->Sync() : nullptr;
    if (!processes || !sync) return nullptr;

    const std::wstring lister = ListerPath(*platform);
    const std::wstring commandLine = L"\"" + lister + L"\" " + kListerModeSelector + L" " +
                                     std::to_wstring(SourceProcessID.value()) + L" \"" + InteropFilePathWide + L"\"";
    CRefPtr<IProcessHandle> child;
    if (processes->CreateProcess(lister, commandLine, kCreateNewConsole, child) != ERROR_SUCCESS || !child)
        return nullptr;
    // No time limit: a lister that hangs holds the main thread with it.
    sync->WaitForMultipleObjects({child.get()}, kWaitInfinite);
    uint32_t exitCode = 1;
    if (child->GetExitCodeProcess(exitCode) != ERROR_SUCCESS || exitCode != 0) return nullptr;
    return ReadInteropFile(*this, *InteropFileHandle);
}

// Video beats audio, and the video flag is set before the path, whose
// handler reads it. Nothing else orders the paths: the first one put in wins.
void CAudioSession::UpdateOpenedMediaFilePathAndIsVideo() {
    const CProcessOpenedMediaFiles* files = ProcessOpenedMediaFiles->get();
    if (!files) {
        OpenedMediaFilePath.set(std::wstring());
        return;
    }
    if (!files->VideoFiles.empty()) {
        IsVideo.set(true);
        OpenedMediaFilePath.set(files->VideoFiles.front());
        return;
    }
    IsVideo.set(false);
    OpenedMediaFilePath.set(files->AudioFiles.empty() ? std::wstring() : files->AudioFiles.front());
}

void CAudioSession::CAudioSession_ProcessOpenedMediaFilesChanging(void*, CallbackCallReason) {}

void CAudioSession::CAudioSession_ProcessOpenedMediaFilesChanged(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSession::ProcessOpenedMediaFiles_Changed");
    UpdateOpenedMediaFilePathAndIsVideo();
}

void CAudioSession::CAudioSession_OpenedMediaFilePathChanging(void*, CallbackCallReason) {}

// Where the file is examined. A failed examination resets nothing: an older
// SampleBuffer may stand beside a new path.
void CAudioSession::CAudioSession_OpenedMediaFilePathChanged(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioSession::OpenedMediaFilePath_Changed");
    const std::wstring path = OpenedMediaFilePath.value();
    if (path.empty()) return;
    Trace(L"OpenedMediaFilePath = %s\n", path);
    CRefPtr<CAudioSessionManager> manager = AudioSessionManager->Lock();
    if (manager && manager->Log()) {
        CContentClassifierLog& log = *manager->Log();
        log.Url.Clear();
        log.VideoSite.Clear();
        log.Category.Clear();
        log.MediaFile.Set({path});
    }
    // That player's files are not opened. Without a process the name counts
    // as empty, and the examination goes on.
    const CProcessInfo* process = ProcessInfo->get();
    if (process && StartsWithNoCase(process->ImageName, L"PowerDVD")) return;

    CRefPtr<IPlatform> platform = GetPlatform();
    CRefPtr<IMediaFoundation> media = platform ? platform->Media() : nullptr;
    if (!media) return;
    MediaFileFacts facts = ExamineMediaFile(*this, *media, path, IsVideo.value());
    if (facts.info) AudioStreamBasicInfo.set(facts.info);
    if (facts.samples) SampleBuffer.set(facts.samples);
}

}  // namespace qv
