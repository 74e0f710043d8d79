// test: scenarios as tests, of the library or of an application.
#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>

#include "command_line/exit_status.h"
#include "command_line/streams.h"
#include "command_line/text.h"
#include "command_line/words.h"
#include "scenario/scenario.h"
#include "scenario/shipped.h"
#include "trial/library_trial.h"
#include "trial/program_trial.h"
#include "trial/report.h"
#include "verbs/play_speed.h"
#include "verbs/seconds.h"
#include "verbs/verbs.h"

namespace capctl {

using namespace command_line;

namespace {

struct Test {
    std::vector<std::string> files;
    std::string format = "tap";
    std::string program;
    std::string speed = "1";
    std::string started;
    std::string settling = "0.5";
    std::string patience = "10";

    int run(const Session &session) const;
    trial::ProgramOptions program_options() const;
};

std::vector<scenario::Scenario> read_all(const std::vector<std::string> &files) {
    std::vector<scenario::Scenario> scenarios;
    scenarios.reserve(files.size());
    for (const std::string &file : files) {
        scenarios.push_back(scenario::read_file(scenario::find_file(file)));
    }
    return scenarios;
}

// One among others is skipped, and said to be. But who tests what expects nothing is told so, and not that all is well.
void refuse_without_expectation(const std::vector<scenario::Scenario> &scenarios) {
    if (std::any_of(scenarios.begin(), scenarios.end(), [](const auto &each) { return each.expects_events(); })) {
        return;
    }
    const scenario::Scenario &first = scenarios.front();
    throw Failure(kUsage, printable(first.file) + ": it expects no events (expect), so that there is nothing to test" +
                              (first.expected_output ? "; --run PROGRAM tries what it expects of a program" : ""));
}

trial::ProgramOptions Test::program_options() const {
    const Split split = command_line::split(program);
    if (!split.error.empty() || split.words.empty()) {
        throw Failure(kUsage, "--run: a program and its arguments expected, not " + quote(program));
    }
    trial::ProgramOptions options;
    for (const Word &word : split.words) {
        options.words.push_back(word.text);
    }
    options.speed = parse_speed(speed);
    options.started = started;
    options.settling = parse_seconds("--settle", settling);
    options.patience = parse_seconds("--timeout", patience);
    return options;
}

int Test::run(const Session &session) const {
    session.prints_only("test, which has --format,", {Format::kText});
    std::function<trial::Verdict(const scenario::Scenario &)> attempt = trial::try_library;
    if (!program.empty()) {
        attempt = [options = program_options()](const scenario::Scenario &each) {
            return trial::try_program(each, options);
        };
    }
    const std::vector<scenario::Scenario> scenarios = read_all(files);
    if (program.empty()) {
        refuse_without_expectation(scenarios);
    }
    const bool tap = format == "tap";
    write_output(tap ? trial::tap_header(scenarios.size()) : "");
    std::vector<trial::Verdict> verdicts;
    bool failed = false;
    for (const scenario::Scenario &scenario : scenarios) {
        try {
            verdicts.push_back(attempt(scenario));
        } catch (const Failure &failure) {
            verdicts.push_back({.result = trial::Verdict::Result::kError,
                                .name = std::filesystem::path(scenario.file).stem(),
                                .file = scenario.file,
                                .message = failure.what(),
                                .checked = {},
                                .details = {}});
            write_output(tap ? "Bail out! " + on_one_line(failure.what()) + "\n" : trial::junit(verdicts));
            throw;
        }
        failed = failed || verdicts.back().result == trial::Verdict::Result::kFailed;
        write_output(tap ? trial::tap_line(verdicts.back(), verdicts.size()) : "");
    }
    write_output(tap ? "" : trial::junit(verdicts));
    return failed ? kNegative : kDone;
}

}  // namespace

void add_test(Verbs &verbs) {
    const auto test = std::make_shared<Test>();
    const Command command = verbs.add("test", "Try the library, or an application, on scenarios",
                                      "  trel_capctl test boot late_check\n"
                                      "  trel_capctl test scenarios/*.yaml --format junit >report.xml\n"
                                      "  trel_capctl test lab.yaml --run './my_app --verbose' --started ready\n",
                                      [test](const Session &session) { return test->run(session); });
    command.add_option("FILE", test->files, "Scenarios: files, or names that play --list prints").required();
    command.add_option("--format", test->format, "How to report: tap (the default) or junit")
        .type_name("tap|junit")
        .one_of({"tap", "junit"});
    command.add_option("--run", test->program, "Try this program, with its arguments, in place of the library")
        .type_name("PROGRAM");
    command.add_option("--speed", test->speed, "With --run: 2 plays in half the time; 0 or max: without waiting")
        .type_name("X");
    command.add_option("--started", test->started, "With --run: what a line of its output says when it is up")
        .type_name("TEXT");
    command.add_option("--settle", test->settling, "With --run: how long it takes to come up; 0.5 by default")
        .type_name("SECONDS");
    command.add_option("--timeout", test->patience, "With --run: the longest wait for anything; 10 by default")
        .type_name("SECONDS");
}

}  // namespace capctl
