// help: what --help prints.
#include <memory>

#include "command_line/exit_status.h"
#include "command_line/streams.h"
#include "verbs/verbs.h"

namespace capctl {

using namespace command_line;

namespace {

int help(const Session &session, const Verbs &verbs, const std::string &verb) {
    session.prints_only("help", {Format::kText});
    write_output(verbs.help(verb));
    return kDone;
}

}  // namespace

void add_help(Verbs &verbs) {
    const auto verb = std::make_shared<std::string>();
    const Command command = verbs.add("help", "Print help, or help about a verb, as --help does",
                                      "  trel_capctl help\n"
                                      "  trel_capctl help explain\n",
                                      [verb, &verbs](const Session &session) { return help(session, verbs, *verb); });
    command.add_option("VERB", *verb, "The verb; without it all of them");
}

}  // namespace capctl
