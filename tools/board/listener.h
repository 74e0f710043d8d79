// A socket that listens.
#pragma once

#include "base/fd.h"
#include "board/address.h"

namespace board {

// Sets the port to the one that it got. Throws a Failure when the address cannot be had.
base::Fd listen_on(Address &address);

}  // namespace board
