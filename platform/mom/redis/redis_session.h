// The connections of one client to its server: one for notifications, one a database for requests. They are opened
// together, lost together and restored together.
#pragma once

#include <array>
#include <memory>
#include <new>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/backoff.h"
#include "core/loop.h"
#include "core/store.h"
#include "core/store_name.h"
#include "ox_mom.h"
#include "redis/connection.h"
#include "redis/dialogue.h"
#include "redis/push_reader.h"

namespace mom {

constexpr int32_t kDatabases = 29;  // as many as are used: 0 to 28

// Before a type's name: the set of its records. No type's name has a colon, so it is no record's key.
constexpr std::string_view kSetPrefix = "records:";

class RedisSession final : public LoopHandler, public WatchHandler {
public:
    RedisSession(StoreName name, Loop &loop, StoreListener &listener, Millis timeout);
    RedisSession(const RedisSession &) = delete;
    RedisSession &operator=(const RedisSession &) = delete;
    ~RedisSession();

    int32_t connect(int32_t db);
    bool is_connected(int32_t db) const { return wanted_[static_cast<size_t>(db)]; }

    // The database's connection when a request can be made on it; nullptr, with a code and the reason, when not.
    Connection *request_connection(int32_t db, int32_t *code);

    // Returns once the server has confirmed that the channel is followed.
    int32_t follow(const std::string &channel);

    // All connections are of no use any more: closes them and connects again in the background.
    void lose(std::string_view why, int32_t code = OX_MOM_E_LOST) noexcept;

private:
    enum class State : uint8_t {
        kIdle,     // never connected, or the first attempt failed
        kOpening,  // connecting
        kUp,
        kPausing  // lost, until the next attempt is due
    };

    // Notices that a connection for requests was closed while nobody made any. A socket that is watched costs the
    // server time at every answer, time that the request waits. So after some requests in a row it is not watched until
    // the loop runs next, which the pulse sees to in a program that waits for the loop's descriptor.
    class IdleWatch final : public WatchHandler {
    public:
        IdleWatch(RedisSession &session, Loop &loop, int fd) : session_(session), watch_(loop, fd, *this) { resume(); }
        void pause() { watch_.set(0); }
        void resume() { watch_.set(EPOLLRDHUP); }

    private:
        void on_ready(uint32_t) override { session_.lose("a connection was closed by the server"); }
        void on_no_memory() noexcept override { session_.on_no_memory(); }

        RedisSession &session_;
        Watch watch_;
    };

    struct RequestConnection {
        std::unique_ptr<Connection> connection;
        std::unique_ptr<IdleWatch> watch;
        int in_a_row = 0;  // requests since the loop ran

        void close() {
            watch.reset();
            connection.reset();
            in_a_row = 0;
        }
    };

    // Opening.
    void begin();
    void ask_sentinel(size_t which);
    void open_at(const Endpoint &server);
    void open_link();
    void open_wanted();
    void open_requests(int32_t db);
    void start_dialogue(std::vector<Dialogue::Command> commands, Dialogue::Done done);
    std::vector<Dialogue::Command> login() const;
    void opened_one();
    void follow_lasting();
    void up_if_complete();
    void attempt_failed(int32_t code, std::string_view why) noexcept;
    void keep_reason(int32_t code, std::string_view why) noexcept;
    std::string explain(const Reply &error) const;

    // For what runs where its caller may be gone when it fails.
    template <class Work>
    void guarded(Work work) {
        try {
            work();
        } catch (const std::bad_alloc &) {
            on_no_memory();
        }
    }
    void attempt_timed_out();
    template <class Pending>
    bool drive(Pending pending);

    // Following.
    void watch_link();
    void on_ready(uint32_t events) override;
    bool read_link();
    void on_reply(const Reply &reply);
    void hear();
    void check_pulse();

    void on_wake() override {}
    void on_deadline() override;
    void before_run() override;
    void on_no_memory() noexcept override { attempt_failed(OX_MOM_E_MEMORY, "out of memory"); }
    void close_all();

    StoreName name_;
    Loop &loop_;
    StoreListener &listener_;
    Millis timeout_;
    Backoff backoff_;

    State state_ = State::kIdle;
    bool was_up_ = false;
    bool restoring_ = false;  // lost, and the listener not yet told that it is back
    Endpoint server_;
    std::array<bool, kDatabases> wanted_{};
    std::array<RequestConnection, kDatabases> requests_;
    bool requested_ = false;  // anything since the loop ran
    std::vector<std::unique_ptr<Dialogue>> dialogues_;
    size_t opening_ = 0;  // dialogues that have not ended
    int32_t code_ = 0;    // of the latest failure
    std::string why_;

    std::unique_ptr<Connection> link_;
    std::unique_ptr<Watch> link_watch_;
    std::optional<PushReader> pushes_;
    std::set<std::string, std::less<>> followed_;  // confirmed
    size_t unconfirmed_ = 0;
    TimePoint last_heard_{};
    bool pinged_ = false;
};

}  // namespace mom
