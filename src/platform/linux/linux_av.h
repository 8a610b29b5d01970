// Owners of FFmpeg's objects, each freed by FFmpeg's own function for it,
// and the result code that stands for an FFmpeg error.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswresample/swresample.h>
}

#include <memory>

#include "platform/types.h"

namespace qv {

struct AvFormatCloser {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
struct AvCodecContextFreer {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct AvPacketFreer {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct AvFrameFreer {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct SwrFreer {
    void operator()(SwrContext* context) const { swr_free(&context); }
};

// The options of an open call: FFmpeg takes the ones it knows out and leaves
// the rest, which the owner frees.
class AvDictionary {
public:
    AvDictionary() = default;
    AvDictionary(const AvDictionary&) = delete;
    AvDictionary& operator=(const AvDictionary&) = delete;
    ~AvDictionary() { av_dict_free(&m_entries); }
    AVDictionary** put() { return &m_entries; }

private:
    AVDictionary* m_entries = nullptr;
};

using AvFormatPtr = std::unique_ptr<AVFormatContext, AvFormatCloser>;
using AvCodecContextPtr = std::unique_ptr<AVCodecContext, AvCodecContextFreer>;
using AvPacketPtr = std::unique_ptr<AVPacket, AvPacketFreer>;
using AvFramePtr = std::unique_ptr<AVFrame, AvFrameFreer>;
using SwrPtr = std::unique_ptr<SwrContext, SwrFreer>;

// A failing HRESULT for an AVERROR. Errors that are an errno become the
// Win32 error of the same meaning (a missing file is 0x80070002, as on
// Windows); invalid data, a missing decoder and a missing stream become
// Media Foundation's codes for them. Any other AVERROR is negative already
// and is passed on as it is, so that av_strerror of the printed number says
// what it was.
HRESULT HresultFromAvError(int error);

}  // namespace qv
