#include "result.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "error.h"
#include "record_codec.h"

namespace mom {

namespace {

constexpr size_t kAlign = alignof(std::max_align_t);

constexpr size_t aligned(size_t size) { return (size + kAlign - 1) / kAlign * kAlign; }

ProtobufCAllocator allocator_of(ResultArena &arena) {
    return {.alloc = [](void *data, size_t size) { return static_cast<ResultArena *>(data)->allocate(size); },
            .free = [](void *, void *) {},
            .allocator_data = &arena};
}

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
        return nullptr;
    }
    overflow->next = std::exchange(overflow_, overflow);
    return reinterpret_cast<std::byte *>(overflow) + kAlign;
}

void ResultArena::clear() {
    used_ = 0;
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
    if (!are_whole(fields)) {
        return refuse(OX_MOM_E_DECODE, "does not decode: a stored field is damaged");
    }
    size_t size = 0;
    for (const auto &field : fields) {
        size += field.second.size();
    }
    auto *ids = static_cast<int32_t *>(arena.allocate(fields.size() * sizeof(int32_t)));
    auto *bytes = static_cast<uint8_t *>(arena.allocate(size));
    if (!ids || !bytes) {
        return refuse(OX_MOM_E_MEMORY, "does not fit into memory");
    }
    size_t n_ids = 0;
    uint8_t *end = bytes;
    for (const auto &[name, value] : fields) {
        ids[n_ids++] = static_cast<int32_t>(field_number(name));
        end = std::copy(value.begin(), value.end(), end);
    }
    ProtobufCAllocator allocator = allocator_of(arena);
    ProtobufCMessage *record = protobuf_c_message_unpack(&type, &allocator, size, bytes);
    if (!record) {
        return refuse(OX_MOM_E_DECODE, "does not decode as its type");
    }
    std::sort(ids, ids + n_ids);
    result.record = record;
    result.field_ids = ids;
    result.n_field_ids = static_cast<uint32_t>(n_ids);
    return 0;
}

ProtobufCMessage *decode_object(const ProtobufCMessageDescriptor &type, std::string_view bytes, ResultArena &arena) {
    ProtobufCAllocator allocator = allocator_of(arena);
    return protobuf_c_message_unpack(&type, &allocator, bytes.size(), reinterpret_cast<const uint8_t *>(bytes.data()));
}

}  // namespace mom
