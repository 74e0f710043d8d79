// The table of docs/reliability.md: made of what the faults were found to do, and read again.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "trial.h"

namespace reliability {

// A row without its times, which differ from run to run.
struct Row {
    std::string read;
    std::string write;
    std::vector<std::string> lines;
    std::string told;

    bool operator==(const Row &) const = default;
};
std::ostream &operator<<(std::ostream &out, const Row &row);

Row row_of(const Finding &finding);

// By title. Throws std::runtime_error when the document cannot be read.
std::map<std::string, Row> rows_in(const std::string &document);

// Tries all faults and puts the table into the document in place of the one that is there. False when one has not been
// got over: then nothing is written.
bool write_table(const std::string &document);

}  // namespace reliability
