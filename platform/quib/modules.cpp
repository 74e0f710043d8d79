#include "modules.h"

#include <algorithm>
#include <list>
#include <memory>

#include "thread_state.h"

namespace quib {

namespace {

void remove_module(void *module) {
    if (ThreadState *state = ThreadState::find()) {
        state->modules.remove_if([module](const auto &each) { return each.get() == module; });
    }
}

}  // namespace

int32_t add_module(MomClient *client, std::string_view name) {
    auto &modules = ThreadState::get().modules;
    const auto same = [&](const auto &each) {
        return each->client() == client && each->name() == name && each->is_of_this_process();
    };
    if (std::ranges::any_of(modules, same)) {
        return 0;
    }
    std::list<std::unique_ptr<Module>> made(1);
    const int32_t code = Module::make(client, name, remove_module, made.front());
    if (code == 0) {
        modules.splice(modules.begin(), made);
    }
    return code;
}

Commands *commands_of(std::string_view name) {
    ThreadState *state = ThreadState::find();
    if (!state) {
        return nullptr;
    }
    const auto is_it = [name](const auto &each) { return each->name() == name && each->is_of_this_process(); };
    const auto module = std::ranges::find_if(state->modules, is_it);
    return module != state->modules.end() ? &(*module)->commands() : nullptr;
}

}  // namespace quib
