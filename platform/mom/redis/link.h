// The connection for notifications. It alone decides whether the store is lost, and it finds the way back.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/backoff.h"
#include "core/loop.h"
#include "core/store.h"
#include "core/store_name.h"
#include "ox_mom.h"
#include "redis/attempt.h"
#include "redis/connection.h"
#include "redis/sentinels.h"

namespace mom::redis {

class Link final : public LoopHandler, public WatchHandler, public Timekeeper {
public:
    // on_lost: called at each loss, whatever caused it.
    Link(const StoreName &name, Loop &loop, StoreListener &listener, Millis timeout, std::function<void()> on_lost);
    Link(const Link &) = delete;
    Link &operator=(const Link &) = delete;
    ~Link();

    bool is_up() const { return state_ == State::kUp; }

    // The server at which it is up, and the one of its addresses, so that others connect to the same; size 0 for a
    // path.
    const Endpoint &server() const { return server_; }
    const Address &address() const { return address_; }

    // For those who connect to the same.
    Resolver &resolver() { return resolver_; }

    // Waits until it is up, at the latest until then; makes an attempt at once if none is under way. 0 or a code.
    int32_t come_up(TimePoint until);

    // Takes note of what has come meanwhile.
    void hear() { loop_.run(); }

    // Looks at what has happened meanwhile. 0 when it is up, else LOST. An attempt that is answered in this moment is
    // waited for, once, so that a program that only makes requests comes back with the first one after the server.
    int32_t look();

    // Returns once the server has confirmed that the channel is followed, or refused it. 0 or a code.
    int32_t follow(const std::string &channel);

    // Asks whether the server is there; must_answer() is called a while later, and it is lost if there is no answer but
    // was time for one.
    void ping();
    void must_answer();

    // The server is of no use any more: connects again in the background.
    void lose(std::string_view why, int32_t code = OX_MOM_E_LOST) noexcept { lose(why, code, Next::kAfterPause); }

private:
    enum class State : uint8_t {
        kIdle,     // never connected, or the first attempt failed
        kOpening,  // an attempt is under way, or what it follows is not yet confirmed
        kUp,
        kPausing  // lost, until the next attempt is due
    };

    // A question that the server has not answered yet: a subscription, or something else, which has no channel.
    struct Asked {
        std::string channel;
        bool is_waited_for = false;  // by follow()
        bool may_be_refused = false;
    };

    // The attempt after a loss. At once: who loses it makes it.
    enum class Next : uint8_t { kAfterPause, kAtOnce };
    void lose(std::string_view why, int32_t code, Next next) noexcept;

    // For what runs where its caller may be gone when it fails.
    template <class Work>
    void guarded(Work work) noexcept;
    template <class Pending>
    bool drive(TimePoint until, Pending pending);

    // Coming up.
    // announced: the master that the sentinels have just made, which is tried first.
    void begin(const std::optional<Endpoint> &announced = std::nullopt) noexcept;
    void reached(const Endpoint &server, std::unique_ptr<Connection> connection, int64_t id);
    // Once everything is followed: what is read then, and what is heard from then on, leave no gap.
    void up_if_confirmed();
    void attempt_failed(int32_t code, std::string_view why) noexcept;
    void keep_reason(int32_t code, std::string_view why) noexcept;
    const char *reason() const { return why_.empty() ? "out of memory" : why_.c_str(); }
    void close_all() noexcept;

    // Following.
    void ask(std::string_view channel, bool is_waited_for);
    void ask_for_removals(int64_t id);
    void watch_connection();
    void on_ready(uint32_t events) override;
    bool read();
    void on_reply(const Reply &reply);
    void on_refusal(const Asked &asked, const Reply &error);
    void check_pulse(TimePoint now);
    void on_named_master(const Endpoint &master, Announcements::How how);

    void on_wake() override {}
    void on_deadline() override;
    void on_no_memory() noexcept override { attempt_failed(OX_MOM_E_MEMORY, "out of memory"); }
    TimePoint due() const;
    void arm();
    void due_changed() override { arm(); }

    const StoreName &name_;
    Loop &loop_;
    StoreListener &listener_;
    Millis timeout_;
    std::function<void()> on_lost_;
    Backoff backoff_;

    State state_ = State::kIdle;
    bool was_up_ = false;
    bool restoring_ = false;  // lost, and the listener not yet told that it is back
    bool waited_ = false;     // look() has waited for the attempt under way
    TimePoint due_{};         // of what the state waits for, but for an attempt's own
    int32_t code_ = 0;        // of the latest failure
    std::string why_;         // empty: there was no memory for it

    Resolver resolver_;
    const Opener opener_{.loop = loop_, .timekeeper = *this, .resolver = resolver_};
    std::unique_ptr<Attempt> attempt_;
    std::unique_ptr<Announcements> announcements_;
    Endpoint server_;
    Address address_;
    std::unique_ptr<Connection> connection_;
    std::unique_ptr<Watch> watch_;
    Arena arena_;
    std::deque<Asked> asked_;
    bool follows_ = false;                // more than its own channel
    std::optional<int32_t> follow_code_;  // the answer that follow() waits for
    std::string refusal_;                 // its words
    TimePoint last_heard_{};
    TimePoint pinged_at_{};
    bool pinged_ = false;  // and nothing whole has come since
};

}  // namespace mom::redis
