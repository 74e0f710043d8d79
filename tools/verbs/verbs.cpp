#include "verbs/verbs.h"

#include <CLI/CLI.hpp>
#include <trel_cap/version.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <memory>

#include "command_line/exit_status.h"
#include "command_line/names.h"
#include "command_line/options.h"
#include "command_line/text.h"
#include "scenario/mistake.h"
#include "verbs/help_text.h"

namespace capctl {

using namespace command_line;

namespace {

// By the values of Format.
const std::vector<std::string> &format_names() {
    static const std::vector<std::string> names = {"text", "table", "json", "ndjson"};
    return names;
}

std::string name_of(Format format) { return format_names()[static_cast<size_t>(format)]; }

Format format_named(const std::string &name) {
    return static_cast<Format>(std::find(format_names().begin(), format_names().end(), name) - format_names().begin());
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

void Session::prints_only(const std::string &what, std::initializer_list<Format> formats) const {
    if (std::find(formats.begin(), formats.end(), format) == formats.end()) {
        std::vector<std::string> names;
        std::transform(formats.begin(), formats.end(), std::back_inserter(names), name_of);
        throw Failure(kUsage, "--output: " + what + " prints " + alternatives(names) + ", not " + name_of(format));
    }
}

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
                       format_names());
    app_->get_option("--help")->description("Print this and exit; after a verb, about that verb");
    store_option_ = app_->add_option("-s,--store", store_, "The store, in place of $OX_MOM_STORE")->type_name("NAME");
    app_->add_option("--color", colour_, "Colour: auto (the default: on a terminal), always or never")
        ->type_name("WHEN")
        ->check(one_of({"auto", "always", "never"}));
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

std::string Verbs::help(const std::string &verb) const {
    if (verb.empty()) {
        return app_->get_formatter()->make_help(app_.get(), app_->get_name(), CLI::AppFormatMode::Normal);
    }
    std::vector<std::string> names;
    for (const Verb &each : verbs_) {
        if (each.command->get_name() == verb) {
            return each.command->help(app_->get_name());
        }
        if (!each.command->get_group().empty()) {
            names.push_back(each.command->get_name());
        }
    }
    throw Failure(kUsage,
                  "unknown verb " + quote(verb) + did_you_mean(verb, names) + "\nTry " + app_->get_name() + " --help.");
}

int Verbs::run_verb(Session &session) const {
    const auto verb =
        std::find_if(verbs_.begin(), verbs_.end(), [](const Verb &each) { return each.command->parsed(); });
    if (verb == verbs_.end()) {
        throw Failure(kUsage, "a verb is missing");
    }
    return verb->run(session);
}

int Verbs::run(int argc, char **argv) {
    if (!parse(*app_, {argv + std::min(argc, 1), argv + argc})) {
        return kDone;
    }
    if (store_option_->count() != 0 && store_.empty()) {
        throw Failure(kUsage, "--store: no store is named: NAME expected, not \"\"" + hint(*app_));
    }
    Session session(store_, format_named(format_), has_colour(colour_));
    try {
        return run_verb(session);
    } catch (const scenario::Mistake &) {
        throw;  // of a file: help on the command line is no help there
    } catch (const Failure &failure) {
        const std::string message = failure.what();
        const bool has_hint = message.find("\nTry ") != std::string::npos;
        throw Failure(failure.status(), message + (failure.status() == kUsage && !has_hint ? hint(*app_) : ""));
    }
}

}  // namespace capctl
