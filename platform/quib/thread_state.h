// The console's state of a thread: its modules.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <string_view>

#include "module.h"

namespace quib {

// It ends with the thread: nobody can serve its modules any more, even if their client is still there. In the thread
// that calls exit(), it ends then.
struct ThreadState {
    std::list<std::unique_ptr<Module>> modules;  // the latest first

    // nullptr when the thread has none.
    static ThreadState *find();
    // Makes it when the thread has none. Throws std::bad_alloc.
    static ThreadState &get();
};

// Adds a module to the calling thread's. 0 or a code, as quib_lib_init().
int32_t add_module(MomClient *client, std::string_view name);

// The commands of the calling thread's latest module of that name; nullptr when there is none.
Commands *commands_of(std::string_view name);

}  // namespace quib
