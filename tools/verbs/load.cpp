// load: writes what dump has printed.
#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>

#include "command_line/exit_status.h"
#include "command_line/program.h"
#include "command_line/streams.h"
#include "command_line/text.h"
#include "store/snapshot.h"
#include "verbs/client_log.h"
#include "verbs/input.h"
#include "verbs/print.h"
#include "verbs/progress.h"
#include "verbs/verbs.h"

namespace capctl {

using namespace command_line;
using record::Record;
using store::Snapshot;

namespace {

struct Load {
    std::string file = "-";
    bool replaces = false;

    int run(Session &session) const;
};

struct Count {
    size_t written = 0;
    size_t deleted = 0;
};

bool has_all_fields_of(const Record &record, const Record &stored) {
    return std::all_of(stored.fields().begin(), stored.fields().end(),
                       [&](int32_t field) { return record.has(field); });
}

// What is stored and not as it is to be. A field can't be taken out of a record, so that one with too many is deleted.
Count clear(store::Store &store, const std::vector<Record> &records) {
    Snapshot wanted;
    for (const Record &record : records) {
        wanted.put(record);
    }
    Count count;
    const Snapshot stored = Snapshot::of(store);
    for (const auto &[key, record] : stored.records()) {
        const Record *its_wanted = wanted.find(key);
        if (its_wanted == nullptr || !has_all_fields_of(*its_wanted, record)) {
            store.remove(record);
            ++count.deleted;
        }
    }
    // Nor is this as it is to be, whatever it was.
    for (const auto &each : stored.unreadable()) {
        if (const auto address = store::address_of(each)) {
            store.remove(*address);
            ++count.deleted;
        } else {
            complain(store::in_words(each));
        }
    }
    return count;
}

int Load::run(Session &session) const {
    session.prints_only("load", {Format::kText, Format::kJson, Format::kNdjson});
    const std::vector<Record> records = read_dump(file);
    if (replaces && records.empty()) {
        // Most often the end of a pipe whose beginning has failed.
        throw Failure(kUnreadable,
                      printable(input_name(file)) + ": no record; --replace would delete all that is stored");
    }
    tell_losses_here();  // by the failure
    tell_unreadable_here();
    store::Store &store = session.store();
    Count count = replaces ? clear(store, records) : Count();
    Progress progress("load", records.size());
    for (const Record &record : records) {
        store.write(record);
        progress.show(++count.written);
    }
    if (session.is_json()) {
        print_json({{"written", count.written}, {"deleted", count.deleted}});
    } else {
        write_output(counted(count.written, "record") + " written" +
                     (replaces ? ", " + std::to_string(count.deleted) + " deleted\n" : "\n"));
    }
    return kDone;
}

}  // namespace

void add_load(Verbs &verbs) {
    const auto load = std::make_shared<Load>();
    const Command command = verbs.add("load", "Write the records that dump has printed as JSON",
                                      "  trel_capctl load chassis.ndjson\n"
                                      "  trel_capctl load --replace chassis.ndjson\n"
                                      "  trel_capctl dump --output ndjson | trel_capctl load --store redis://lab\n",
                                      [load](Session &session) { return load->run(session); });
    command.add_option("FILE", load->file, "Lines of ndjson, or a JSON array; - is standard input, as is none");
    command.add_flag("--replace", load->replaces, "Delete first what is stored and not there");
}

}  // namespace capctl
