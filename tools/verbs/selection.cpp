#include "verbs/selection.h"

#include <fnmatch.h>

#include <algorithm>

#include "verbs/address.h"

namespace capctl {

using record::Record;
using record::RecordType;

namespace {

bool matches(const std::string &pattern, const Record &record) {
    const std::string key = record.key();
    if (fnmatch(pattern.c_str(), key.c_str(), 0) == 0) {
        return true;
    }
    return is_capability(record.type()) &&
           fnmatch(pattern.c_str(), std::get<std::string>(record.get("index.url")).c_str(), 0) == 0;
}

}  // namespace

void Selection::add_to(const Command &command) {
    command.add_option("PATTERN", patterns_, "Keys, or URLs of capabilities; * ? and [...] as in the shell");
    command.add_option("--type", types_, "Records of this type only; may be given again").type_name("TYPE").repeated();
}

std::vector<const RecordType *> Selection::types() const {
    if (types_.empty()) {
        return store::all_types();
    }
    std::vector<const RecordType *> types;
    for (const std::string &name : types_) {
        const RecordType &type = record::type_named(name);
        if (std::find(types.begin(), types.end(), &type) == types.end()) {
            types.push_back(&type);
        }
    }
    return types;
}

bool Selection::has(const Record &record) const {
    return patterns_.empty() || std::any_of(patterns_.begin(), patterns_.end(),
                                            [&](const std::string &pattern) { return matches(pattern, record); });
}

std::vector<const Record *> selected(const store::Snapshot &snapshot, const Selection &selection) {
    std::vector<const Record *> records = snapshot.in_order();
    std::erase_if(records, [&](const Record *each) { return !selection.has(*each); });
    return records;
}

}  // namespace capctl
