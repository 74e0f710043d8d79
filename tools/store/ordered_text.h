// Records of a store as text, in order, without a copy of any record.
#pragma once

#include <functional>
#include <span>
#include <string>

#include "record/view.h"
#include "store/store.h"

namespace store {

// Appends what a record is as text; nothing leaves it out.
using Append = std::function<void(std::string &text, const record::View &record)>;

// By type and index, as record::precedes() has it.
std::string ordered_text(Store &store, std::span<const record::RecordType *const> types, const Append &append);

}  // namespace store
