// del: deletes a record, and tells those who follow it.
#include <memory>
#include <optional>

#include "command_line/exit_status.h"
#include "verbs/address.h"
#include "verbs/print.h"
#include "verbs/verbs.h"

namespace capctl {

using namespace command_line;

namespace {

// Of one that does not decode, the address: it is the way to be rid of it.
std::optional<record::Record> read(store::Store &store, const record::Record &wanted) {
    try {
        return store.read(wanted);
    } catch (const store::NotDecoded &) {
        return wanted;
    }
}

int del(Session &session, const Address &address) {
    const record::Record wanted = address.record();
    const auto stored = read(session.store(), wanted);
    if (!stored) {
        throw Failure(kNegative, address.not_found(wanted.type()));
    }
    session.store().remove(wanted);
    print_written(session, *stored);
    return kDone;
}

}  // namespace

void add_del(Verbs &verbs) {
    const auto address = std::make_shared<Address>();
    const Command command = verbs.add("del", "Delete a capability, or any record",
                                      "  trel_capctl del /l3/arp/capacity\n"
                                      "  trel_capctl del /l3/arp/capacity --fe 0x11\n"
                                      "  trel_capctl del cap_fe_ready:17:900\n",
                                      [address](Session &session) { return del(session, *address); });
    address->add_to(command);
}

}  // namespace capctl
