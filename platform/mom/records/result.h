// Decoded records, each in an arena of its own: one allocation for a result, and one release.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <protobuf-c/protobuf-c.h>

#include "core/arena.h"
#include "core/store.h"
#include "ox_mom.h"

namespace mom {

// The bytes that an arena should hold for records of about that many stored bytes.
size_t result_capacity(const ProtobufCMessageDescriptor &type, size_t stored_bytes, size_t n_fields);

// An empty result, the first thing in the arena; nullptr when memory is exhausted.
MomHashResult *make_result(Arena &arena);

// Decodes into the result's record and field_ids, or sets its error_code; no fields: no record. `where` names the
// record in last_error().
int32_t decode_hash(const ProtobufCMessageDescriptor &type, const StoredFields &fields, std::string_view where,
                    Arena &arena, MomHashResult &result);

}  // namespace mom
