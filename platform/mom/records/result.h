// Decoded records in memory of their own: one allocation for a result, and one release.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include <protobuf-c/protobuf-c.h>

#include "core/store.h"
#include "ox_mom.h"

namespace mom {

// Memory for one result, handed out piece by piece. What is allocated first leads back to the arena, so that a caller
// who holds only that can release the whole.
class ResultArena {
public:
    // nullptr when memory is exhausted.
    static ResultArena *create(size_t capacity);
    static ResultArena *of(void *first);
    template <class T>
    static T *first(ResultArena *arena) {
        return reinterpret_cast<T *>(arena->memory());
    }
    static void destroy(ResultArena *arena);

    void *allocate(size_t size);
    void clear();

    // Whether memory ran out since clear(): what did not decode may be sound then.
    bool exhausted() const { return exhausted_; }

private:
    struct Overflow {
        Overflow *next;
    };

    std::byte *memory();

    size_t capacity_ = 0;
    size_t used_ = 0;
    Overflow *overflow_ = nullptr;
    bool exhausted_ = false;
};

struct DestroyArena {
    void operator()(ResultArena *arena) const { ResultArena::destroy(arena); }
};
using ResultArenaPtr = std::unique_ptr<ResultArena, DestroyArena>;

// What an arena should hold for records of about that many stored bytes.
size_t result_capacity(const ProtobufCMessageDescriptor &type, size_t stored_bytes, size_t n_fields);

// An empty result, the first thing in the arena; nullptr when memory is exhausted.
MomHashResult *make_result(ResultArena &arena);

// Decodes into the result's record and field_ids, or sets its error_code; no fields: no record. `where` names the
// record in last_error().
int32_t decode_hash(const ProtobufCMessageDescriptor &type, const StoredFields &fields, std::string_view where,
                    ResultArena &arena, MomHashResult &result);

}  // namespace mom
