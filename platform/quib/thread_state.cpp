#include "thread_state.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <pthread.h>

namespace quib {

namespace {

// No thread_local: the C library ends the process when it has no memory for one, or for the end of one.
struct Key {
    Key() : failed(pthread_key_create(&value, end) != 0 || std::atexit(end_of_caller) != 0) {}

    static void end(void *state) { delete static_cast<ThreadState *>(state); }
    static void end_of_caller();

    pthread_key_t value{};
    bool failed;
};

const Key &key() {
    static const Key only;
    return only;
}

void remove_module(void *module) {
    if (ThreadState *state = ThreadState::find()) {
        state->modules.remove_if([module](const auto &each) { return each.get() == module; });
    }
}

void Key::end_of_caller() {
    ThreadState *state = ThreadState::find();
    pthread_setspecific(key().value, nullptr);
    end(state);
}

}  // namespace

ThreadState *ThreadState::find() {
    return key().failed ? nullptr : static_cast<ThreadState *>(pthread_getspecific(key().value));
}

ThreadState &ThreadState::get() {
    if (ThreadState *state = find()) {
        return *state;
    }
    auto made = std::make_unique<ThreadState>();
    if (key().failed || pthread_setspecific(key().value, made.get()) != 0) {
        throw std::bad_alloc();
    }
    return *made.release();
}

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
    if (state == nullptr) {
        return nullptr;
    }
    const auto is_it = [name](const auto &each) { return each->name() == name && each->is_of_this_process(); };
    const auto module = std::ranges::find_if(state->modules, is_it);
    return module != state->modules.end() ? &(*module)->commands() : nullptr;
}

}  // namespace quib
