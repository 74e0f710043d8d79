// The frames of an answer, taken apart as they come in.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace console {

class FrameReader {
public:
    // Of output and diagnostics, as much as has come of them; the end of an answer is always whole.
    struct Piece {
        char kind;
        std::string bytes;
    };

    void add(std::string_view bytes);

    // The part that can be told now. Throws a Failure when it is no answer.
    std::optional<Piece> next();

private:
    size_t available() const { return buffer_.size() - at_; }
    bool begin_frame();
    std::string take(size_t n);

    std::string buffer_;
    size_t at_ = 0;
    bool in_frame_ = false;
    char kind_ = 0;
    size_t left_ = 0;  // of the frame's payload
};

// The exit status that the end of an answer carries. Throws a Failure when it is none.
int exit_status_in(std::string_view payload);

}  // namespace console
