#include "stay.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <unistd.h>

#include <quib.h>
#include <trel_cap/trel_cap.h>

#include "capabilities.h"
#include "cards.h"
#include "interruption.h"
#include "screen.h"

namespace demo {

namespace {

// The name under which trel_cap_init() has registered the library's commands.
std::string module_name() {
    char application[128];
    return std::string("trel_cap_") + trel_cap_get_app_name(getpid(), application, sizeof application);
}

// trel_cap_init() goes on without the console when it must. Asking again tells whether it had to.
void expect_served(MomClient *client, const std::string &module) {
    if (const int32_t rv = quib_lib_init(client, module.c_str()); rv != 0) {
        throw std::runtime_error("no operator can attach: the console answers " + std::to_string(rv));
    }
}

// As a word for the shell.
std::string quoted(const std::string &word) {
    if (word.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_./+-") ==
        std::string::npos) {
        return word;
    }
    std::string text = "'";
    for (const char c : word) {
        text += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return text + "'";
}

// The name that operators know this process by: that of its program, and a number when another one of that program
// runs. Without a console to ask, the former.
std::string name_in_list(const std::string &console, const std::string &module) {
    FILE *list = popen((quoted(console) + " 2>/dev/null").c_str(), "re");
    std::string name = module;
    char line[1024];
    char listed[256] = "";
    while (list != nullptr && std::fgets(line, sizeof line, list) != nullptr) {
        int pid = 0;
        if (std::sscanf(line, "%255s %d", listed, &pid) == 2 && pid == getpid()) {
            name = listed;
        }
    }
    if (list != nullptr) {
        pclose(list);
    }
    return name;
}

void tell_how_to_attach(Teller &teller, const Stage &stage, const std::string &module) {
    const char *directory = std::getenv("QUIB_DIR");
    const std::string quib =
        (directory != nullptr ? "QUIB_DIR=" + quoted(directory) + " " : "") + quoted(stage.console);
    const std::string attach = quib + " " + name_in_list(stage.console, module);
    teller.line("in another terminal, to be asked for commands (help lists them, Tab completes them):");
    teller.line("    %s", attach.c_str());
    teller.line("or one command at a time:");
    teller.line("    %s dump_node", attach.c_str());
    teller.line("    %s ce_get_g_cap_int32 %s", attach.c_str(), kVlanMax);
    teller.line("    %s ce_get_fe_cap_str %d %s", attach.c_str(), node_of(kFirstSlot), kPortSpeeds);
    teller.line("Ctrl-C ends it");
}

}  // namespace

void stay(Teller &teller, MomClient *client, const Stage &stage) {
    const std::string module = module_name();
    expect_served(client, module);
    teller.chapter("The application stays, and an operator looks into it");
    if (stage.restart_server) {
        teller.line("(the restart has left the store without capabilities)");
        teller.play(stage.publisher, "capabilities");
        teller.play(stage.publisher, "card-capability");
    }
    tell_how_to_attach(teller, stage, module);
    while (interruption() == 0) {
        throw_if_unheard();
        expect(ox_mom_client_process(client, 500) >= 0, "the client's loop runs");
    }
}

}  // namespace demo
