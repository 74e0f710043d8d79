#include "verbs.h"

#include <trel_cap/version.h>

#include <algorithm>
#include <memory>

#include "command_line/exit_status.h"
#include "command_line/options.h"
#include "help.h"

namespace capctl {

using namespace command_line;

Verbs::Verbs() : app_(kSummary, "trel_capctl") {
    app_.formatter(std::make_shared<Help>());
    app_.footer(kExamples);
    app_.require_subcommand(0, 1);  // that there is none is told by run()
    add_shared_options(app_, TREL_CAP_VERSION, "How to print data: text (the default) or json", format_);
    app_.get_option("--help")->description("Print this and exit; after a verb, about that verb");
    app_.add_option("-s,--store", store_, "The store, in place of $OX_MOM_STORE")->type_name("NAME");
}

CLI::App &Verbs::add(const std::string &name, const std::string &summary, const std::string &examples, Run run) {
    CLI::App &command = *app_.add_subcommand(name, summary);
    command.footer(examples);
    command.group("Verbs");
    command.fallthrough();
    command.get_option("--help")->description("Print this and exit");
    verbs_.push_back({&command, std::move(run)});
    return command;
}

int Verbs::run(int argc, char **argv) {
    if (!parse(app_, {argv + std::min(argc, 1), argv + argc})) {
        return kDone;
    }
    const auto verb =
        std::find_if(verbs_.begin(), verbs_.end(), [](const Verb &each) { return each.command->parsed(); });
    if (verb == verbs_.end()) {
        throw Failure(kUsage, "a verb is missing" + hint(app_));
    }
    Session session{.store = StoreClient(store_name(store_)), .json = format_ == "json"};
    return verb->run(session);
}

}  // namespace capctl
