// ls: the keys of what is stored.
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>

#include "command_line/exit_status.h"
#include "command_line/streams.h"
#include "command_line/text.h"
#include "store/snapshot.h"
#include "verbs/print.h"
#include "verbs/selection.h"
#include "verbs/verbs.h"

namespace capctl {

using namespace command_line;
using record::Record;
using store::Snapshot;

namespace {

void print_keys(const Session &session, const std::vector<const Record *> &records) {
    if (session.format == Format::kJson) {
        auto keys = nlohmann::ordered_json::array();
        std::transform(records.begin(), records.end(), std::back_inserter(keys),
                       [](const Record *each) { return each->key(); });
        print_json(keys);
        return;
    }
    std::string lines;
    for (const Record *record : records) {
        const std::string key = record->key();
        lines += session.format == Format::kNdjson
                     ? nlohmann::json(key).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace)
                     : on_one_line(key);
        lines += '\n';
    }
    write_output(lines);
}

int ls(Session &session, const Selection &selection) {
    const Snapshot snapshot = Snapshot::of(session.store(), selection.types());
    const auto records = selected(snapshot, selection);
    if (session.format == Format::kTable) {
        print_records(session, records);
    } else {
        print_keys(session, records);
    }
    return records.empty() ? kNegative : kDone;
}

}  // namespace

void add_ls(Verbs &verbs) {
    const auto selection = std::make_shared<Selection>();
    const Command command = verbs.add("ls", "List the keys of what is stored",
                                      "  trel_capctl ls\n"
                                      "  trel_capctl ls '/l3/*'\n"
                                      "  trel_capctl ls 'cap_fe_ready:*' --output table\n"
                                      "  trel_capctl ls --type card_info\n",
                                      [selection](Session &session) { return ls(session, *selection); });
    selection->add_to(command);
}

}  // namespace capctl
