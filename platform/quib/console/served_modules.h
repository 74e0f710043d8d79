// The modules that are there to talk to.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "module_directory.h"

namespace console {

struct Module {
    std::string name;     // its socket's, after "USER/" when it is another user's
    pid_t process;        // 0 when it is so busy that it could not be asked
    std::string program;  // the path of what the process runs, or its name when the path is not for us to see
};

// Those that someone serves, in the order of their names. Throws a Failure when the directory is of no use.
std::vector<Module> served_modules(const std::string &directory);

// The module that is meant: by its name, or by the beginning of only one. Throws a Failure when there is none, which
// suggests what may have been meant.
struct Target {
    ModuleDirectory::Entry entry;
    std::string name;
};
Target find_module(const std::string &directory, const std::string &word);

}  // namespace console
