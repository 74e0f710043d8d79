// What a command takes from a file or from standard input.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "record/record.h"
#include "store/snapshot.h"

namespace capctl {

// All of it; - is standard input. Throws a Failure that names the file.
std::string read_input(const std::string &file);

// What messages call it.
std::string input_name(const std::string &file);

// The records of a dump. Throws a Failure that names the file, and the line.
std::vector<record::Record> read_dump(const std::string &file);
store::Snapshot read_snapshot(const std::string &file);

// Bytes are taken as they are; of text a newline at its end is not part.
void set_from_bytes(record::Record &record, std::string_view path, std::string bytes);

}  // namespace capctl
