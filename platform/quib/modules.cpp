#include "modules.h"

#include <algorithm>
#include <list>
#include <memory>
#include <utility>

#include "module.h"

namespace quib {

namespace {

using Modules = std::list<std::unique_ptr<Module>>;  // the latest first

// A thread that has registered nothing is not to pay for the list, whose first use allocates.
constinit thread_local bool has_registered = false;

Modules &modules_of_thread() {
    thread_local Modules modules;
    return modules;
}

void remove_module(void *module) {
    modules_of_thread().remove_if([module](const auto &each) { return each.get() == module; });
}

}  // namespace

int32_t add_module(MomClient *client, std::string_view name) {
    has_registered = true;
    Modules &modules = modules_of_thread();
    const auto same = [&](const auto &each) {
        return each->client() == client && each->name() == name && each->is_of_this_process();
    };
    if (std::ranges::any_of(modules, same)) {
        return 0;
    }
    Modules made(1);
    const int32_t code = Module::make(client, name, remove_module, made.front());
    if (code == 0) {
        modules.splice(modules.begin(), made);
    }
    return code;
}

Commands *commands_of(std::string_view name) {
    if (!has_registered) {
        return nullptr;
    }
    const auto is_it = [name](const auto &each) { return each->name() == name && each->is_of_this_process(); };
    const auto module = std::ranges::find_if(modules_of_thread(), is_it);
    return module != modules_of_thread().end() ? &(*module)->commands() : nullptr;
}

}  // namespace quib
