// Functions that this test program defines in front of the library's own exports and of libc's, to see that they are
// called. Unless told otherwise each passes on to the one behind it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <dlfcn.h>
#include <functional>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "ox_mom.h"

namespace interposed {

// Everything said and seen on this thread since the latest reset().
struct Script {
    std::vector<std::string> calls;              // of exported functions and of locks: their names
    std::deque<std::optional<int32_t>> answers;  // for them, in turn; none: pass on

    std::optional<std::string> app_name;  // instead of looking
    pid_t app_name_pid = 0;
    size_t app_name_size = 0;
    std::string zlog_init_name;
    std::vector<int32_t> log_levels;
    std::vector<const void *> arguments;  // the pointers of the latest call of a function with many

    std::optional<ssize_t> link_length;  // instead of reading the link
    std::string link_text;
    std::string link_path;
    size_t link_room = 0;
    int links_read = 0;

    int formatted = 0;                     // calls of the printf family that format into a buffer
    std::array<char, 1024> latest_text{};  // what the latest of them made
};

Script &script();
void reset();

// For the functions themselves. What comes next under a function's name:
template <class Function>
Function *behind(Function *, const char *name) {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

// Notes the call; the next answer, when there is one that says something.
std::optional<int32_t> answer_to(const char *name);

// The pointers of a call.
template <class... Arguments>
void note(Arguments... arguments) {
    script().arguments = {static_cast<const void *>(arguments)...};
}

}  // namespace interposed
