// dump: all that is stored, to be read, kept, compared and loaded again.
#include <memory>

#include "command_line/exit_status.h"
#include "store/snapshot.h"
#include "verbs/client_log.h"
#include "verbs/print.h"
#include "verbs/selection.h"
#include "verbs/verbs.h"

namespace capctl {

using namespace command_line;
using store::Snapshot;

namespace {

int dump(Session &session, const Selection &selection) {
    tell_unreadable_here();
    if (session.format == Format::kTable) {  // whose columns are known at the end
        print_records(session, selected(Snapshot::of(session.store(), selection.types()), selection));
    } else {
        print_lines(session, selected_lines(session, selection, append_line));
    }
    const store::Unreadables unreadable = selection.of(session.store().unreadable());
    return end_with(unreadable, selection.end(kDone));
}

}  // namespace

void add_dump(Verbs &verbs) {
    const auto selection = std::make_shared<Selection>();
    const Command command = verbs.add("dump", "Print records; as ndjson, load reads them back",
                                      "  trel_capctl dump\n"
                                      "  trel_capctl dump --output ndjson > chassis.ndjson\n"
                                      "  trel_capctl dump --type card_info --output table\n",
                                      [selection](Session &session) { return dump(session, *selection); });
    selection->add_to(command);
}

}  // namespace capctl
