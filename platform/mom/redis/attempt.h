// One attempt to reach the server: asks the sentinels, if that is how it is named, connects, logs in, and finds out
// whether the server is fit: has the databases, and answers what has to be read.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/store_name.h"
#include "redis/opening.h"

namespace mom::redis {

class Attempt {
public:
    // One of them is called, once; may destroy the attempt. They throw nothing.
    struct Ends {
        // id: by which the server knows the connection; 0: it does not say.
        std::function<void(const Endpoint &server, std::unique_ptr<Connection>, int64_t id)> reached;
        std::function<void(int32_t code, const std::string &why)> failed;
    };

    // It ends by `until`. Each sentinel, with the master that it names, has an equal part of the time, so that one that
    // is silent, or out of date, does not keep the others from being asked.
    Attempt(const Opener &opener, const StoreName &name, TimePoint until, Ends ends);
    Attempt(const Attempt &) = delete;
    Attempt &operator=(const Attempt &) = delete;

    // announced: a master that is tried before any sentinel is asked; one that is out of date could name another.
    // It may have ended when this returns, and be destroyed.
    void start(const std::optional<Endpoint> &announced);

    // When on_due() is to be called, if it has not ended.
    TimePoint due() const { return opening_ ? opening_->due() : until_; }
    void on_due();

private:
    template <class Work>
    void guarded(Work work) noexcept;

    void ask_next_sentinel();
    void hear_sentinel(const Endpoint &sentinel, Handshake &handshake, Handshake::State state);
    void open(const Endpoint &server, TimePoint until);
    void hear_server(const Endpoint &server, Handshake &handshake, Handshake::State state);
    int32_t judge(const Endpoint &server, std::span<Reply *const> replies);
    void refuse(int32_t code, std::string why);
    void fail_for_good(int32_t code, const std::string &why);

    const Opener &opener_;
    const StoreName &name_;
    TimePoint until_;
    Ends ends_;
    std::unique_ptr<Opening> opening_;
    size_t asked_ = 0;                // sentinels
    TimePoint turn_until_{};          // the latest one's
    std::vector<std::string> tried_;  // masters
    int32_t code_ = 0;                // of the latest server or sentinel that would not do
    std::string why_;
};

}  // namespace mom::redis
