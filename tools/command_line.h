// The command line: verbs, the options they share, and help.
#ifndef TREL_CAPCTL_COMMAND_LINE_H
#define TREL_CAPCTL_COMMAND_LINE_H

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "output.h"
#include "store.h"

namespace capctl {

// What a verb works with. The store is not connected yet.
struct Session {
    Store store;
    Output &output;
};

// Does what the command line asks; returns kDone or kNotFound.
using Run = std::function<int(Session &)>;

class CommandLine {
public:
    CommandLine();

    // Adds a verb: its own arguments and options are added to what is returned, and known when run is called.
    CLI::App &add_verb(const std::string &name, const std::string &summary, const std::string &examples, Run run);

    // Returns the exit code, or throws a Failure.
    int run(int argc, char **argv);

private:
    struct Verb {
        CLI::App *command;
        Run run;
    };

    // False: the command line asked for help or the version, and that is written.
    bool parse(int argc, char **argv);
    int run_verb(Output &output);

    CLI::App app_;
    std::vector<Verb> verbs_;
    std::string store_;
    std::string format_ = "text";
};

}  // namespace capctl

#endif
