// play: writes a scenario into a store.
#include <array>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>

#include "command_line/exit_status.h"
#include "command_line/streams.h"
#include "command_line/text.h"
#include "record/record_json.h"
#include "scenario/player.h"
#include "scenario/scenario.h"
#include "scenario/shipped.h"
#include "verbs/client_log.h"
#include "verbs/play_speed.h"
#include "verbs/print.h"
#include "verbs/progress.h"
#include "verbs/verbs.h"

namespace capctl {

using namespace command_line;

namespace {

struct Play {
    std::string file;
    std::string speed = "1";
    uint64_t times = 1;
    bool loop = false;  // without end
    bool dry_run = false;
    bool quiet = false;
    bool list = false;

    int run(Session &session) const;
};

int list_shipped(const Session &session) {
    std::vector<Row> rows;
    auto array = nlohmann::ordered_json::array();
    for (const std::string &name : scenario::shipped_names()) {
        const std::string about = scenario::read_file(scenario::find_file(name)).about;
        rows.push_back({name, "  ", about});
        array.push_back({{"name", name}, {"about", about}});
    }
    if (session.is_json()) {
        print_list(session, array);
    } else {
        write_output(table(rows));
    }
    return kDone;
}

// Each step as it is done, in the format that was asked for.
class Teller {
public:
    Teller(const Session &session, bool quiet, size_t total)
        : format_(session.format), quiet_(quiet), progress_("played", total) {}

    void tell(const scenario::Moment &moment) {
        if (quiet_) {
            progress_.show(++done_);
        } else if (!moment.writes.empty()) {
            write_output(format_ == Format::kJson || format_ == Format::kNdjson ? json(moment) : text(moment));
        }
    }
    void finish() {
        if (format_ == Format::kJson && !quiet_) {
            write_output(is_first_ ? "[]\n" : "\n]\n");
        }
    }

private:
    static std::string text(const scenario::Moment &moment) {
        std::array<char, 32> time;
        std::snprintf(time.data(), time.size(), "%9.3f s  ", std::chrono::duration<double>(moment.at).count());
        return time.data() + printable(moment.text) + "\n";
    }
    std::string json(const scenario::Moment &moment) {
        std::string line = record::json_line(
            {{"at", std::chrono::duration<double>(moment.at).count()}, {"line", moment.line}, {"step", moment.text}});
        if (format_ == Format::kNdjson) {
            return line;
        }
        const std::string lead = is_first_ ? "[\n" : ",\n";
        is_first_ = false;
        return lead + line.substr(0, line.size() - 1);
    }

    Format format_;
    bool quiet_;
    bool is_first_ = true;
    size_t done_ = 0;
    Progress progress_;
};

int Play::run(Session &session) const {
    session.prints_only("play", {Format::kText, Format::kJson, Format::kNdjson});
    if (list) {
        return list_shipped(session);
    }
    if (file.empty()) {
        throw Failure(kUsage, "FILE is missing: a scenario's file, or one of the names that --list prints");
    }
    tell_losses_here();  // by the failure
    const double factor = parse_speed(speed);
    const scenario::Scenario scenario = scenario::read_file(scenario::find_file(file));
    Teller teller(session, quiet,
                  times == 1 && !loop ? scenario.before.moments.size() + scenario.steps.moments.size() : 0);
    const auto played = [&](const scenario::Moment &moment) { teller.tell(moment); };
    const auto play = [&](const scenario::Timeline &timeline) {
        if (dry_run) {
            std::for_each(timeline.moments.begin(), timeline.moments.end(), played);
        } else {
            scenario::play(session.store(), timeline, {.speed = factor, .played = played});
        }
    };
    play(scenario.before);
    for (uint64_t i = 0; loop || i < times; ++i) {
        play(scenario.steps);
    }
    teller.finish();
    return kDone;
}

}  // namespace

void add_play(Verbs &verbs) {
    const auto play = std::make_shared<Play>();
    const Command command = verbs.add("play", "Write a scenario into the store, step by step",
                                      "  trel_capctl play --list\n"
                                      "  trel_capctl play boot\n"
                                      "  trel_capctl play ./lab.yaml --speed 10\n"
                                      "  trel_capctl play random_churn --loop --quiet\n",
                                      [play](Session &session) { return play->run(session); });
    command.add_option("FILE", play->file, "A scenario's file, or the name of one that --list prints");
    command.add_option("--speed", play->speed, "2 plays in half the time; 0 or max: without waiting").type_name("X");
    const Option loop = command.add_flag("--loop", play->loop, "Play it again and again");
    command.add_option("--times", play->times, "Play it so many times").type_name("N").at_least_one().excludes(loop);
    command.add_flag("--dry-run", play->dry_run, "Print the steps; write nothing, wait for nothing");
    command.add_flag("--quiet", play->quiet, "Print no steps");
    command.add_flag("--list", play->list, "Print the scenarios that come with the tool");
}

}  // namespace capctl
