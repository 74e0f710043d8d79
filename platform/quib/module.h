// A module: its socket, its commands, and the operators who are connected to it.
#pragma once

#include <chrono>
#include <list>
#include <memory>
#include <optional>
#include <string>

#include "commands.h"
#include "listener.h"
#include "operator.h"
#include "poller.h"

namespace quib {

class Module final : private Source {
public:
    Module(Poller &poller, std::string name, std::unique_ptr<Listener> listener, std::chrono::milliseconds idle_limit);
    Module(const Module &) = delete;
    Module &operator=(const Module &) = delete;
    ~Module() = default;

    const std::string &name() const { return name_; }
    Commands &commands() { return commands_; }

    // An operator whose line can be run, and who has not had his turn.
    Operator *next(uint64_t turn);

    // Lets go of operators who are done.
    void sweep();
    // And of those who have been silent for too long; accepts again after a pause.
    void tidy(TimePoint now);
    // When that is to be done next.
    std::optional<TimePoint> deadline() const;

private:
    void on_events(uint32_t events) override;
    void accept_one(Fd socket);
    void pause();

    Poller &poller_;
    std::string name_;
    std::unique_ptr<Listener> listener_;
    std::chrono::milliseconds idle_limit_;
    Commands commands_;
    std::list<Operator> operators_;
    std::optional<TimePoint> paused_until_;
};

}  // namespace quib
