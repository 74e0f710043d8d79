#include "program_arguments.h"

#include <algorithm>
#include <memory>

#include "command_line/exit_status.h"
#include "command_line/options.h"

namespace console {

using namespace command_line;

namespace {

constexpr char kSummary[] = "Runs commands of running programs: of the modules that they have registered.";

constexpr char kExamples[] = "\nExamples:\n"
                             "  quib                                         list the modules\n"
                             "  quib trel_cap_portd                          attach to one: Tab completes, help helps\n"
                             "  quib trel_cap_portd help                     list its commands\n"
                             "  quib trel_cap_portd ce_get_g_cap_int32 /l2/vlan/max\n"
                             "  quib trel_cap_portd ce_get_fe_cap_bool url=/port/led node=0x11\n"
                             "  quib trel_cap_portd <commands.txt            run the commands of a file\n"
                             "\n"
                             "Usage:\n"
                             "  quib [OPTION...]\n"
                             "  quib [OPTION...] MODULE [COMMAND [ARGUMENT...]]\n"
                             "\n"
                             "  A module is named in full, or by the beginning of its name alone; to root, another\n"
                             "  user's is USER/MODULE. Commands, and how they take arguments, are the module's; its\n"
                             "  help tells. In a file, a line that begins with # is a comment.\n";

constexpr char kRest[] = "\n"
                         "Modules are looked for in $QUIB_DIR, else $XDG_RUNTIME_DIR/quib, else /run/quib. What has\n"
                         "been typed is kept in $QUIB_HISTORY, else $XDG_STATE_HOME/quib/history, else\n"
                         "~/.local/state/quib/history.\n"
                         "\n"
                         "Exit status; of a file's commands, that of the last one that failed:\n"
                         "    0  done\n"
                         "    1  the command failed; there is no such module, or none at all\n"
                         "    2  the command line is wrong; no such command, or its arguments are wrong\n"
                         "    3  no connection to the module, or it has gone away\n"
                         "    4  the module did not answer in time\n"
                         "    5  the module refused\n"
                         "    6  what answers is no module\n";

// Examples come first: they are what most readers look for.
class Help : public HelpFormatter {
public:
    std::string make_help(const CLI::App *app, std::string /*name*/, CLI::AppFormatMode mode) const override {
        return app->get_description() + "\n" + kExamples + make_groups(app, mode) + kRest + kStatusesOfAll;
    }
};

struct Options {
    double limit = 30;
    std::string output = "text";
};

void add_options(CLI::App &app, Options &options) {
    constexpr double kLongestLimit = 1000000;
    app.formatter(std::make_shared<Help>());
    add_shared_options(app, QUIB_VERSION, "How to print the list: text (the default) or json", options.output);
    app.add_option("-t,--timeout", options.limit,
                   "How long to wait for more of an answer: 30 by default, 0 is for ever")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, kLongestLimit).description(""));
}

// How many of the words are the program's own: its options, up to the first word that is none.
size_t own_words(const CLI::App &app, const std::vector<std::string> &words) {
    size_t n = 0;
    while (n < words.size() && words[n].size() > 1 && words[n][0] == '-' && words[n] != "--") {
        const CLI::Option *option = app.get_option_no_throw(words[n]);
        n += option != nullptr && option->get_type_size() > 0 ? 2U : 1U;
    }
    return std::min(n, words.size());
}

}  // namespace

std::optional<Request> parse_request(int argc, char **argv) {
    std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
    Options options;
    CLI::App app(kSummary, "quib");
    add_options(app, options);
    const auto own_end = words.begin() + static_cast<std::ptrdiff_t>(own_words(app, words));
    if (!parse(app, {words.begin(), own_end})) {
        return std::nullopt;
    }
    words.erase(words.begin(), own_end);
    if (!words.empty() && words.front() == "--") {
        words.erase(words.begin());
    }
    constexpr double kMillisecondsPerSecond = 1000;
    Request request{.limit = std::chrono::milliseconds(static_cast<int64_t>(options.limit * kMillisecondsPerSecond)),
                    .json = options.output == "json",
                    .module = words.empty() ? "" : words.front(),
                    .command = {}};
    if (!words.empty()) {
        request.command.assign(words.begin() + 1, words.end());
        if (request.module.empty() || request.json) {
            const char *wrong = request.json ? "--output is for the list of modules" : "a module's name is empty";
            throw Failure(kUsage, wrong + hint(app));
        }
    }
    return request;
}

}  // namespace console
