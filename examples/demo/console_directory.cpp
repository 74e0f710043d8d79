#include "console_directory.h"

#include <cstdlib>
#include <unistd.h>

namespace demo {

namespace {

bool is_set(const char *variable) {
    const char *value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

}  // namespace

ConsoleDirectory::ConsoleDirectory() {
    if (geteuid() != 0 && !is_set("QUIB_DIR") && !is_set("XDG_RUNTIME_DIR")) {
        directory_.emplace();
        setenv("QUIB_DIR", directory_->path().c_str(), 1);
    }
}

}  // namespace demo
