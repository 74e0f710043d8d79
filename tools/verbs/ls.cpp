// ls: the keys of what is stored.
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "command_line/exit_status.h"
#include "command_line/streams.h"
#include "command_line/text.h"
#include "record/record_json.h"
#include "store/snapshot.h"
#include "verbs/print.h"
#include "verbs/selection.h"
#include "verbs/verbs.h"

namespace capctl {

using namespace command_line;
using record::View;
using store::Snapshot;

namespace {

void append_key(const Session &session, std::string &lines, const View &record) {
    if (session.is_json()) {
        lines += record::json_line(record.key());
    } else {
        lines += on_one_line(record.key()) + '\n';
    }
}

int print_table(Session &session, const Selection &selection) {
    const Snapshot snapshot = Snapshot::of(session.store(), selection.types());
    const auto records = selected(snapshot, selection);
    print_records(session, records);
    return records.empty() ? kNegative : kDone;
}

int ls(Session &session, const Selection &selection) {
    if (session.format == Format::kTable) {
        return print_table(session, selection);
    }
    const std::string keys = selected_lines(session, selection, append_key);
    print_lines(session, keys);
    return keys.empty() ? kNegative : kDone;
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
