// Counts the instructions that a piece of code executes: a figure that does not depend on what else the machine does.
#pragma once

#include <functional>
#include <optional>

namespace test_support {

// Those of `body` alone, run in a child process, the second time there: by then every call in it is bound. Nothing
// where a process may not watch its own child.
std::optional<int> count_instructions(const std::function<void()> &body);

}  // namespace test_support
