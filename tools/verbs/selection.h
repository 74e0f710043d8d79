// Which records a command is about.
#pragma once

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string>
#include <vector>

#include "record/record.h"

namespace capctl {

class Selection {
public:
    // The arguments PATTERN..., and the option --type.
    void add_to(CLI::App &command);

    // Those that a selected record may be of. Throws a usage failure for a name that is none.
    std::vector<const record::RecordType *> types() const;
    bool has(const record::Record &record) const;

private:
    std::vector<std::string> patterns_;
    std::vector<std::string> types_;
};

// Of these, those that are selected, in order.
template <class Records>
std::vector<const record::Record *> selected(const Records &records, const Selection &selection) {
    std::vector<const record::Record *> chosen;
    for (const auto &[key, record] : records) {
        if (selection.has(record)) {
            chosen.push_back(&record);
        }
    }
    std::sort(chosen.begin(), chosen.end(), [](const auto *a, const auto *b) { return precedes(*a, *b); });
    return chosen;
}

}  // namespace capctl
