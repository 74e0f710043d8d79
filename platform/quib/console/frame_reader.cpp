#include "frame_reader.h"

#include <algorithm>
#include <charconv>

#include <protocol.h>

#include "command_line/exit_status.h"

namespace console {

using namespace command_line;

namespace {

constexpr size_t kLongestEnd = 3;  // the digits of an exit status

Failure unreadable() { return {kUnreadable, "what answers does not speak the console's protocol"}; }

}  // namespace

void FrameReader::add(std::string_view bytes) {
    buffer_.erase(0, at_);
    at_ = 0;
    buffer_.append(bytes);
}

std::string FrameReader::take(size_t n) {
    at_ += n;
    return buffer_.substr(at_ - n, n);
}

bool FrameReader::begin_frame() {
    if (available() < quib::kFrameHeaderSize) {
        return false;
    }
    quib::FrameHeader header;
    take(header.size()).copy(header.data(), header.size());
    kind_ = header[0];
    left_ = quib::frame_length(header);
    in_frame_ = true;
    const bool ends = kind_ == quib::kFrameExit;
    const bool known = ends || kind_ == quib::kFrameOutput || kind_ == quib::kFrameDiagnostic;
    if (!known || (ends && left_ > kLongestEnd)) {
        throw unreadable();
    }
    return true;
}

std::optional<FrameReader::Piece> FrameReader::next() {
    while (in_frame_ || begin_frame()) {
        const bool ends = kind_ == quib::kFrameExit;
        if (ends && available() < left_) {
            return std::nullopt;
        }
        const std::string bytes = take(std::min(left_, available()));
        left_ -= bytes.size();
        in_frame_ = left_ > 0;
        if (ends || !bytes.empty()) {
            return Piece{kind_, bytes};
        }
        if (in_frame_) {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

int exit_status_in(std::string_view payload) {
    int status = 0;
    const auto [end, error] = std::from_chars(payload.data(), payload.data() + payload.size(), status);
    constexpr int kLargest = 255;
    if (error != std::errc() || end != payload.data() + payload.size() || status < 0 || status > kLargest) {
        throw unreadable();
    }
    return status;
}

}  // namespace console
