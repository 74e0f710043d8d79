// The verbs, and the options they share.
#pragma once

#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "store/store.h"
#include "verbs/command.h"

namespace capctl {

// How to print data. Of one record json and ndjson are the same line.
enum class Format { kText, kTable, kJson, kNdjson };

// What a verb works with.
class Session {
public:
    Session(std::string store_option, Format its_format, bool has_colour)
        : format(its_format), colour(has_colour), store_option_(std::move(store_option)) {}

    const Format format;
    const bool colour;  // of what goes to standard output

    bool is_json() const { return format == Format::kJson || format == Format::kNdjson; }
    bool is_store_given() const { return !store_option_.empty(); }  // on the command line
    // Of a verb, or a form of it, that does not print in every format, before it does anything: a usage failure when
    // another is asked for. Nothing is printed in a format that was not asked for.
    void prints_only(const std::string &what, std::initializer_list<Format> formats) const;
    // Throw a usage failure when none is named, or one that no other process can reach.
    std::string store_name() const { return store::server_name(store_option_); }
    store::Store &store();

private:
    std::string store_option_;
    std::optional<store::Store> store_;
};

// Does what the command line asks; returns kDone or kNegative.
using Run = std::function<int(Session &)>;

class Verbs {
public:
    Verbs();
    ~Verbs();
    Verbs(const Verbs &) = delete;
    Verbs &operator=(const Verbs &) = delete;

    // Adds a verb: its own arguments and options are added to what is returned, and known when run is called.
    Command add(const std::string &name, const std::string &summary, const std::string &examples, Run run);

    const CLI::App &app() const { return *app_; }

    // Does what the command line asks; returns the exit status, or throws a Failure.
    int run(int argc, char **argv);
    // What --help prints of a verb, or without one of the program. Throws a usage failure for a name that is no verb's.
    std::string help(const std::string &verb) const;

private:
    struct Verb {
        CLI::App *command;
        Run run;
    };

    int run_verb(Session &session) const;

    std::unique_ptr<CLI::App> app_;
    std::vector<Verb> verbs_;
    CLI::Option *store_option_ = nullptr;
    std::string store_;
    std::string format_ = "text";
    std::string colour_ = "auto";
};

// A file each.
void add_board(Verbs &verbs);
void add_complete(Verbs &verbs);
void add_card(Verbs &verbs);
void add_check(Verbs &verbs);
void add_decode(Verbs &verbs);
void add_del(Verbs &verbs);
void add_diff(Verbs &verbs);
void add_dump(Verbs &verbs);
void add_explain(Verbs &verbs);
void add_get(Verbs &verbs);
void add_help(Verbs &verbs);
void add_load(Verbs &verbs);
void add_ls(Verbs &verbs);
void add_node(Verbs &verbs);
void add_play(Verbs &verbs);
void add_ready(Verbs &verbs);
void add_record(Verbs &verbs);
void add_set(Verbs &verbs);
void add_test(Verbs &verbs);
void add_wait(Verbs &verbs);
void add_watch(Verbs &verbs);

}  // namespace capctl
