// How far a follower may fall behind.
#pragma once

#include <cstddef>

namespace mom {

// So much may wait for a client: so many notifications, and so many bytes and one notification more. A client that is
// further behind is treated as one whose connection was lost.
constexpr size_t kQueueLimit = 65536;
constexpr size_t kQueueBytes = size_t{64} * 1024 * 1024;
constexpr bool is_queue_full(size_t count, size_t bytes) { return count >= kQueueLimit || bytes >= kQueueBytes; }

}  // namespace mom
