// A module: its socket, its commands, and the operators who are connected to it, served from the loop of a client.
#pragma once

#include <chrono>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

#include "base/timer.h"
#include "command_list.h"
#include "listener.h"
#include "operator.h"
#include "ox_mom.h"
#include "watch.h"

namespace quib {

class Module final : private OperatorHandler {
public:
    // 0, or a code of quib_lib_init(). on_destroy is called with the module when its client goes.
    static int32_t make(MomClient *client, std::string_view name, void (*on_destroy)(void *module),
                        std::unique_ptr<Module> &module);
    Module(const Module &) = delete;
    Module &operator=(const Module &) = delete;
    ~Module() = default;

    const MomClient *client() const { return client_; }
    const std::string &name() const { return name_; }
    Commands &commands() { return commands_; }
    // False in a forked child.
    bool is_of_this_process() const;

private:
    Module(MomClient *client, std::string_view name, std::unique_ptr<Listener> listener, base::Timer timer,
           void (*on_destroy)(void *module));

    void on_ready(Operator &which, uint32_t events) override;
    void run_line(Operator &from);
    void accept_all();
    void accept_waiting();
    void accept_one(Fd socket);
    void pause();
    void tidy();
    void dismiss_silent(TimePoint now);
    void set_timer();

    MomClient *client_;
    pid_t pid_;
    std::string name_;
    std::unique_ptr<Listener> listener_;
    base::Timer timer_;
    std::chrono::milliseconds idle_limit_;
    Commands commands_;
    std::list<Operator> operators_;
    std::optional<TimePoint> paused_until_;
    Watch listening_;
    Watch timing_;
};

}  // namespace quib
