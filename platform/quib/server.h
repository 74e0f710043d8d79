// The modules of one client, served from its loop.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <string_view>
#include <sys/types.h>

#include "module.h"
#include "ox_mom.h"
#include "poller.h"

namespace quib {

class Server {
public:
    // Attached to the client. 0, or a code of quib_lib_init().
    static int32_t make(MomClient *client, std::unique_ptr<Server> &server);
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;
    // Detaches it, unless the client is gone or this is a forked child.
    ~Server();

    int32_t add(std::string_view name);
    Module *find(std::string_view name);

    const MomClient *client() const { return client_; }
    // False in a forked child.
    bool is_of_this_process() const;

private:
    explicit Server(MomClient *client);

    void serve();
    bool run_next(uint64_t turn);
    bool can_serve() const;
    void set_deadline();

    MomClient *client_;
    pid_t pid_;
    Poller poller_;
    std::list<Module> modules_;
    uint64_t turns_ = 0;
};

// 0 or a code, as quib_lib_init().
int32_t add_module(MomClient *client, std::string_view name);

// The commands of the calling thread's latest module of that name; nullptr when it has none.
Commands *commands_of(std::string_view name);

}  // namespace quib
