// The opening of a connection: connect, say everything, hear an answer to each. Nothing of it waits.
#pragma once

#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "core/loop.h"
#include "redis/connection.h"

namespace mom {

class Dialogue final : public WatchHandler {
public:
    using Command = std::vector<std::string_view>;

    // Called once, from the loop, with the replies in order of the commands, or with a code and the reason in
    // last_error(). Either may destroy the dialogue.
    using Done = std::function<void(std::unique_ptr<Connection>, std::span<Reply *const>)>;
    using Failed = std::function<void(int32_t code)>;

    Dialogue(Loop &loop, Done done, Failed failed);
    Dialogue(const Dialogue &) = delete;
    Dialogue &operator=(const Dialogue &) = delete;
    ~Dialogue();

    // 0, or a code, with the reason in last_error(), when connecting fails at once; nothing is called then.
    int32_t start(const Endpoint &endpoint, std::span<const Command> commands);

private:
    void on_ready(uint32_t events) override;
    void on_no_memory() noexcept override;
    bool advance(uint32_t events);

    Loop &loop_;
    Done done_;
    Failed failed_;
    std::unique_ptr<Connection> connection_;
    std::unique_ptr<Watch> watch_;
    ReplyArena arena_;
    std::vector<Reply *> replies_;
    size_t expected_ = 0;
    bool connected_ = false;
    int32_t code_ = 0;
};

}  // namespace mom
