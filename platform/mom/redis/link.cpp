#include "redis/link.h"

#include <algorithm>
#include <new>
#include <unistd.h>
#include <utility>

#include "core/error.h"
#include "core/tell.h"
#include "redis/login.h"

namespace mom::redis {

namespace {

// A server that says nothing for so long is asked whether it is alive: one that froze, or lies beyond a cut network,
// would otherwise be followed in silence for ever.
constexpr Millis kPulse{10000};

// How long a request waits for an attempt that is under way: enough for a server that is there.
constexpr Millis kMoment{20};

// Nobody publishes on it. Who follows nothing else follows this: servers close connections that are idle, but none of
// followers.
constexpr std::string_view kOwnChannel = "mom:link";

// A database has been emptied: FLUSHALL, FLUSHDB, or a replica that takes its master's data over.
bool is_removal(const Reply &reply) {
    const auto is_text = [&](size_t i, std::string_view text) { return reply.elements[i].text == text; };
    return reply.type == Reply::Type::kArray && reply.elements.size() == 3 && is_text(0, "message") &&
           is_text(1, "__redis__:invalidate") && reply.elements[2].type == Reply::Type::kNil;
}

}  // namespace

Link::Link(const StoreName &name, Loop &loop, StoreListener &listener, Millis timeout, std::function<void()> on_lost)
    : name_(name),
      loop_(loop),
      listener_(listener),
      timeout_(timeout),
      on_lost_(std::move(on_lost)),
      backoff_(static_cast<uint32_t>(Clock::now().time_since_epoch().count()) ^ static_cast<uint32_t>(getpid())) {
    loop_.set_handler(this);
}

Link::~Link() {
    loop_.set_handler(nullptr);
    watch_.reset();
}

template <class Work>
void Link::guarded(Work work) noexcept {
    try {
        work();
    } catch (const std::bad_alloc &) {
        on_no_memory();
    }
}

// Runs the loop while pending() says so; false when that took too long.
template <class Pending>
bool Link::drive(TimePoint until, Pending pending) {
    loop_.run();
    while (pending()) {
        const TimePoint now = Clock::now();
        if (now >= until) {
            return false;
        }
        loop_.run(std::chrono::ceil<Millis>(until - now));
    }
    return true;
}

// Coming up.

int32_t Link::come_up(TimePoint until) {
    loop_.run();
    if (state_ == State::kIdle || state_ == State::kPausing) {
        begin();
    }
    if (!drive(until, [this] { return state_ == State::kOpening; })) {
        attempt_failed(OX_MOM_E_TIMEOUT, name_.endpoints.front().text() + ": not connected in " +
                                             std::to_string(timeout_.count()) + " ms");
    }
    return is_up() ? 0 : fail(code_, "%s", reason());
}

int32_t Link::look() {
    loop_.run();
    if (state_ == State::kOpening && !std::exchange(waited_, true)) {
        drive(Clock::now() + kMoment, [this] { return state_ == State::kOpening; });
    }
    return is_up() ? 0 : fail(OX_MOM_E_LOST, "the connection is lost: %s", reason());
}

void Link::begin(const std::optional<Endpoint> &announced) noexcept {
    guarded([&] {
        state_ = State::kOpening;
        waited_ = false;
        due_ = Clock::now() + timeout_;
        attempt_ = std::make_unique<Attempt>(
            opener_, name_, due_,
            Attempt::Ends{
                .reached = [this](const Endpoint &server, auto connection,
                                  int64_t id) { guarded([&] { reached(server, std::move(connection), id); }); },
                .failed = [this](int32_t code, const std::string &why) { attempt_failed(code, why); }});
        attempt_->start(announced);
        arm();
    });
}

void Link::reached(const Endpoint &server, std::unique_ptr<Connection> connection, int64_t id) {
    server_ = server;
    attempt_.reset();
    connection_ = std::move(connection);
    // A path is not the same to everybody: the server may have another working directory, or another root.
    address_ = server_.path.empty() ? peer_of(connection_->fd()) : Address{};
    watch_ = std::make_unique<Watch>(loop_, connection_->fd(), *this);
    asked_.clear();
    follows_ = false;
    if (id != 0) {
        ask_for_removals(id);
    }
    ask(kOwnChannel, false);
    for (const std::string &channel : listener_.lasting_channels()) {
        ask(channel, false);
    }
    last_heard_ = Clock::now();
    pinged_ = false;
    watch_connection();
}

void Link::up_if_confirmed() {
    if (state_ != State::kOpening || !asked_.empty()) {
        return;
    }
    if (name_.kind == StoreName::Kind::kSentinel && !announcements_) {
        announcements_ = std::make_unique<Announcements>(
            opener_, name_, timeout_,
            [this](const Endpoint &master, Announcements::How how) { on_named_master(master, how); });
    }
    state_ = State::kUp;
    backoff_.connected(Clock::now());
    due_ = last_heard_ + kPulse;
    arm();
    if (std::exchange(restoring_, false)) {
        listener_.on_restored();
    }
    was_up_ = true;
}

void Link::attempt_failed(int32_t code, std::string_view why) noexcept {
    if (was_up_) {
        lose(why, code);
        return;
    }
    keep_reason(code, why);
    close_all();
    state_ = State::kIdle;
    arm();
}

void Link::lose(std::string_view why, int32_t code, Next next) noexcept {
    if (state_ == State::kIdle || state_ == State::kPausing) {
        return;
    }
    keep_reason(code, why);
    close_all();
    restoring_ = true;
    state_ = State::kPausing;
    const TimePoint now = Clock::now();
    due_ = backoff_.failed(now);
    arm();
    listener_.on_lost(code_, reason(), next == Next::kAtOnce ? Millis(0) : std::chrono::ceil<Millis>(due_ - now));
}

// The connection is given up whether or not there is memory to say why.
void Link::keep_reason(int32_t code, std::string_view why) noexcept {
    code_ = code;
    try {
        why_ = why;
    } catch (const std::bad_alloc &) {
        why_.clear();
    }
}

void Link::close_all() noexcept {
    attempt_.reset();
    watch_.reset();
    connection_.reset();
    asked_.clear();
    on_lost_();
}

TimePoint Link::due() const {
    TimePoint due = state_ == State::kIdle ? TimePoint::max() : due_;
    if (attempt_) {
        due = std::min(due, attempt_->due());
    }
    return announcements_ ? std::min(due, announcements_->due()) : due;
}

void Link::arm() {
    const TimePoint when = due();
    loop_.set_deadline(when == TimePoint::max() ? std::nullopt : std::optional(when));
}

void Link::on_deadline() {
    const TimePoint now = Clock::now();
    if (announcements_ && announcements_->due() <= now) {
        announcements_->on_due(now);
    }
    if (attempt_) {
        if (attempt_->due() <= now) {
            attempt_->on_due();
        }
    } else if (due_ <= now) {
        switch (state_) {
            case State::kPausing:
                begin();
                break;
            case State::kOpening:
                attempt_failed(OX_MOM_E_TIMEOUT, server_.text() + ": a subscription was not confirmed in time");
                break;
            case State::kUp:
                check_pulse(now);
                break;
            case State::kIdle:
                break;
        }
    }
    arm();
}

// Following.

int32_t Link::follow(const std::string &channel) {
    if (const int32_t code = is_up() ? 0 : look()) {
        return code;
    }
    // Asked for again even when it is followed already: what comes before the answer is older than this subscription.
    follow_code_.reset();
    try {
        ask(channel, true);
        watch_connection();
    } catch (const std::bad_alloc &) {
        lose("out of memory", OX_MOM_E_MEMORY);  // what is followed already could go unheard
        throw;
    }
    if (!drive(Clock::now() + timeout_, [this] { return is_up() && !follow_code_; })) {
        lose(server_.text() + ": a subscription was not confirmed in time", OX_MOM_E_TIMEOUT);
    }
    if (follow_code_ == OX_MOM_E_REFUSED) {
        return fail(OX_MOM_E_REFUSED, "%s", refusal_.c_str());
    }
    return follow_code_ && is_up() ? 0 : fail(code_, "%s", reason());
}

void Link::ask(std::string_view channel, bool is_waited_for) {
    asked_.push_back({.channel = std::string(channel), .is_waited_for = is_waited_for});
    if (channel.empty()) {
        connection_->add({"PING"});
    } else {
        connection_->add({"SUBSCRIBE", channel});
        follows_ = follows_ || channel != kOwnChannel;
    }
}

// Servers tell those who keep copies of what is stored which keys have changed, and when a whole database is emptied.
// The latter is what is wanted: the prefix is of keys that there are not. It is told to the connection of that id, this
// one. A server that can't do it, or a user who may not have it done, is used without.
void Link::ask_for_removals(int64_t id) {
    const std::string own = std::to_string(id);
    asked_.push_back({.channel = {}, .may_be_refused = true});
    connection_->add({"CLIENT", "TRACKING", "ON", "REDIRECT", own, "BCAST", "PREFIX", kOwnChannel});
}

void Link::watch_connection() { watch_->set(connection_->has_unsent() ? EPOLLIN | EPOLLOUT : EPOLLIN); }

void Link::on_ready(uint32_t events) {
    if (((events & EPOLLOUT) && !connection_->send()) || ((events & EPOLLIN) && !read())) {
        attempt_failed(OX_MOM_E_LOST, last_error());
        return;
    }
    if (connection_) {
        watch_connection();
        up_if_confirmed();
    }
}

// False when the connection is lost. One piece at a time, so that what has come is delivered before more is received.
bool Link::read() {
    const Connection::Received received = connection_->receive();
    if (received != Connection::Received::kSome) {
        return received == Connection::Received::kNothing;
    }
    last_heard_ = Clock::now();
    while (connection_) {  // until the listener gives it up
        Reader &reader = connection_->reader();
        switch (reader.take(arena_)) {
            case Reader::Item::kNotification:
                pinged_ = false;
                listener_.on_notification(reader.channel(), reader.payload());
                break;
            case Reader::Item::kReply:
                pinged_ = false;
                on_reply(reader.reply());
                arena_.clear();
                break;
            case Reader::Item::kNone:
                return true;
            case Reader::Item::kBroken:
                fail(OX_MOM_E_LOST, "%s: %s", server_.text().c_str(), reader.error());
                return false;
        }
    }
    return true;
}

// Answers come in the order in which they were asked for.
void Link::on_reply(const Reply &reply) {
    if (is_removal(reply)) {
        if (is_up() && follows_) {  // else nobody was told what is gone
            lose(server_.text() + ": what was stored has been removed");
        }
        return;
    }
    if (asked_.empty()) {
        attempt_failed(OX_MOM_E_REFUSED, reply.is_error() ? explain(server_.text(), name_, reply)
                                                          : server_.text() + ": an answer that nobody asked for");
        return;
    }
    const Asked asked = std::move(asked_.front());
    asked_.pop_front();
    if (reply.is_error() && !asked.may_be_refused) {
        on_refusal(asked, reply);
    } else if (asked.is_waited_for) {
        follow_code_ = 0;
    }
}

// A channel that the user may not follow is a matter of that channel only.
void Link::on_refusal(const Asked &asked, const Reply &error) {
    const std::string why = explain(server_.text(), name_, error);
    if (!error.text.starts_with("NOPERM")) {
        attempt_failed(OX_MOM_E_REFUSED, why);
    } else if (asked.is_waited_for) {
        follow_code_ = OX_MOM_E_REFUSED;
        refusal_ = why;
    } else if (asked.channel != kOwnChannel) {
        tell(Level::kWarning, Words("%s is not followed any more: %s", asked.channel.c_str(), why.c_str()));
    }
}

void Link::ping() {
    if (is_up() && !pinged_) {
        guarded([this] {
            ask({}, false);
            pinged_ = true;
            pinged_at_ = Clock::now();
            due_ = pinged_at_ + timeout_;
            arm();
            watch_connection();
            if (!connection_->send()) {
                lose(last_error());
            }
        });
    }
}

void Link::must_answer() {
    // The answer may have come while the program did not run the loop. Anything is one, be it the beginning of
    // something long.
    guarded([this] {
        bool more = true;
        while (more && is_up() && pinged_) {
            const TimePoint before = last_heard_;
            if (!read()) {
                lose(last_error());
            }
            more = last_heard_ != before;
        }
        const bool had_time = Clock::now() - pinged_at_ >= timeout_ / 4;
        if (is_up() && pinged_ && had_time && last_heard_ < pinged_at_) {
            lose(server_.text() + " is silent");
        }
    });
}

void Link::check_pulse(TimePoint now) {
    if (pinged_) {
        must_answer();
        pinged_ = false;
    } else if (now - last_heard_ >= kPulse) {
        ping();
    }
    if (is_up() && !pinged_) {
        due_ = last_heard_ + kPulse;
    }
}

void Link::on_named_master(const Endpoint &master, Announcements::How how) {
    guarded([&] {
        // Each sentinel announces it. An attempt asks them itself, so that it needs no answer to another question.
        if (connection_ ? master.text() == server_.text() : how == Announcements::How::kAnswered) {
            return;
        }
        // One connection is lost by that at most. An attempt that is under way may be at the old master.
        if (connection_) {
            lose("the sentinels have made " + master.text() + " the master", OX_MOM_E_LOST, Next::kAtOnce);
        }
        begin(master);
    });
}

}  // namespace mom::redis
