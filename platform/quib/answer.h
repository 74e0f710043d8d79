// The answer to one line.
#pragma once

#include <string>
#include <string_view>

#include "capture.h"
#include "command_line/exit_status.h"
#include "protocol.h"

namespace quib {

using command_line::ExitStatus;
using command_line::kDone;
using command_line::kNegative;
using command_line::kRefused;
using command_line::kUsage;

struct Answer {
    Captured output;     // sent first
    std::string frames;  // sent after it
};

inline void append_frame(std::string &to, FrameKind kind, std::string_view payload) {
    const FrameHeader header = frame_header(kind, static_cast<uint32_t>(payload.size()));
    to.append(header.data(), header.size()).append(payload);
}

// A line of its own.
inline void append_diagnostic(std::string &to, const std::string &text) {
    append_frame(to, kFrameDiagnostic, text + "\n");
}

// Ends an answer, after a diagnostic if there is one.
inline void append_end(std::string &to, ExitStatus status, const std::string &diagnostic = {}) {
    if (!diagnostic.empty()) {
        append_diagnostic(to, diagnostic);
    }
    append_frame(to, kFrameExit, std::to_string(status));
}

}  // namespace quib
