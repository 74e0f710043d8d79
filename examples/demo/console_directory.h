// Where operators find the demo.
#pragma once

#include <optional>

#include "temporary_directory.h"

namespace demo {

// Without rights in /run, and without a run-time directory of the user's, there is no place for the console: then one
// is made, and named in $QUIB_DIR, for as long as this object lives.
class ConsoleDirectory {
public:
    ConsoleDirectory();

private:
    std::optional<TemporaryDirectory> directory_;
};

}  // namespace demo
