#include "module.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace quib {

namespace {

constexpr std::chrono::milliseconds kPause(200);

bool may_connect(const Fd &socket) {
    ucred peer{};
    socklen_t length = sizeof peer;
    return getsockopt(socket.get(), SOL_SOCKET, SO_PEERCRED, &peer, &length) == 0 &&
           (peer.uid == geteuid() || peer.uid == 0);
}

// What is sent fits into a connection on which nothing has been sent.
void refuse(const Fd &socket, const std::string &reason) {
    std::string frames;
    append_end(frames, kExitRefused, reason);
    static_cast<void>(send(socket.get(), frames.data(), frames.size(), MSG_NOSIGNAL | MSG_DONTWAIT));
}

std::string in_words(std::chrono::milliseconds time) {
    const auto minutes = std::chrono::duration_cast<std::chrono::minutes>(time);
    return minutes == time ? std::to_string(minutes.count()) + " minutes" : std::to_string(time.count()) + " ms";
}

}  // namespace

Module::Module(Poller &poller, std::string name, std::unique_ptr<Listener> listener,
               std::chrono::milliseconds idle_limit)
    : poller_(poller), name_(std::move(name)), listener_(std::move(listener)), idle_limit_(idle_limit) {
    if (!poller_.add(listener_->fd(), EPOLLIN, *this)) {
        throw std::bad_alloc();
    }
}

void Module::on_events(uint32_t) try {
    for (;;) {
        Fd socket(accept4(listener_->fd(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (socket) {
            accept_one(std::move(socket));
        } else if (errno == EAGAIN) {
            return;
        } else if (errno != EINTR && errno != ECONNABORTED) {
            pause();
            return;
        }
    }
} catch (const std::bad_alloc &) {
    // The one who was to be accepted is gone; the next come again.
}

void Module::accept_one(Fd socket) {
    if (!may_connect(socket)) {
        refuse(socket, "only the user who runs the program, and root, are served");
        return;
    }
    const auto connected = std::ranges::count_if(operators_, [](const Operator &each) { return !each.finished(); });
    if (static_cast<size_t>(connected) >= kOperatorLimit) {
        refuse(socket, std::to_string(kOperatorLimit) + " operators are connected already");
        return;
    }
    operators_.emplace_back(poller_, std::move(socket));
}

// Nothing can be accepted for want of descriptors, and the listener stays readable.
void Module::pause() {
    poller_.change(listener_->fd(), 0, *this);
    paused_until_ = Clock::now() + kPause;
}

Operator *Module::next(uint64_t turn) {
    const auto waiting =
        std::ranges::find_if(operators_, [&](const Operator &each) { return each.turn != turn && each.has_line(); });
    return waiting != operators_.end() ? &*waiting : nullptr;
}

void Module::tidy(TimePoint now) {
    for (Operator &each : operators_) {
        if (!each.busy() && !each.finished() && now - each.last_active() >= idle_limit_) {
            std::string frames;
            append_frame(frames, kFrameDiagnostic, "closed after " + in_words(idle_limit_) + " without a command\n");
            each.dismiss(frames);
            each.abandon();
        }
    }
    sweep();
    if (paused_until_ && now >= *paused_until_) {
        paused_until_.reset();
        poller_.change(listener_->fd(), EPOLLIN, *this);
    }
}

void Module::sweep() {
    operators_.remove_if([](const Operator &each) { return each.finished(); });
}

std::optional<TimePoint> Module::deadline() const {
    std::optional<TimePoint> first = paused_until_;
    const auto consider = [&](TimePoint when) { first = first ? std::min(*first, when) : when; };
    for (const Operator &each : operators_) {
        if (each.has_line()) {
            consider(TimePoint::min());
        } else if (!each.busy()) {
            consider(each.last_active() + idle_limit_);
        }
    }
    return first;
}

}  // namespace quib
