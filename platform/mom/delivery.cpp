#include "delivery.h"

#include <new>
#include <utility>

#include "error.h"
#include "record_codec.h"

namespace mom {

namespace {

constexpr size_t kPooledCapacity = 2048;  // more than any record of usual length; a longer one overflows
constexpr size_t kPooledArenas = 4;

}  // namespace

ResultArenaPtr ArenaPool::take() {
    if (!idle_.empty()) {
        ResultArenaPtr arena = std::move(idle_.back());
        idle_.pop_back();
        return arena;
    }
    ResultArenaPtr arena(ResultArena::create(kPooledCapacity));
    if (!arena) {
        throw std::bad_alloc();
    }
    return arena;
}

void ArenaPool::give_back(ResultArenaPtr arena) {
    arena->clear();
    if (idle_.size() < kPooledArenas) {
        idle_.push_back(std::move(arena));
    }
}

DecodedNotice::DecodedNotice(Notice &notice, const Channel &channel, ArenaPool &pool)
    : notice_(notice), channel_(channel), arena_(pool) {}

std::optional<void *> DecodedNotice::for_record(const ProtobufCMessageDescriptor &type) {
    if (!decode(type)) {
        return std::nullopt;
    }
    return notice_.cmd == OX_MOM_CMD_DELIVERED ? static_cast<void *>(result_) : static_cast<void *>(result_->record);
}

std::optional<void *> DecodedNotice::for_field(const ProtobufCMessageDescriptor &type) {
    if (notice_.cmd == OX_MOM_CMD_DELETED) {
        notice_.fields.clear();  // a field callback learns of the deletion, not of what was deleted
    }
    if (!decode(type)) {
        return std::nullopt;
    }
    return result_;
}

bool DecodedNotice::decode(const ProtobufCMessageDescriptor &type) {
    if (decoded_as_ == &type) {
        return good_;
    }
    (*arena_).clear();
    decoded_as_ = &type;
    result_ = make_result(*arena_);
    if (!result_) {
        throw std::bad_alloc();
    }
    if (index_of(type)) {
        const bool right_kind = notice_.cmd == OX_MOM_CMD_DELIVERED || notice_.cmd == OX_MOM_CMD_DELETED;
        good_ = right_kind && decode_hash(type, notice_.fields, channel_.key, *arena_, *result_) == 0;
    } else {
        const bool right_kind = notice_.cmd == OX_MOM_CMD_WRITTEN || notice_.cmd == OX_MOM_CMD_DELETED;
        result_->record = right_kind ? decode_object(type, notice_.bytes, *arena_) : nullptr;
        good_ = result_->record != nullptr;
    }
    if (!good_) {
        report("a notification of %s skipped: it does not decode as %s", channel_.key.c_str(), type.name);
    }
    return good_;
}

}  // namespace mom
