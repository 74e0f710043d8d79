#include "redis/reader.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace mom::redis {

namespace {

using resp::Found;

// For answers; and for who is told much, large enough that few system calls are needed, and small enough to stay in the
// processor's cache.
constexpr size_t kRoom = size_t{16} * 1024;
constexpr size_t kBusyRoom = size_t{64} * 1024;
constexpr size_t kKeptRoom = size_t{1024} * 1024;  // a larger one, for a huge record, is not kept

constexpr size_t kShortestElement = 3;  // of an array: a kind and the end of a line

constexpr std::string_view kNotificationHead = "*3\r\n$7\r\nmessage\r\n";

template <class T>
T *must(T *memory) {
    if (!memory) {
        throw std::bad_alloc();
    }
    return memory;
}

// Copies the bytes that the array's texts are in: where they are, others will be received.
void keep_texts(const Reply &array, std::string_view bytes, Arena &arena) {
    const char *copy = must(arena.keep(bytes));
    for (Reply &element : array.elements) {
        element.text = {copy + (element.text.data() - bytes.data()), element.text.size()};
    }
}

// Takes a notification off the front.
Found take_notification(std::string_view bytes, std::string_view &channel, std::string_view &payload) {
    if (bytes.size() < kNotificationHead.size()) {
        return kNotificationHead.starts_with(bytes) ? Found::kPart : Found::kOther;
    }
    if (std::memcmp(bytes.data(), kNotificationHead.data(), kNotificationHead.size()) != 0) {
        return Found::kOther;
    }
    bytes.remove_prefix(kNotificationHead.size());
    const Found found = resp::take_string(bytes, channel);
    return found == Found::kWhole ? resp::take_string(bytes, payload) : found;
}

}  // namespace

std::span<char> Reader::room() {
    // The rest is the beginning of something.
    if (begin_ != 0) {
        std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
    }
    if (end_ == capacity_) {
        resize(std::max(capacity_ * 2, kRoom));
    } else if (end_ == 0 && capacity_ > kKeptRoom) {
        resize(kRoom);
    } else if (busy_ && capacity_ < kBusyRoom) {
        resize(kBusyRoom);
    }
    return {buffer_.get() + end_, capacity_ - end_};
}

void Reader::received(size_t size) {
    end_ += size;
    busy_ = end_ == capacity_;
}

void Reader::resize(size_t capacity) {
    auto *memory = static_cast<char *>(must(std::realloc(buffer_.get(), capacity)));
    static_cast<void>(buffer_.release());
    buffer_.reset(memory);
    capacity_ = capacity;
}

Reply *Reader::take_reply(Arena &arena) {
    if (is_broken() || begin_ == end_) {
        return nullptr;
    }
    if (!any_.is_under_way()) {
        const Found found = buffer_.get()[begin_] == ':' ? take_number(arena) : take_array(arena);
        if (found != Found::kOther) {
            return found == Found::kWhole ? reply_ : nullptr;
        }
    }
    std::string_view left = unread();
    Reply *reply = any_.take(left, arena);
    begin_ = end_ - left.size();
    return reply;
}

Reader::Item Reader::take(Arena &arena) {
    if (!any_.is_under_way() && !is_broken() && begin_ != end_) {
        switch (take_notification(unread(), channel_, payload_)) {
            case Found::kWhole:
                begin_ = static_cast<size_t>(payload_.data() + payload_.size() - buffer_.get()) + resp::kLineEnd.size();
                return Item::kNotification;
            case Found::kPart:
                return Item::kNone;
            case Found::kOther:
                break;
        }
    }
    reply_ = take_reply(arena);
    return reply_ != nullptr ? Item::kReply : is_broken() ? Item::kBroken : Item::kNone;
}

// Takes a number off the front, which is what a write is answered with: reply_. One with a sign is anything else.
Found Reader::take_number(Arena &arena) {
    std::string_view left = unread();
    size_t number = 0;
    const Found found = resp::take_count(left, ':', number);
    if (found == Found::kWhole) {
        reply_ = must(make_replies(arena, 1));
        reply_->type = Reply::Type::kInteger;
        reply_->integer = static_cast<int64_t>(number);
        begin_ = end_ - left.size();
    }
    return found;
}

// Looks through what has come since of an array that was not whole.
Found Reader::skim() {
    std::string_view left = unread().substr(skimmed_);
    Found found = Found::kWhole;
    while (missing_ != 0 && found == Found::kWhole) {
        std::string_view next = left;
        std::string_view text;
        found = resp::take_string(next, text);
        if (found == Found::kWhole) {
            left = next;
            --missing_;
        }
    }
    skimmed_ = unread().size() - left.size();
    return found;
}

// Takes an array of strings off the front: reply_.
Found Reader::take_array(Arena &arena) {
    if (skimmed_ != 0) {
        if (const Found found = skim(); found == Found::kPart) {
            return found;
        }
        skimmed_ = 0;
    }
    const std::string_view bytes = unread();
    std::string_view left = bytes;
    size_t count = 0;
    if (const Found found = resp::take_count(left, '*', count); found != Found::kWhole) {
        return found;
    }
    if (count > left.size() / kShortestElement) {
        return Found::kPart;  // before memory is taken for what may never come
    }
    Reply *array = must(make_replies(arena, 1 + count));
    Reply *const end = array + 1 + count;
    for (Reply *element = array + 1; element != end; ++element) {
        const size_t before = left.size();
        element->type = Reply::Type::kString;
        if (const Found found = resp::take_string(left, element->text); found != Found::kWhole) {
            arena.give_back((1 + count) * sizeof(Reply));
            skimmed_ = found == Found::kPart ? bytes.size() - before : 0;
            missing_ = static_cast<size_t>(end - element);
            return found;
        }
    }
    const std::string_view taken = bytes.substr(0, bytes.size() - left.size());
    begin_ += taken.size();
    array->type = Reply::Type::kArray;
    array->elements = {array + 1, count};
    keep_texts(*array, taken, arena);
    reply_ = array;
    return Found::kWhole;
}

}  // namespace mom::redis
