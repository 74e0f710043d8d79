// The records that a client hands to callbacks.
#pragma once

#include <ox_mom.h>

#include <optional>

#include "record/record.h"

namespace store {

// Written or delivered: with the fields that are there. Deleted: as it was addressed, without any. Nothing when the
// message carries none.
std::optional<record::Record> record_in(const MomMsg &message);

// All fields of a single object are there.
record::Record whole_object(const ProtobufCMessage &message);

}  // namespace store
