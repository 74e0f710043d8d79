// The name of this process's application, as its level file, its commands' module and its collection carry it.
#pragma once

#include <array>

namespace trel_cap {

using AppName = std::array<char, 128>;

// The answer of trel_cap_get_app_name() for this process; but without what the system adds to it once the program's
// file has been replaced or removed, as an upgrade does: to the operator it is the same program still.
AppName own_app_name();

}  // namespace trel_cap
