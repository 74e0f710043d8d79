// The protocol between the console's two sides: a running module, and the operator's program.
//
// A module listens on the Unix stream socket DIR/MODULE. The operator's side sends lines: a command with its arguments
// as it was typed, one a line, kLineLimit bytes with the '\n' at most; a '\r' before the '\n' is dropped. The module
// splits it into words, finds the command, and answers line by line, in order, with frames: a byte for the kind, four
// bytes for the length of what follows (least significant first), and that.
//
// The module knows these words itself: `help` lists the commands with their arguments, `help COMMAND` shows one;
// `store` shows how the program stands with its store, unless it has a command of that name;
// `.commands` is for completion and prints a line for each: its name, a tab, its argument format. An empty line is
// answered by its exit status alone, 0.
//
// Of command_line's exit statuses a module gives kDone; kNegative when the handler's status was negative, or it told of
// a failure aside; kUsage when nothing was called: no such command, or arguments that are not as its format has them;
// kRefused when it does not serve this operator, or cannot run the command now.
//
// A module that refuses an operator, is sent a line that is too long, or hears nothing for kIdleLimit says why and
// closes. It may do so before it has read all that was sent: a failed write is no reason not to read the rest.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace quib {

enum FrameKind : char {
    kFrameOutput = 'o',      // bytes for standard output
    kFrameDiagnostic = 'e',  // text for standard error, with its '\n'
    kFrameExit = 'x'         // the end of an answer: the exit status, in decimal
};

// The module's own words. No command can be called as the first and the last are; one that is called as the second
// takes its place.
inline constexpr std::string_view kHelp = "help";
inline constexpr std::string_view kStore = "store";
inline constexpr std::string_view kForCompletion = ".commands";

inline constexpr size_t kLineLimit = 4096;
inline constexpr size_t kOperatorLimit = 8;
inline constexpr std::chrono::milliseconds kIdleLimit = std::chrono::minutes(10);
inline constexpr size_t kFrameHeaderSize = 5;

using FrameHeader = std::array<char, kFrameHeaderSize>;

inline FrameHeader frame_header(FrameKind kind, uint32_t length) {
    FrameHeader header{kind};
    for (size_t i = 1; i < header.size(); ++i, length >>= 8U) {
        header[i] = static_cast<char>(length & 0xffU);
    }
    return header;
}

inline uint32_t frame_length(const FrameHeader &header) {
    uint32_t length = 0;
    for (size_t i = header.size() - 1; i > 0; --i) {
        length = length << 8U | static_cast<unsigned char>(header[i]);
    }
    return length;
}

// Where programs of all users meet: it belongs to root, and is sticky.
inline constexpr char kSystemDirectory[] = "/run/quib";

// DIR, where modules listen: $QUIB_DIR, else $XDG_RUNTIME_DIR/quib, else /run/quib. Empty variables count as unset.
inline std::string socket_directory() {
    const char *own = std::getenv("QUIB_DIR");
    if (own != nullptr && *own != '\0') {
        return own;
    }
    const char *runtime = std::getenv("XDG_RUNTIME_DIR");
    return runtime != nullptr && *runtime != '\0' ? std::string(runtime) + "/quib" : kSystemDirectory;
}

}  // namespace quib
