#include "client/delivery.h"

#include <algorithm>
#include <new>
#include <utility>

#include "core/tell.h"
#include "records/decoding.h"
#include "records/encoding.h"

namespace mom {

namespace {

constexpr size_t kScratchCapacity = 2048;  // more than any record of usual length; a longer one overflows
constexpr size_t kFirstRing = 64;
constexpr size_t kKeptRing = 1024;  // a longer one is not kept once it is empty

}  // namespace

Delivery &DeliveryQueue::push(Delivery::Kind kind, uint64_t place, std::string_view notification) {
    reserve(1);
    Delivery &slot = ring_[(first_ + count_) % ring_.size()];
    slot.notification = notification;
    ++count_;  // only now that nothing can fail any more
    slot.kind = kind;
    slot.place = place;
    slot.channel = nullptr;
    slot.cb = nullptr;
    slot.db = 0;
    return slot;
}

void DeliveryQueue::reserve(size_t more) {
    if (count_ + more > ring_.size()) {
        grow(count_ + more);
    }
}

void DeliveryQueue::pop(Delivery &into) {
    Delivery &slot = ring_[first_];
    into.notification.swap(slot.notification);
    into.kind = slot.kind;
    into.place = slot.place;
    into.channel = slot.channel;
    into.cb = slot.cb;
    into.db = slot.db;
    first_ = (first_ + 1) % ring_.size();
    if (--count_ == 0 && ring_.size() > kKeptRing) {
        clear();
    }
}

void DeliveryQueue::clear() {
    ring_ = {};
    first_ = 0;
    count_ = 0;
}

void DeliveryQueue::grow(size_t least) {
    std::vector<Delivery> larger(std::max({kFirstRing, ring_.size() * 2, least}));
    for (size_t i = 0; i < count_; ++i) {
        larger[i] = std::move(ring_[(first_ + i) % ring_.size()]);
    }
    ring_ = std::move(larger);
    first_ = 0;
}

std::unique_ptr<Scratch> ScratchPool::take() {
    if (idle_) {
        std::unique_ptr<Scratch> scratch = std::move(idle_);
        idle_ = std::move(scratch->next);
        return scratch;
    }
    auto scratch = std::make_unique<Scratch>();
    scratch->arena.reset(ResultArena::create(kScratchCapacity));
    if (!scratch->arena) {
        throw std::bad_alloc();
    }
    return scratch;
}

void ScratchPool::give_back(std::unique_ptr<Scratch> scratch) noexcept {
    scratch->arena->clear();
    scratch->next = std::move(idle_);
    idle_ = std::move(scratch);
}

std::optional<void *> DecodedNotification::for_record(const ProtobufCMessageDescriptor &type) {
    if (!decode(type)) {
        return std::nullopt;
    }
    return notification_.cmd == OX_MOM_CMD_DELIVERED ? static_cast<void *>(result_)
                                                     : static_cast<void *>(result_->record);
}

std::optional<void *> DecodedNotification::for_field(const ProtobufCMessageDescriptor &type) {
    if (notification_.cmd == OX_MOM_CMD_DELETED) {
        notification_.fields.clear();  // a field callback learns of the deletion, not of what was deleted
        no_record_ = true;
    }
    if (!decode(type)) {
        return std::nullopt;
    }
    return result_;
}

bool DecodedNotification::decode(const ProtobufCMessageDescriptor &type) {
    if (decoded_as_ == &type) {
        return good_;
    }
    arena_.clear();
    decoded_as_ = &type;
    result_ = make_result(arena_);
    if (!result_) {
        throw std::bad_alloc();
    }
    if (index_of(type)) {
        const bool right_kind = notification_.cmd == OX_MOM_CMD_DELIVERED || notification_.cmd == OX_MOM_CMD_DELETED;
        const bool is_whole = !notification_.fields.empty() || no_record_;
        good_ = right_kind && is_whole && decode_hash(type, notification_.fields, channel_.key, arena_, *result_) == 0;
    } else {
        const bool right_kind = notification_.cmd == OX_MOM_CMD_WRITTEN || notification_.cmd == OX_MOM_CMD_DELETED;
        result_->record = right_kind ? decode_message(type, notification_.bytes, arena_) : nullptr;
        good_ = result_->record != nullptr;
    }
    if (arena_.exhausted()) {
        decoded_as_ = nullptr;
        throw std::bad_alloc();
    }
    if (!good_) {
        tell(Level::kWarning,
             Words("a notification of %s skipped: it does not decode as %s", channel_.key.c_str(), type.name));
    }
    return good_;
}

}  // namespace mom
