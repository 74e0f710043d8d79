#include "help.h"

namespace console {

const char *const kSummary = "Runs commands of running programs: of the modules that they have registered.";

namespace {

constexpr char kExamples[] = "\nExamples:\n"
                             "  quib                                         list the modules\n"
                             "  quib trel_cap_portd                          attach to one: Tab completes, help helps\n"
                             "  quib trel_cap_portd help                     list its commands\n"
                             "  quib trel_cap_portd ce_get_g_cap_int32 /l2/vlan/max\n"
                             "  quib trel_cap_portd ce_get_fe_cap_bool url=/port/led node=17\n"
                             "  quib trel_cap_portd <commands.txt            run the commands of a file\n"
                             "\n"
                             "Usage:\n"
                             "  quib [OPTION...]\n"
                             "  quib [OPTION...] MODULE [COMMAND [ARGUMENT...]]\n"
                             "\n"
                             "  A module is named in full, or by the beginning of its name alone; to root, another\n"
                             "  user's is USER/MODULE. Commands, and how they take arguments, are the module's; its\n"
                             "  help tells.\n";

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
                         "    6  what answers is no module\n"
                         "    7  anything else: no memory, or the output cannot be written\n"
                         "  130  interrupted\n";

constexpr size_t kColumnWidth = 26;

}  // namespace

HelpFormatter::HelpFormatter() { column_width(kColumnWidth); }

std::string HelpFormatter::make_help(const CLI::App *app, std::string /*name*/, CLI::AppFormatMode mode) const {
    return app->get_description() + "\n" + kExamples + make_groups(app, mode) + kRest;
}

// Only what an option takes: no bounds, which descriptions tell.
std::string HelpFormatter::make_option_opts(const CLI::Option *option) const {
    return option->get_type_size() == 0 ? "" : " " + option->get_type_name();
}

}  // namespace console
