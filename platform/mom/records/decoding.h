// Decoding protobuf's wire form into an arena. Plain fields, which is all that records have, are decoded here, one by
// one as they are stored, in a third of the instructions that protobuf-c's general way takes. A message with a field of
// another kind goes that way.
#pragma once

#include <cstdint>
#include <string_view>

#include <protobuf-c/protobuf-c.h>

#include "core/arena.h"
#include "core/store.h"

namespace mom {

// Both return nullptr when the bytes do not decode or memory is exhausted.
ProtobufCMessage *decode_message(const ProtobufCMessageDescriptor &type, std::string_view bytes, Arena &arena);

// Every value must be exactly the field that it is stored as, so that a damaged one can't swallow its neighbours. A
// field that the type does not know (one of a newer schema) is passed over.
ProtobufCMessage *decode_fields(const ProtobufCMessageDescriptor &type, const StoredFields &fields, Arena &arena);

}  // namespace mom
