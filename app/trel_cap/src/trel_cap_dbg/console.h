// The part of the console that not every platform has.
#pragma once

#include <cstdint>

// Weak: null where the platform has none. They are used as the header of this project's platform tells.
extern "C" {
[[gnu::weak, gnu::visibility("default")]] int32_t quib_describe_mod_cmd(const char *module, const char *command,
                                                                        const char *text);
[[gnu::weak, gnu::visibility("default")]] int32_t quib_fail_mod_cmd(int32_t status);
}
