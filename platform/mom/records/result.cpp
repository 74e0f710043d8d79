#include "records/result.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <utility>

#include "core/error.h"
#include "records/decoding.h"
#include "records/notification.h"

namespace mom {

namespace {

constexpr size_t kAlign = alignof(std::max_align_t);

constexpr size_t aligned(size_t size) { return (size + kAlign - 1) / kAlign * kAlign; }

}  // namespace

ResultArena *ResultArena::create(size_t capacity) {
    capacity = aligned(capacity);
    void *memory = std::malloc(aligned(sizeof(ResultArena)) + capacity);
    if (!memory) {
        return nullptr;
    }
    auto *arena = new (memory) ResultArena;
    arena->capacity_ = capacity;
    return arena;
}

ResultArena *ResultArena::of(void *first) {
    return reinterpret_cast<ResultArena *>(static_cast<std::byte *>(first) - aligned(sizeof(ResultArena)));
}

void ResultArena::destroy(ResultArena *arena) {
    if (arena) {
        arena->clear();
        std::free(arena);
    }
}

void *ResultArena::allocate(size_t size) {
    size = std::max(aligned(size), kAlign);
    if (capacity_ - used_ >= size) {
        return memory() + std::exchange(used_, used_ + size);
    }
    auto *overflow = static_cast<Overflow *>(std::malloc(kAlign + size));
    if (!overflow) {
        exhausted_ = true;
        return nullptr;
    }
    overflow->next = std::exchange(overflow_, overflow);
    return reinterpret_cast<std::byte *>(overflow) + kAlign;
}

void ResultArena::clear() {
    used_ = 0;
    exhausted_ = false;
    while (overflow_) {
        std::free(std::exchange(overflow_, overflow_->next));
    }
}

std::byte *ResultArena::memory() { return reinterpret_cast<std::byte *>(this) + aligned(sizeof(ResultArena)); }

size_t result_capacity(const ProtobufCMessageDescriptor &type, size_t stored_bytes, size_t n_fields) {
    constexpr size_t kSubmessages = 256;
    return sizeof(MomHashResult) + n_fields * sizeof(int32_t) + type.sizeof_message + kSubmessages + 2 * stored_bytes;
}

MomHashResult *make_result(ResultArena &arena) {
    void *memory = arena.allocate(sizeof(MomHashResult));
    return memory ? new (memory) MomHashResult{} : nullptr;
}

int32_t decode_hash(const ProtobufCMessageDescriptor &type, const StoredFields &fields, std::string_view where,
                    ResultArena &arena, MomHashResult &result) {
    if (fields.empty()) {
        return 0;
    }
    const auto refuse = [&](int32_t code, const char *why) {
        return result.error_code = fail(code, "%.*s %s", static_cast<int>(where.size()), where.data(), why);
    };
    if (index_in(fields).empty()) {
        return refuse(OX_MOM_E_DECODE, "has no index");
    }
    auto *ids = static_cast<int32_t *>(arena.allocate(fields.size() * sizeof(int32_t)));
    ProtobufCMessage *record = ids ? decode_fields(type, fields, arena) : nullptr;
    if (!record) {
        return arena.exhausted() ? refuse(OX_MOM_E_MEMORY, "does not fit into memory")
                                 : refuse(OX_MOM_E_DECODE, "does not decode as its type");
    }
    bool ascending = true;
    int32_t before = 0;
    int32_t *next = ids;
    for (const StoredField &field : fields) {
        *next++ = static_cast<int32_t>(field.number);
        ascending = ascending && before <= static_cast<int32_t>(field.number);
        before = static_cast<int32_t>(field.number);
    }
    if (!ascending) {
        std::sort(ids, next);
    }
    result.record = record;
    result.field_ids = ids;
    result.n_field_ids = static_cast<uint32_t>(fields.size());
    return 0;
}

}  // namespace mom
