#include "redis/push_reader.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "redis/resp.h"

namespace mom {

namespace {

using resp::Found;

// Large enough that a busy follower needs few system calls, and small enough to stay in the processor's cache.
constexpr size_t kRoom = size_t{64} * 1024;
constexpr size_t kKeptRoom = size_t{1024} * 1024;  // a larger one, for a huge record, is not kept

constexpr std::string_view kMessageHead = "*3\r\n$7\r\nmessage\r\n";

// Takes a message off the front.
Found take_message(std::string_view &bytes, std::string_view &channel, std::string_view &payload) {
    const auto head = kMessageHead.substr(0, bytes.size());
    if (!resp::starts(bytes, head)) {
        return Found::kOther;
    }
    if (head.size() < kMessageHead.size()) {
        return Found::kPart;
    }
    bytes.remove_prefix(kMessageHead.size());
    const Found found = resp::take_string(bytes, channel);
    return found == Found::kWhole ? resp::take_string(bytes, payload) : found;
}

}  // namespace

PushReader::PushReader() : buffer_(kRoom), reader_(redisReaderCreateWithFunctions(&reply_functions)) {
    if (!reader_) {
        throw std::bad_alloc();
    }
    reader_->privdata = &arena_;
}

std::span<char> PushReader::room() {
    // What is left is the beginning of something.
    std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
    if (end_ == buffer_.size()) {
        buffer_.resize(buffer_.size() * 2);
    } else if (end_ == 0 && buffer_.size() > kKeptRoom) {
        buffer_ = std::vector<char>(kRoom);
    }
    return std::span(buffer_).subspan(end_);
}

PushReader::Item PushReader::next() {
    if (reply_) {
        reply_ = nullptr;
        arena_.clear();
    }
    while (begin_ < end_) {
        std::string_view bytes = unread();
        const Found found = in_reply_ ? Found::kOther : take_message(bytes, channel_, payload_);
        if (found == Found::kWhole) {
            begin_ = end_ - bytes.size();
            return Item::kMessage;
        }
        if (found == Found::kPart) {
            break;
        }
        if (const Item item = read_line(); item != Item::kNone) {
            return item;
        }
    }
    return Item::kNone;
}

// Gives hiredis a line at a time. Every reply ends with one, so it never gets the beginning of what follows.
PushReader::Item PushReader::read_line() {
    const std::string_view bytes = unread();
    const size_t size = std::min(bytes.find('\n'), bytes.size() - 1) + 1;
    void *reply = nullptr;
    if (redisReaderFeed(reader_.get(), bytes.data(), size) != REDIS_OK ||
        redisReaderGetReply(reader_.get(), &reply) != REDIS_OK) {
        return Item::kBroken;
    }
    begin_ += size;
    reply_ = static_cast<Reply *>(reply);
    in_reply_ = !reply_;
    return reply_ ? Item::kReply : Item::kNone;
}

}  // namespace mom
