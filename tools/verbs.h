// The verbs, and the options they share.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "store_client.h"

namespace capctl {

// What a verb works with. The store is not connected yet.
struct Session {
    StoreClient store;
    bool json;  // how to print data; else as text
};

// Does what the command line asks; returns kDone or kNegative.
using Run = std::function<int(Session &)>;

class Verbs {
public:
    Verbs();

    // Adds a verb: its own arguments and options are added to what is returned, and known when run is called.
    CLI::App &add(const std::string &name, const std::string &summary, const std::string &examples, Run run);

    // Does what the command line asks; returns the exit status, or throws a Failure.
    int run(int argc, char **argv);

private:
    struct Verb {
        CLI::App *command;
        Run run;
    };

    CLI::App app_;
    std::vector<Verb> verbs_;
    std::string store_;
    std::string format_ = "text";
};

// By family.
void add_capability_verbs(Verbs &verbs);  // get, set
void add_readiness_verbs(Verbs &verbs);   // ready

}  // namespace capctl
