// The records that a client hands to callbacks.
#pragma once

#include <ox_mom.h>

#include <optional>

#include "record/record.h"

namespace store {

// Written or delivered: with the fields that are there. Deleted: as it was addressed, without any. Nothing when the
// message carries none. It lives as long as the message.
std::optional<record::View> record_in(const MomMsg &message);

}  // namespace store
