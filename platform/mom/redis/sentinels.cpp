#include "redis/sentinels.h"

#include <algorithm>
#include <charconv>
#include <new>
#include <utility>

#include "redis/login.h"

namespace mom::redis {

namespace {

constexpr std::string_view kChannel = "+switch-master";
// Before a sentinel that is gone is listened to again: the pause doubles.
constexpr Millis kFirstPause{1000};
constexpr Millis kLongestPause{32000};

std::optional<Endpoint> endpoint_of(std::string_view host, std::string_view port) {
    Endpoint endpoint{.path = {}, .host = std::string(host), .port = 0};
    const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), endpoint.port);
    const bool good = error == std::errc() && end == port.data() + port.size() && endpoint.port != 0 && !host.empty();
    return good ? std::optional(std::move(endpoint)) : std::nullopt;
}

std::string_view take_word(std::string_view &words) {
    const std::string_view word = words.substr(0, words.find(' '));
    words.remove_prefix(std::min(word.size() + 1, words.size()));
    return word;
}

// "SERVICE OLD-HOST OLD-PORT NEW-HOST NEW-PORT"
std::optional<Endpoint> announced_master(std::string_view words, std::string_view service) {
    if (take_word(words) != service) {
        return std::nullopt;
    }
    take_word(words);
    take_word(words);
    const std::string_view host = take_word(words);
    return endpoint_of(host, take_word(words));
}

}  // namespace

Command master_question(const std::string &service) { return {"SENTINEL", "get-master-addr-by-name", service}; }

std::optional<Endpoint> named_master(const Reply &reply) {
    if (reply.type != Reply::Type::kArray || reply.elements.size() != 2) {
        return std::nullopt;
    }
    return endpoint_of(reply.elements[0].text, reply.elements[1].text);
}

// One sentinel that is listened to.
class Announcements::Ear final : public WatchHandler {
public:
    Ear(const Opener &opener, const StoreName &name, const Endpoint &sentinel, Millis timeout, Heard named)
        : opener_(opener), name_(name), sentinel_(sentinel), timeout_(timeout), named_(std::move(named)) {}
    Ear(const Ear &) = delete;
    Ear &operator=(const Ear &) = delete;
    ~Ear() { close(); }

    // The master, as this sentinel has it; none while it is not listened to.
    const std::optional<Endpoint> &master() const { return master_; }

    TimePoint due() const { return opening_ ? opening_->due() : connection_ ? TimePoint::max() : next_attempt_; }

    void on_due() {
        if (opening_) {
            opening_->on_due();
        } else {
            guarded([this] { open(); });
        }
    }

private:
    template <class Work>
    void guarded(Work work) noexcept {
        try {
            work();
        } catch (const std::bad_alloc &) {
            pause();
        }
    }

    // Asked and listened to in one step of the sentinel's, so that nothing is announced between the two.
    void open() {
        const std::vector<Command> commands = {master_question(name_.name), {"SUBSCRIBE", kChannel}};
        opening_ = std::make_unique<Opening>(opener_, sentinel_, commands, Clock::now() + timeout_,
                                             [this](Handshake &handshake, Handshake::State state) {
                                                 if (state != Handshake::State::kDone ||
                                                     handshake.replies().back()->is_error()) {
                                                     pause();
                                                 } else {
                                                     guarded([&] { listen(handshake); });
                                                 }
                                             });
        opening_->start();
    }

    void listen(Handshake &handshake) {
        master_ = named_master(*handshake.replies().front());
        connection_ = handshake.take_connection();
        opening_.reset();
        pause_ = kFirstPause;
        watch_ = std::make_unique<Watch>(opener_.loop, connection_->fd(), *this);
        watch_->set(EPOLLIN);
        if (master_) {
            named_(*master_, How::kAnswered);
        }
        if (!read()) {  // what came behind the answer
            pause();
        }
    }

    void on_ready(uint32_t) override {
        if (connection_->receive() == Connection::Received::kLost || !read()) {
            pause();
        }
    }

    void on_no_memory() noexcept override { pause(); }

    // False when the sentinel does not speak the protocol.
    bool read() {
        for (;;) {
            switch (connection_->reader().take(arena_)) {
                case Reader::Item::kNotification:
                    if (const auto master = announced_master(connection_->reader().payload(), name_.name)) {
                        master_ = master;
                        named_(*master, How::kAnnounced);
                    }
                    break;
                case Reader::Item::kReply:
                    arena_.clear();
                    break;
                case Reader::Item::kNone:
                    return true;
                case Reader::Item::kBroken:
                    return false;
            }
        }
    }

    void close() {
        opening_.reset();
        watch_.reset();
        connection_.reset();
        master_.reset();
    }

    void pause() noexcept {
        close();
        next_attempt_ = Clock::now() + pause_;
        pause_ = std::min(pause_ * 2, kLongestPause);
        opener_.timekeeper.due_changed();
    }

    const Opener &opener_;
    const StoreName &name_;
    const Endpoint &sentinel_;
    Millis timeout_;
    const Heard named_;
    std::optional<Endpoint> master_;
    std::unique_ptr<Opening> opening_;
    std::unique_ptr<Connection> connection_;
    std::unique_ptr<Watch> watch_;
    Arena arena_;
    Millis pause_ = kFirstPause;
    TimePoint next_attempt_ = Clock::now();
};

Announcements::Announcements(const Opener &opener, const StoreName &name, Millis timeout, Heard heard)
    : heard_(std::move(heard)) {
    for (const Endpoint &sentinel : name.endpoints) {
        ears_.push_back(std::make_unique<Ear>(opener, name, sentinel, timeout,
                                              [this](const Endpoint &master, How how) { on_named(master, how); }));
    }
}

void Announcements::on_named(const Endpoint &master, How how) {
    const auto name_it = [&](const auto &ear) { return ear->master() && ear->master()->text() == master.text(); };
    const auto those = static_cast<size_t>(std::ranges::count_if(ears_, name_it));
    if (how == How::kAnnounced || those > ears_.size() / 2) {
        heard_(master, how);
    }
}

Announcements::~Announcements() = default;

TimePoint Announcements::due() const {
    TimePoint due = TimePoint::max();
    for (const auto &ear : ears_) {
        due = std::min(due, ear->due());
    }
    return due;
}

void Announcements::on_due(TimePoint now) {
    for (const auto &ear : ears_) {
        if (ear->due() <= now) {
            ear->on_due();
        }
    }
}

}  // namespace mom::redis
