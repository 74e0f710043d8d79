#include "operator.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <span>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace quib {

namespace {

constexpr size_t kChunk = size_t{64} << 10U;
constexpr int kChunksATurn = 16;  // an operator who takes everything at once must not keep the application

ssize_t read_at(const Fd &file, size_t at, std::span<char> to) {
    for (;;) {
        const ssize_t got = pread(file.get(), to.data(), to.size(), static_cast<off_t>(at));
        if (got >= 0 || errno != EINTR) {
            return got;
        }
    }
}

}  // namespace

Operator::Operator(MomClient *client, Fd socket, OperatorHandler &handler)
    : handler_(handler),
      socket_(std::move(socket)),
      watch_(client, socket_.get(), EPOLLIN,
             {.on_ready =
                  [](void *arg, uint32_t events) {
                      auto *which = static_cast<Operator *>(arg);
                      which->handler_.on_ready(*which, events);
                  },
              .on_destroy = nullptr,
              .arg = this}) {
    input_.reserve(kLineLimit);
}

bool Operator::unsent() const { return sent_ < ready_.size() || answer_.output.file || !answer_.frames.empty(); }

bool Operator::has_line() const {
    return !busy_ && !closing_ && !gone_ && !unsent() && input_.find('\n') != std::string::npos;
}

bool Operator::finished() const { return !busy_ && (gone_ || ((ended_ || closing_) && !unsent() && !has_line())); }

std::string Operator::take_line() {
    const size_t end = input_.find('\n');
    std::string line = input_.substr(0, end);
    input_.erase(0, end + 1);
    if (line.ends_with('\r')) {
        line.pop_back();
    }
    busy_ = true;
    last_active_ = Clock::now();
    wait();
    return line;
}

void Operator::answer(Answer answer) {
    busy_ = false;
    answer_ = std::move(answer);
    output_at_ = 0;
    last_active_ = Clock::now();
    send_some();
    wait();
}

void Operator::dismiss(const std::string &frames) {
    answer_.frames += frames;
    closing_ = true;
    send_some();
    wait();
}

void Operator::abandon() {
    gone_ = true;
    busy_ = false;
    wait();
}

void Operator::move_bytes(uint32_t events) try {
    const bool reading = (watch_.events() & EPOLLIN) != 0;
    if ((events & (EPOLLHUP | EPOLLERR)) != 0 && !reading) {
        gone_ = true;
    } else if (reading) {
        read_some();
    }
    send_some();
    wait();
} catch (const std::bad_alloc &) {
    gone_ = true;
    wait();
}

void Operator::read_some() {
    char block[kLineLimit];
    const ssize_t length = recv(socket_.get(), block, kLineLimit - input_.size(), MSG_DONTWAIT);
    if (length > 0) {
        input_.append(block, static_cast<size_t>(length));
        if (input_.size() == kLineLimit && input_.find('\n') == std::string::npos) {
            std::string frames;
            append_end(frames, kUsage, "a line has " + std::to_string(kLineLimit) + " bytes at the most");
            dismiss(frames);
        }
    } else if (length == 0) {
        ended_ = true;
    } else if (errno != EAGAIN && errno != EINTR) {
        gone_ = true;
    }
}

// Puts the next frames in their place; false when there are none.
bool Operator::fill() {
    sent_ = 0;
    ready_.clear();
    if (answer_.output.file) {
        const size_t length = std::min(kChunk, answer_.output.size - output_at_);
        ready_.resize(kFrameHeaderSize + length);
        const ssize_t got = read_at(answer_.output.file, output_at_, {ready_.data() + kFrameHeaderSize, length});
        gone_ = got < 0;  // let go rather than answered as if there were no more
        const size_t read = got > 0 ? static_cast<size_t>(got) : 0;
        const FrameHeader header = frame_header(kFrameOutput, static_cast<uint32_t>(read));
        std::ranges::copy(header, ready_.begin());
        ready_.resize(read > 0 ? kFrameHeaderSize + read : 0);
        output_at_ += read;
        if (read == 0 || output_at_ == answer_.output.size) {
            answer_.output = {};
        }
    }
    if (ready_.empty()) {
        ready_.swap(answer_.frames);
    }
    return !gone_ && !ready_.empty();
}

void Operator::send_some() {
    for (int chunks = 0; !gone_ && chunks < kChunksATurn && (sent_ < ready_.size() || fill()); ++chunks) {
        const ssize_t length =
            send(socket_.get(), ready_.data() + sent_, ready_.size() - sent_, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (length < 0) {
            gone_ = errno != EAGAIN && errno != EINTR;
            return;
        }
        sent_ += static_cast<size_t>(length);
        last_active_ = Clock::now();
    }
}

// Reads only when a line may be taken as soon as it comes; what waits in the connection meanwhile waits there. A line
// that has come already is taken when the operator has taken the answers before it.
void Operator::wait() {
    const bool reading = !ended_ && !closing_ && !busy_ && !unsent() && input_.find('\n') == std::string::npos;
    const bool writing = unsent() || has_line();
    const uint32_t wanted = (reading ? uint32_t{EPOLLIN} : 0) | (writing ? uint32_t{EPOLLOUT} : 0);
    gone_ = gone_ || !watch_.set(wanted);
    if (gone_) {
        watch_.end();  // its end would be told again and again until it is swept up
    }
}

}  // namespace quib
