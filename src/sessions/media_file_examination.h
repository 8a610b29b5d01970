// What the session learns from the media file its player holds open: the
// first audio stream's facts and, for an audio file, up to eight seconds of
// its sound as the decoder gives it. The reading goes through the media port
// step by step, and stops at the first step that fails, with its message.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/common_base.h"
#include "platform/media.h"
#include "sessions/audio_stream_basic_info.h"

namespace qv {

struct MediaFileFacts {
    // Null when the examination ended before the stream's facts were known.
    CRefPtr<CAudioStreamBasicInfo> info;
    // Null unless sound was decoded: a video file, a duration that could not
    // be read and an empty decode all leave it null.
    std::shared_ptr<std::vector<float>> samples;
};

// Reads the file's stream facts and, unless isVideo, its first seconds.
// Each failure is traced through the tracer with the system's words.
MediaFileFacts ExamineMediaFile(const CCommonBase& tracer, IMediaFoundation& media, const std::wstring& path,
                                bool isVideo);

// The reader's set-up: all streams off, the first audio stream on, PCM asked
// for, and the type that the decoder settled on; null when a step failed.
// A step runs only if the one before worked, and a failure here has no
// message of its own.
CRefPtr<IMFMediaType> SelectFirstAudioStreamAsPcm(IMediaFoundation& media, IMFSourceReader& reader);

// Eight seconds of the decoded stream in bytes, as the system has always
// worked it out: ((rate x channels) >> 3) x bits x 8 in 32-bit unsigned
// arithmetic, the shift first, so the product is truncated with it.
uint32_t EightSecondsOfBytes(uint32_t samplesPerSecond, uint32_t channelCount, uint32_t bitsPerSample);

// Appends (length x 8) / bits values converted from one decoded buffer:
//   8 bits   the bytes taken as signed, x 2^-7
//   16 bits  signed 16-bit words, x 2^-15
//   24 bits  the buffer walked as signed 16-bit words, not bytes: value i is
//            ((((w[i+2] << 8) | w[i+1]) << 8) | w[i]) << 8 as a signed 32-bit
//            number, x 2^-23; words beyond the buffer count as 0
//   32 bits  the bits copied unchanged into the float
// These are what the classifier has always been given, unsigned 8-bit PCM
// and the overlapping 24-bit words included, and its sample analysis is tuned
// to them; they are kept as they are. Any other resolution appends zeros and
// gives false: the decoding ends after this buffer.
bool AppendDecodedSamples(const uint8_t* data, uint32_t length, uint32_t bitsPerSample, std::vector<float>& samples);

}  // namespace qv
