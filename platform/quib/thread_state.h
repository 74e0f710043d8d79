// What the console keeps of a thread that has registered modules.
#pragma once

#include <cstdint>
#include <list>
#include <memory>

#include "module.h"

namespace quib {

// It ends with the thread: nobody can serve its modules any more, even if their client is still there. In the thread
// that calls exit(), it ends then.
struct ThreadState {
    std::list<std::unique_ptr<Module>> modules;  // the latest first
    int32_t *told_aside = nullptr;               // of the innermost handler that runs; nullptr: none does

    // nullptr when the thread has none.
    static ThreadState *find();
    // Makes it when the thread has none. Throws std::bad_alloc.
    static ThreadState &get();
};

}  // namespace quib
