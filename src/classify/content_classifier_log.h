// The classification meta log: for a person watching from outside, what was
// known when the final classification last changed. Small records with a
// "has" and a "written" mark each, and a sender that writes one line per
// connection to the meta log pipe. Nothing reads the records for a decision.
#pragma once

#include <cstdint>
#include <string>

#include "core/format.h"
#include "core/ref.h"
#include "core/trace.h"
#include "platform/ipc.h"

namespace qv {

// One record: its fields and the two marks. Setting compares field by field;
// any difference clears `written`, and `has` is set either way, so an
// unchanged record is no news.
template <class Fields>
struct CContentClassifierLogRecord {
    bool has = false;
    bool written = false;
    Fields fields{};

    void Set(const Fields& value) {
        if (!(value == fields)) {
            fields = value;
            written = false;
        }
        has = true;
    }
    void Clear() {
        has = false;
        written = false;
    }
    bool IsNews() const { return has && !written; }
};

struct NetworkInputFields {
    double duration = 0;    // seconds
    double sampleRate = 0;  // kilohertz
    int32_t video = 0;
    int32_t bitResolution = 0;
    int32_t channelCount = 0;
    friend bool operator==(const NetworkInputFields&, const NetworkInputFields&) = default;
};
struct NetworkOutputFields {
    double scores[3] = {0, 0, 0};
    std::wstring label;
    friend bool operator==(const NetworkOutputFields& a, const NetworkOutputFields& b) {
        return a.scores[0] == b.scores[0] && a.scores[1] == b.scores[1] && a.scores[2] == b.scores[2] &&
               a.label == b.label;
    }
};
struct TextFields {
    std::wstring text;
    friend bool operator==(const TextFields&, const TextFields&) = default;
};
struct VideoSiteFields {
    double duration = 0;
    double sampleRate = 0;
    int32_t channelCount = 0;
    friend bool operator==(const VideoSiteFields&, const VideoSiteFields&) = default;
};
struct CategoryFields {
    int32_t number = 0;
    std::wstring name;
    friend bool operator==(const CategoryFields&, const CategoryFields&) = default;
};

class CContentClassifierLog : public CAddReleaseRef {
public:
    static constexpr const wchar_t* kPipeName =
        L"\\\\.\\Pipe\\1B4A24F4-FCC5-44E1-8E93-988F281542BB_Quorvane_CCMetaLog";

    explicit CContentClassifierLog(const CRefPtr<ITraceFuncCallTarget>& traceTarget);

    CContentClassifierLogRecord<NetworkInputFields> NetworkInput;
    CContentClassifierLogRecord<NetworkOutputFields> NetworkOutput;
    CContentClassifierLogRecord<TextFields> MediaFile;
    CContentClassifierLogRecord<TextFields> App;
    CContentClassifierLogRecord<TextFields> Url;
    CContentClassifierLogRecord<VideoSiteFields> VideoSite;
    CContentClassifierLogRecord<CategoryFields> Category;

    // One line, formatted into 4096 characters, over one connection to the
    // pipe. A line that cannot be delivered is lost without a word.
    template <class... Args>
    void WriteLine(const wchar_t* format, const Args&... args) {
        if constexpr (sizeof...(Args) == 0) {
            SendLine(FormatWInto(4096, L"%s", format));
        } else {
            SendLine(FormatWInto(4096, format, args...));
        }
    }

    // At the end of a final classification that is not the fallback: if any
    // record is news, every record that has something is printed, then the
    // "MODE:" line. Without news nothing goes out.
    void Flush(int32_t finalCategory);

private:
    ~CContentClassifierLog() override = default;
    void SendLine(const std::wstring& text);

    CRefPtr<ITraceFuncCallTarget> m_traceTarget;
    CRefPtr<IPipes> m_pipes;
};

}  // namespace qv
