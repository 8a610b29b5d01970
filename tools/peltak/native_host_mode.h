// PELTAK64 as the browser's native-messaging host: each message of the
// add-on, from standard input, goes to the classifier over its pipe, and
// each reply goes back to standard output, until the browser closes the
// input.
#pragma once

#include <cstdio>

#include "classifier_pipe_client.h"

namespace qv::peltak {

// What the add-on hears instead of a reply: the add-on keeps its own state
// and reports again, so it only needs to know that this report was lost.
inline constexpr const char* kReplyNoClassifier = R"({"error":"classifier not running"})";
inline constexpr const char* kReplyExchangeFailed = R"({"error":"classifier exchange failed"})";
inline constexpr const char* kReplyTooLarge = R"({"error":"classifier reply too large"})";
// The classifier has nothing to say (its reply size is 0). The add-on
// still gets one reply per message, so that it can pair them up, and an
// empty object is the least that is valid JSON.
inline constexpr const char* kReplyEmpty = "{}";

// The loop over the two streams, which must be binary. Gives the exit
// code: kExitInputEnded when the input ends between two messages,
// kExitInputBroken when it breaks off inside one, announces more than a
// browser sends, or the output is gone. What goes wrong is told on standard
// error, which the browser keeps in its log.
int RunNativeHost(ClassifierPipeClient& client, std::FILE* input, std::FILE* output);

// The whole host mode of the program: standard input and output made
// binary, the browser found, the machine's pipes.
int RunNativeHostOnStandardStreams();

}  // namespace qv::peltak
