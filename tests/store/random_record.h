// Records with random contents, of every type.
#pragma once

#include <random>

#include "record/record.h"

namespace store_test {

// Some fields are there, at any values, defaults among them; strings are of any bytes but NUL.
record::Record random_record(const record::RecordType &type, std::mt19937 &random);

}  // namespace store_test
