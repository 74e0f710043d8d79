#include "modules.h"

#include <algorithm>
#include <list>
#include <string>

#include "quib.h"

namespace quib {

namespace {

struct Module {
    MomClient *client;
    std::string name;
    Commands commands;
};

std::list<Module> &modules() {
    thread_local std::list<Module> of_thread;
    return of_thread;
}

}  // namespace

int32_t make_module(MomClient *client, std::string_view name) {
    const auto same = [&](const Module &module) { return module.client == client && module.name == name; };
    if (std::ranges::none_of(modules(), same)) {
        modules().push_front({.client = client, .name = std::string(name), .commands = {}});
    }
    return 0;
}

Commands *commands_of(std::string_view name) {
    const auto module = std::ranges::find(modules(), name, &Module::name);
    return module != modules().end() ? &module->commands : nullptr;
}

}  // namespace quib
