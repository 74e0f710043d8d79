// Which records a command is about.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "record/record.h"
#include "store/snapshot.h"
#include "verbs/command.h"
#include "verbs/verbs.h"

namespace capctl {

class Selection {
public:
    // The arguments PATTERN..., and the option --type.
    void add_to(const Command &command);

    // Those that a selected record may be of. Throws a usage failure for a name that is none.
    std::vector<const record::RecordType *> types() const;
    bool has(const record::View &record) const;
    // The status that a list ends with: a pattern without * ? and [...] names one record, and one that has() has not
    // met is missed, on standard error. That nothing fits a pattern is an answer.
    int end(int status) const;
    // Of what does not decode, by its key.
    store::Unreadables of(const store::Unreadables &unreadable) const;

private:
    std::vector<std::string> patterns_;
    mutable std::set<std::string> met_;  // of the patterns
    std::vector<std::string> types_;
};

// Those of the session's store that are selected, in order, each as it is appended.
using AppendLine = void (*)(const Session &session, std::string &lines, const record::View &record);
std::string selected_lines(Session &session, const Selection &selection, AppendLine append);

// Of these, those that are selected, in order.
std::vector<const record::Record *> selected(const store::Snapshot &snapshot, const Selection &selection);

// Names what does not decode on standard error. The status that the verb ends with: what it has done is not all then.
int end_with(const store::Unreadables &unreadable, int status);

}  // namespace capctl
