// What of a capability applications can read.
#pragma once

#include "record/record_type.h"

namespace chassis {

// Of the device, a class or a node: is it a capability?
bool is_capability(const record::RecordType &type);
bool is_node_capability(const record::RecordType &type);

// The record of each capability has room for a string, but the library reads one of a node's only: what is written of
// the device or of a class would seem to be published, and no application could ever see it.
inline bool has_readable_string(const record::RecordType &type) { return is_node_capability(type); }

}  // namespace chassis
