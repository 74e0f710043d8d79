#include "server.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <unistd.h>
#include <utility>

#include "interpreter.h"
#include "mom/attachment.h"
#include "quib.h"
#include "report.h"

namespace quib {

namespace {

using Servers = std::list<std::unique_ptr<Server>>;

// A thread that ends takes its modules with it: nobody can serve them any more, even if its client is still there.
Servers &servers_of_thread() {
    thread_local Servers servers;
    return servers;
}

// $QUIB_IDLE_MS, or the default.
std::chrono::milliseconds idle_limit() {
    const char *text = std::getenv("QUIB_IDLE_MS");
    int limit = 0;
    if (text && std::from_chars(text, text + std::strlen(text), limit).ptr == text + std::strlen(text) && limit > 0) {
        return std::chrono::milliseconds(limit);
    }
    return kIdleLimit;
}

}  // namespace

Server::Server(MomClient *client) : client_(client), pid_(getpid()) {}

Server::~Server() {
    if (is_of_this_process()) {
        ox_mom_detach(client_);  // refused when it is the client that goes: it has let go already
    }
}

int32_t Server::make(MomClient *client, std::unique_ptr<Server> &server) {
    std::unique_ptr<Server> made(new Server(client));
    if (!made->poller_.open()) {
        report("no descriptors left");
        return QUIB_E_SOCKET;
    }
    const MomAttachment attachment{.on_ready = [](void *arg) { static_cast<Server *>(arg)->serve(); },
                                   .on_destroy =
                                       [](void *arg) {
                                           const auto is_it = [arg](const auto &each) { return each.get() == arg; };
                                           servers_of_thread().remove_if(is_it);
                                       },
                                   .arg = made.get()};
    const int32_t code = ox_mom_attach(client, made->poller_.fd(), &attachment);
    if (code == 0) {
        server = std::move(made);
        return 0;
    }
    return code == OX_MOM_E_MEMORY ? QUIB_E_MEMORY : QUIB_E_CLIENT;
}

bool Server::is_of_this_process() const { return getpid() == pid_; }

bool Server::can_serve() const { return is_of_this_process() && ox_mom_client_fd(client_) >= 0; }

Module *Server::find(std::string_view name) {
    const auto module = std::ranges::find(modules_, name, &Module::name);
    return module != modules_.end() ? &*module : nullptr;
}

int32_t Server::add(std::string_view name) {
    std::unique_ptr<Listener> listener;
    const int32_t code = find(name) ? 0 : Listener::make(std::string(name), listener);
    if (listener) {
        modules_.emplace_front(poller_, std::string(name), std::move(listener), idle_limit());
    }
    return code;
}

void Server::serve() try {
    const uint64_t turn = ++turns_;
    for (Module &module : modules_) {
        module.sweep();
    }
    poller_.dispatch();
    while (can_serve() && run_next(turn)) {
    }
    if (can_serve()) {
        for (Module &module : modules_) {
            module.tidy(Clock::now());
        }
        set_deadline();
    }
} catch (const std::bad_alloc &) {
    // What could not be done is still ready, and comes again.
}

// A command may run the client, and so come back here; it may destroy the client, or fork.
bool Server::run_next(uint64_t turn) {
    for (Module &module : modules_) {
        Operator *next = module.next(turn);
        if (!next) {
            continue;
        }
        next->turn = turn;
        try {
            Answer answer = interpret(module.commands(), next->take_line());
            if (is_of_this_process()) {
                next->answer(std::move(answer));
            }
        } catch (const std::bad_alloc &) {
            next->abandon();
        }
        return true;
    }
    return false;
}

void Server::set_deadline() {
    std::optional<TimePoint> first;
    for (const Module &module : modules_) {
        const auto deadline = module.deadline();
        first = first && deadline ? std::min(first, deadline) : first ? first : deadline;
    }
    poller_.set_deadline(first);
}

int32_t add_module(MomClient *client, std::string_view name) {
    Servers &servers = servers_of_thread();
    const auto same = [&](const auto &each) { return each->client() == client && each->is_of_this_process(); };
    const auto existing = std::ranges::find_if(servers, same);
    if (existing != servers.end()) {
        return (*existing)->add(name);
    }
    Servers made(1);
    int32_t code = Server::make(client, made.front());
    code = code != 0 ? code : made.front()->add(name);
    if (code == 0) {
        servers.splice(servers.begin(), made);
    }
    return code;
}

Commands *commands_of(std::string_view name) {
    for (const auto &server : servers_of_thread()) {
        Module *module = server->is_of_this_process() ? server->find(name) : nullptr;
        if (module) {
            return &module->commands();
        }
    }
    return nullptr;
}

}  // namespace quib
