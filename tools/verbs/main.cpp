// trel_capctl: reads, writes and watches the store's records from the shell.
#include "command_line/program.h"
#include "verbs/verbs.h"

namespace capctl {

namespace {

int run(int argc, char **argv) {
    command_line::exit_when_interrupted();
    Verbs verbs;
    // In the order of --help.
    add_get(verbs);
    add_set(verbs);
    add_del(verbs);
    add_ls(verbs);
    add_watch(verbs);
    add_wait(verbs);
    add_explain(verbs);
    add_card(verbs);
    add_check(verbs);
    add_node(verbs);
    add_ready(verbs);
    add_board(verbs);
    add_dump(verbs);
    add_load(verbs);
    add_diff(verbs);
    add_decode(verbs);
    add_play(verbs);
    add_record(verbs);
    add_test(verbs);
    add_help(verbs);
    add_complete(verbs);
    return verbs.run(argc, argv);
}

}  // namespace

}  // namespace capctl

int main(int argc, char **argv) { return command_line::run_program("trel_capctl", capctl::run, argc, argv); }
