#include "verbs/verbs.h"

#include <CLI/CLI.hpp>
#include <trel_cap/version.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "command_line/exit_status.h"
#include "command_line/options.h"
#include "verbs/help.h"

namespace capctl {

using namespace command_line;

namespace {

Format format_named(const std::string &name) {
    return name == "table" ? Format::kTable
                           : (name == "json" ? Format::kJson : (name == "ndjson" ? Format::kNdjson : Format::kText));
}

// On a terminal only, unless told; and not where the environment declines it.
bool has_colour(const std::string &option) {
    const char *declined = std::getenv("NO_COLOR");
    const char *terminal = std::getenv("TERM");
    const bool is_dumb = terminal != nullptr && std::string_view(terminal) == "dumb";
    const bool by_itself = isatty(STDOUT_FILENO) != 0 && (declined == nullptr || *declined == '\0') && !is_dumb;
    return option == "always" || (option == "auto" && by_itself);
}

}  // namespace

store::Store &Session::store() {
    if (!store_) {
        store_.emplace(store_name());
    }
    return *store_;
}

Verbs::Verbs() : app_(std::make_unique<CLI::App>(kSummary, "trel_capctl")) {
    app_->formatter(std::make_shared<Help>());
    app_->footer(kExamples);
    app_->require_subcommand(0, 1);  // that there is none is told by run()
    add_shared_options(*app_, TREL_CAP_VERSION, "How to print data: text (the default), table, json or ndjson", format_,
                       {"text", "table", "json", "ndjson"});
    app_->get_option("--help")->description("Print this and exit; after a verb, about that verb");
    app_->add_option("-s,--store", store_, "The store, in place of $OX_MOM_STORE")->type_name("NAME");
    app_->add_option("--color", colour_, "Colour: auto (the default: on a terminal), always or never")
        ->type_name("WHEN")
        ->check(CLI::IsMember({"auto", "always", "never"}).description(""));
}

Verbs::~Verbs() = default;

Command Verbs::add(const std::string &name, const std::string &summary, const std::string &examples, Run run) {
    CLI::App &command = *app_->add_subcommand(name, summary);
    command.footer(examples);
    command.group("Verbs");
    command.fallthrough();
    command.get_option("--help")->description("Print this and exit");
    verbs_.push_back({&command, std::move(run)});
    return Command(&command);
}

int Verbs::run(int argc, char **argv) {
    if (!parse(*app_, {argv + std::min(argc, 1), argv + argc})) {
        return kDone;
    }
    const auto verb =
        std::find_if(verbs_.begin(), verbs_.end(), [](const Verb &each) { return each.command->parsed(); });
    if (verb == verbs_.end()) {
        throw Failure(kUsage, "a verb is missing" + hint(*app_));
    }
    Session session(store_, format_named(format_), has_colour(colour_));
    return verb->run(session);
}

}  // namespace capctl
