#include "verbs/help_text.h"

namespace capctl {

const char *const kSummary = "Reads, writes, watches and explains the records of trel_cap applications.";

const char *const kExamples = "  export OX_MOM_STORE=unix:///run/redis/redis.sock\n"
                              "  trel_capctl get /l3/arp/capacity\n"
                              "  trel_capctl set /l3/arp/capacity --int 4096\n"
                              "  trel_capctl card insert 17 --class lc\n"
                              "  trel_capctl check 17 pass\n"
                              "  trel_capctl node 17 ready\n"
                              "  trel_capctl ready glb on\n"
                              "  trel_capctl explain 17\n"
                              "  trel_capctl wait node 17 ready --timeout 30 && echo ready\n"
                              "  trel_capctl watch --output ndjson | jq .key\n"
                              "  trel_capctl dump --output ndjson > chassis.ndjson\n"
                              "  trel_capctl --store redis://10.0.0.1 board\n";

namespace {

constexpr char kStores[] = "Stores:\n"
                           "  unix:///path/to/socket\n"
                           "  redis://[user:password@]host[:port]\n"
                           "  sentinel://host:port[,host:port...]/service\n"
                           "\n";

constexpr char kAddresses[] = "Addresses:\n"
                              "  A capability is addressed by its URL, with --class, --fe or --cm where it is\n"
                              "  not the device's; any record by its key, as ls prints it: the type and the\n"
                              "  values of the index, as in cap_fe_ready:17:900, card_info:0:0:1:0,\n"
                              "  cap_glb_state. Nodes are numbers, decimal or hexadecimal (0x11). Fields have\n"
                              "  the schema's names: ready, static_info.node_type.\n"
                              "\n";

constexpr char kJson[] = "JSON:\n"
                         "  {\"type\":\"p_libpub.cap_table\",\"key\":{\"url\":\"/a\"},\"fields\":{\"int32_value\":1}}\n"
                         "  Fields have the schema's names; one that was never written is not there.\n"
                         "  Where a string is not UTF-8, NAME_hex beside it has its bytes; bytes are\n"
                         "  hexadecimal. A single value asked for is printed bare. Of many records json\n"
                         "  is one array, and ndjson a line each; watch prints a line each as both.\n"
                         "\n";

constexpr char kExitStatus[] = "Exit status:\n"
                               "    0  done\n"
                               "    1  not found, not so, or not the same\n"
                               "    2  the command line is wrong, or names no store; a mistake in what to play\n"
                               "    3  no connection to the store\n"
                               "    4  time ran out; of a request OX_MOM_TIMEOUT_MS, 3000 by default\n"
                               "    5  the store refused\n"
                               "    6  what is stored, or a dump, does not decode or is of another type\n";

// CLI11 takes no name with an equals sign.
std::string usage_word(const std::string &name) { return name == "FIELD" ? "FIELD=VALUE" : name; }

}  // namespace

std::string Help::usage(const CLI::App &app, const std::string &name) const {
    std::string text = "Usage: " + name + (app.get_parent() == nullptr ? " VERB" : "");
    for (const CLI::Option *argument :
         app.get_options([](const CLI::Option *option) { return option->get_positional(); })) {
        const bool is_repeated = argument->get_items_expected_max() > 1;
        const std::string word = usage_word(argument->get_name(true)) + (is_repeated ? "..." : "");
        text += argument->get_required() ? " " + word : " [" + word + "]";
    }
    return text + " [OPTION...]\n";
}

std::string Help::make_help(const CLI::App *app, std::string name, CLI::AppFormatMode mode) const {
    const CLI::App *parent = app->get_parent();
    std::string text = app->get_description() + "\n\nExamples:\n" + app->get_footer() + "\n" + usage(*app, name);
    text += make_positionals(app) + make_groups(app, mode) + make_subcommands(app, mode) + "\n";
    if (parent != nullptr) {
        return text + "Options of all verbs, exit status, form of JSON: " + parent->get_name() + " --help\n";
    }
    return text + kStores + kAddresses + kJson + kExitStatus + command_line::kStatusesOfAll;
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
