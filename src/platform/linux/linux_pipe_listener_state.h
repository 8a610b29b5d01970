// Whether a pipe's server could take one more client now, asked of the
// kernel (sock_diag) without connecting: a probe connection would reach the
// server as a client that says nothing.
#pragma once

#include "platform/linux/linux_pipe_address.h"

namespace qv {

enum class PipeListenerState {
    NotListening,  // nobody serves the name
    Busy,          // its queue of waiting clients is full
    Free,          // a connect would be taken now
    Unknown,       // the kernel could not be asked
};

PipeListenerState QueryPipeListenerState(const PipeAddress& address);

}  // namespace qv
