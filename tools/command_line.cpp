#include "command_line.h"

#include <trel_cap/version.h>

#include <algorithm>
#include <memory>
#include <sstream>

#include "exit_code.h"
#include "help.h"

namespace capctl {

namespace {

constexpr char kHint[] = "\nTry trel_capctl --help.";

// One of several words; the help leaves telling which to the option's description.
CLI::Validator one_of(const std::vector<std::string> &words) { return CLI::IsMember(words).description(""); }

}  // namespace

CommandLine::CommandLine() : app_(kSummary, "trel_capctl") {
    app_.formatter(std::make_shared<HelpFormatter>());
    app_.footer(kExamples);
    app_.require_subcommand(0, 1);  // that there is none is told by run_verb()
    app_.set_version_flag("--version", "trel_capctl " TREL_CAP_VERSION);
    app_.get_option("--help")->description("Print this and exit; after a verb, about that verb");
    app_.get_option("--version")->description("Print the version and exit");
    app_.add_option("-s,--store", store_, "The store, in place of $OX_MOM_STORE")->type_name("NAME");
    app_.add_option("-o,--output", format_, "How to print data: text (the default) or json")
        ->type_name("FORMAT")
        ->check(one_of({"text", "json"}));
}

CLI::App &CommandLine::add_verb(const std::string &name, const std::string &summary, const std::string &examples,
                                Run run) {
    CLI::App &command = *app_.add_subcommand(name, summary);
    command.footer(examples);
    command.group("Verbs");
    command.fallthrough();
    command.get_option("--help")->description("Print this and exit");
    verbs_.push_back({&command, std::move(run)});
    return command;
}

bool CommandLine::parse(int argc, char **argv) {
    try {
        app_.parse(argc, argv);
        return true;
    } catch (const CLI::CallForHelp &) {
        Output output(Format::kText);
        output.write(app_.help());
        output.close();
    } catch (const CLI::CallForVersion &version) {
        Output output(Format::kText);
        output.write_line(version.what());
        output.close();
    } catch (const CLI::ParseError &error) {
        throw Failure(kUsage, error.what() + std::string(kHint));
    }
    return false;
}

int CommandLine::run_verb(Output &output) {
    const auto verb =
        std::find_if(verbs_.begin(), verbs_.end(), [](const Verb &each) { return each.command->parsed(); });
    if (verb == verbs_.end()) {
        throw Failure(kUsage, std::string("a verb is missing") + kHint);
    }
    Session session{Store(store_name(store_)), output};
    return verb->run(session);
}

int CommandLine::run(int argc, char **argv) {
    if (!parse(argc, argv)) {
        return kDone;
    }
    Output output(format_ == "json" ? Format::kJson : Format::kText);
    const int code = run_verb(output);
    output.close();
    return code;
}

}  // namespace capctl
