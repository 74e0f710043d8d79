#include "module.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <new>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

#include "interpreter.h"
#include "quib.h"
#include "report.h"

namespace quib {

namespace {

constexpr std::chrono::milliseconds kPause(200);

// $QUIB_IDLE_MS, or the default.
std::chrono::milliseconds idle_limit() {
    const char *text = std::getenv("QUIB_IDLE_MS");
    int limit = 0;
    if (text != nullptr && std::from_chars(text, text + std::strlen(text), limit).ptr == text + std::strlen(text) &&
        limit > 0) {
        return std::chrono::milliseconds(limit);
    }
    return kIdleLimit;
}

bool may_connect(const Fd &socket) {
    ucred peer{};
    socklen_t length = sizeof peer;
    return getsockopt(socket.get(), SOL_SOCKET, SO_PEERCRED, &peer, &length) == 0 &&
           (peer.uid == geteuid() || peer.uid == 0);
}

// The text fits into a connection on which nothing has been sent.
void refuse(const Fd &socket, const std::string &reason) {
    std::string frames;
    append_end(frames, kRefused, reason);
    static_cast<void>(send(socket.get(), frames.data(), frames.size(), MSG_NOSIGNAL | MSG_DONTWAIT));
}

std::string in_words(std::chrono::milliseconds time) {
    const auto minutes = std::chrono::duration_cast<std::chrono::minutes>(time);
    return minutes == time ? std::to_string(minutes.count()) + " minutes" : std::to_string(time.count()) + " ms";
}

}  // namespace

Module::Module(MomClient *client, std::string_view name, std::unique_ptr<Listener> listener, base::Timer timer,
               void (*on_destroy)(void *module))
    : client_(client),
      pid_(getpid()),
      name_(name),
      listener_(std::move(listener)),
      timer_(std::move(timer)),
      idle_limit_(idle_limit()),
      listening_(client, listener_->fd(), EPOLLIN,
                 {.on_ready = [](void *module, uint32_t) { static_cast<Module *>(module)->accept_all(); },
                  .on_destroy = nullptr,
                  .arg = this}),
      timing_(client, timer_.fd(), EPOLLIN,
              {.on_ready = [](void *module, uint32_t) { static_cast<Module *>(module)->tidy(); },
               .on_destroy = on_destroy,
               .arg = this}) {}

int32_t Module::make(MomClient *client, std::string_view name, void (*on_destroy)(void *module),
                     std::unique_ptr<Module> &module) {
    base::Timer timer;
    if (!timer.open()) {
        report("no descriptors left");
        return QUIB_E_SOCKET;
    }
    std::unique_ptr<Listener> listener;
    const int32_t code = Listener::make(std::string(name), listener);
    if (code == 0) {
        module.reset(new Module(client, name, std::move(listener), std::move(timer), on_destroy));
    }
    return code;
}

bool Module::is_of_this_process() const { return getpid() == pid_; }

void Module::on_ready(Operator &which, uint32_t events) {
    which.move_bytes(events);
    if (which.has_line()) {
        run_line(which);
    }
    // A command may have destroyed the client, or forked.
    if (is_of_this_process() && ox_mom_client_fd(client_) >= 0) {
        tidy();
    }
}

// A command may run the client, and so come back here for other operators.
void Module::run_line(Operator &from) try {
    Answer answer = interpret(commands_, client_, from.take_line());
    if (is_of_this_process()) {
        from.answer(std::move(answer));
    }
} catch (const std::bad_alloc &) {
    from.abandon();
}

void Module::accept_all() {
    try {
        accept_waiting();
    } catch (const std::bad_alloc &) {
        // The one who was to be accepted is gone; the next come again.
    }
    set_timer();
}

void Module::accept_waiting() {
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
    operators_.emplace_back(client_, std::move(socket), static_cast<OperatorHandler &>(*this));
}

// Nothing can be accepted for want of descriptors, and the listener stays readable.
void Module::pause() {
    listening_.set(0);
    paused_until_ = Clock::now() + kPause;
}

// Lets go of operators who are done, or have been silent for too long; accepts again after a pause.
void Module::tidy() {
    const TimePoint now = Clock::now();
    dismiss_silent(now);
    operators_.remove_if([](const Operator &each) { return each.finished(); });
    if (paused_until_ && now >= *paused_until_) {
        paused_until_.reset();
        listening_.set(EPOLLIN);
    }
    set_timer();
}

void Module::dismiss_silent(TimePoint now) try {
    for (Operator &each : operators_) {
        if (!each.busy() && !each.finished() && now - each.last_active() >= idle_limit_) {
            std::string frames;
            append_frame(frames, kFrameDiagnostic, "closed after " + in_words(idle_limit_) + " without a command\n");
            each.dismiss(frames);
            each.abandon();
        }
    }
} catch (const std::bad_alloc &) {
    // The timer is set for a time that has passed: it is tried again.
}

// For the next time that there is something to tidy. Who waits for an answer is not silent, however long it takes.
void Module::set_timer() {
    std::optional<TimePoint> first = paused_until_;
    for (const Operator &each : operators_) {
        if (!each.busy()) {
            first = std::min(first.value_or(TimePoint::max()), each.last_active() + idle_limit_);
        }
    }
    timer_.set(first);
}

}  // namespace quib
