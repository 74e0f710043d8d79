// A root directory of the process's own, with an empty /data.
#pragma once

#include <string>

namespace test_support {

// Moves the calling thread, and the threads it will start, into a mount namespace whose root shows everything that /
// shows except /data, which is a new file system there. Once entered there is no way back; a second call leaves it at
// that, but empties /data. Returns "" or why it could not be done.
std::string enter_private_root();

// In the private root: whether /data may be written. Returns "" or why it could not be done.
std::string set_data_writable(bool writable);

}  // namespace test_support
