#include "verbs/help.h"

namespace capctl {

const char *const kSummary = "Reads and writes the records that trel_cap applications share through an object store.";

const char *const kExamples = "  export OX_MOM_STORE=unix:///run/redis/redis.sock\n"
                              "  trel_capctl get /l3/arp/capacity\n"
                              "  trel_capctl get /l3/arp/capacity --int\n"
                              "  trel_capctl set /l3/arp/capacity --int 4096\n"
                              "  trel_capctl ready glb on\n"
                              "  trel_capctl --store redis://10.0.0.1 ready glb && echo ready\n";

namespace {

constexpr char kStores[] = "Stores:\n"
                           "  unix:///path/to/socket\n"
                           "  redis://[user:password@]host[:port]\n"
                           "  sentinel://host:port[,host:port...]/service\n"
                           "\n";

constexpr char kJson[] = "JSON, one line a record:\n"
                         "  {\"type\":\"p_libpub.cap_table\",\"key\":{\"url\":\"/a\"},\"fields\":{\"int32_value\":1}}\n"
                         "  Fields have the schema's names; one that was never written is not there. Where a string\n"
                         "  is not UTF-8, NAME_hex beside it has its bytes. A single value asked for is printed bare.\n"
                         "\n";

constexpr char kExitStatus[] = "Exit status:\n"
                               "    0  done\n"
                               "    1  not found; with ready: off\n"
                               "    2  the command line is wrong, or names no store\n"
                               "    3  no connection to the store\n"
                               "    4  the store did not answer in time (OX_MOM_TIMEOUT_MS, 3000 by default)\n"
                               "    5  the store refused\n"
                               "    6  what is stored does not decode, or is of another type\n";

}  // namespace

std::string Help::usage(const CLI::App &app, const std::string &name) const {
    std::string text = "Usage: " + name + (app.get_parent() == nullptr ? " VERB" : "");
    for (const CLI::Option *argument :
         app.get_options([](const CLI::Option *option) { return option->get_positional(); })) {
        const std::string word = argument->get_name(true);
        text += argument->get_required() ? " " + word : " [" + word + "]";
    }
    return text + " [OPTION...]\n";
}

std::string Help::make_help(const CLI::App *app, std::string name, CLI::AppFormatMode mode) const {
    const CLI::App *parent = app->get_parent();
    std::string text = app->get_description() + "\n\nExamples:\n" + app->get_footer() + "\n" + usage(*app, name);
    text += make_positionals(app) + make_groups(app, mode) + make_subcommands(app, mode) + "\n";
    if (parent != nullptr) {
        return text + "The options of all verbs, the exit status and the form of JSON: " + parent->get_name() +
               " --help\n";
    }
    return text + kStores + kJson + kExitStatus + command_line::kStatusesOfAll;
}

// A group of options of which one at most may be given.
std::string Help::make_expanded(const CLI::App *group) const {
    std::string text = "\n" + group->get_group() + ":\n";
    for (const CLI::Option *option : group->get_options()) {
        text += make_option(option, false);
    }
    return text;
}

}  // namespace capctl
