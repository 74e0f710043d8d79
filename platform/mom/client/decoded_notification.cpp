#include "client/decoded_notification.h"

#include <new>
#include <utility>

#include "core/error.h"
#include "core/tell.h"
#include "records/decoding.h"

namespace mom {

std::unique_ptr<Scratch> ScratchPool::take() {
    if (idle_) {
        std::unique_ptr<Scratch> scratch = std::move(idle_);
        idle_ = std::move(scratch->next);
        return scratch;
    }
    return std::make_unique<Scratch>();
}

void ScratchPool::give_back(std::unique_ptr<Scratch> scratch) noexcept {
    scratch->arena.clear();
    scratch->next = std::move(idle_);
    idle_ = std::move(scratch);
}

std::optional<void *> DecodedNotification::for_record(const RecordSubscription &subscription) {
    if (!decode(*subscription.type, subscription.is_hash)) {
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
    if (!decode(type, true)) {
        return std::nullopt;
    }
    return result_;
}

bool DecodedNotification::decode(const ProtobufCMessageDescriptor &type, bool is_hash) {
    if (decoded_as_ == &type) {
        return good_;
    }
    arena_.clear();
    decoded_as_ = &type;
    result_ = make_result(arena_);
    if (result_ == nullptr) {
        throw std::bad_alloc();
    }
    if (is_hash) {
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

namespace {

bool reported(bool good, const Arena &arena) {
    if (arena.exhausted()) {
        throw std::bad_alloc();
    }
    if (!good) {
        report_as_gone();
    }
    return good;
}

}  // namespace

bool can_be_told(const ProtobufCMessageDescriptor &type, std::string_view key, const StoredFields &fields) {
    Arena arena;
    MomHashResult result{};
    return reported(decode_hash(type, fields, key, arena, result) == 0, arena);
}

bool can_be_told(const ProtobufCMessageDescriptor &type, std::string_view object) {
    Arena arena;
    const bool good = decode_message(type, object, arena) != nullptr;
    if (!good) {
        fail(OX_MOM_E_DECODE, "%s does not decode as its type", type.name);
    }
    return reported(good, arena);
}

void report_as_gone() { tell(Level::kWarning, Words("told as deleted: %s", last_error())); }

}  // namespace mom
