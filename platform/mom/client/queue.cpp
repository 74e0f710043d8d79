#include "client/queue.h"

#include <cstring>
#include <type_traits>

namespace mom {

void Queue::push(const Queued &queued, std::string_view notification) {
    std::byte *room = pieces_.push(sizeof queued + notification.size());
    std::memcpy(room, &queued, sizeof queued);
    notification.copy(reinterpret_cast<char *>(room + sizeof queued), notification.size());
}

Queued Queue::pop(std::string &notification) {
    static_assert(std::is_trivially_copyable_v<Queued>);
    Queued queued;
    const std::byte *piece = pieces_.front();
    std::memcpy(&queued, piece, sizeof queued);
    notification.assign(reinterpret_cast<const char *>(piece) + sizeof queued, pieces_.front_size() - sizeof queued);
    pieces_.pop();
    return queued;
}

}  // namespace mom
