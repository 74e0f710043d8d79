// ls: the keys of what is stored.
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "chassis/node_records.h"
#include "command_line/exit_status.h"
#include "command_line/names.h"
#include "command_line/streams.h"
#include "command_line/text.h"
#include "record/record_json.h"
#include "record/record_text.h"
#include "store/snapshot.h"
#include "verbs/address.h"
#include "verbs/client_log.h"
#include "verbs/print.h"
#include "verbs/selection.h"
#include "verbs/verbs.h"

namespace capctl {

using namespace command_line;
using record::Record;
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

// What is stored of what; the values are dump's.
void print_table(Session &session, const Selection &selection) {
    const Snapshot snapshot = Snapshot::of(session.store(), selection.types());
    const auto records = selected(snapshot, selection);
    std::vector<Row> rows = {{"KEY  ", "NODE  ", "FIELDS"}};
    for (const Record *record : records) {
        const auto node = is_node_capability(record->type())
                              ? std::optional(std::get<int32_t>(record->get("index.node")))
                              : chassis::node_of(*record);
        rows.push_back({on_one_line(record->key()) + "  ", (node ? std::to_string(*node) : "-") + "  ",
                        joined(field_names(record->type(), record->fields()))});
    }
    write_output(table(rows));
}

int ls(Session &session, const Selection &selection) {
    tell_unreadable_here();
    if (session.format == Format::kTable) {
        print_table(session, selection);
    } else {
        print_lines(session, selected_lines(session, selection, append_key));
    }
    const store::Unreadables unreadable = selection.of(session.store().unreadable());
    return end_with(unreadable, selection.end(kDone));
}

}  // namespace

void add_ls(Verbs &verbs) {
    const auto selection = std::make_shared<Selection>();
    const Command command = verbs.add("ls", "List the keys of what is stored",
                                      "  trel_capctl ls\n"
                                      "  trel_capctl ls '/l3/*'\n"
                                      "  trel_capctl ls '*:17:*' --output table\n"
                                      "  trel_capctl ls --type card_info\n",
                                      [selection](Session &session) { return ls(session, *selection); });
    selection->add_to(command);
}

}  // namespace capctl
