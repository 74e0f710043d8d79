#include "embedded/incoming.h"

#include <new>

#include "core/queue_limit.h"

namespace mom {

void Notifications::push(std::string_view channel, std::string_view notification) {
    std::byte *room = pieces_.push(sizeof(Head) + channel.size() + notification.size());
    new (room) Head{.channel_size = channel.size()};
    char *const texts = reinterpret_cast<char *>(room + sizeof(Head));
    channel.copy(texts, channel.size());
    notification.copy(texts + channel.size(), notification.size());
}

bool Notifications::is_full() const { return is_queue_full(pieces_.count(), pieces_.bytes()); }

std::string_view Notifications::channel() {
    const auto *head = reinterpret_cast<const Head *>(pieces_.front());
    return {reinterpret_cast<const char *>(head + 1), head->channel_size};
}

std::string_view Notifications::notification() {
    const std::string_view before = channel();
    return {before.data() + before.size(), pieces_.front_size() - sizeof(Head) - before.size()};
}

void Incoming::put(std::string_view channel, std::string_view notification) noexcept {
    const std::scoped_lock lock(mutex_);
    try {
        overflown_ = overflown_ || notifications_.is_full();
        if (!overflown_) {
            notifications_.push(channel, notification);
        }
    } catch (const std::bad_alloc &) {
        overflown_ = true;
    }
    if (overflown_) {
        notifications_.clear();
    }
    loop_.wake();
}

void Incoming::overflow() noexcept {
    const std::scoped_lock lock(mutex_);
    overflown_ = true;
    notifications_.clear();
    loop_.wake();
}

bool Incoming::take(Notifications &notifications) {
    const std::scoped_lock lock(mutex_);
    notifications.clear();
    notifications.swap(notifications_);
    return !overflown_;
}

size_t Incoming::size() {
    const std::scoped_lock lock(mutex_);
    return notifications_.count();
}

void Incoming::clear() {
    const std::scoped_lock lock(mutex_);
    notifications_.clear();
    overflown_ = false;
}

}  // namespace mom
