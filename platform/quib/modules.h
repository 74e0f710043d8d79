// The modules of the calling thread.
#pragma once

#include <cstdint>
#include <string_view>

#include "commands.h"
#include "ox_mom.h"

namespace quib {

// 0 or a code, as quib_lib_init().
int32_t add_module(MomClient *client, std::string_view name);

// The commands of the latest module of that name; nullptr when there is none.
Commands *commands_of(std::string_view name);

}  // namespace quib
