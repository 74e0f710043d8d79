// test: scenarios as tests, of the library or of an application.
#include <algorithm>
#include <functional>
#include <iterator>
#include <memory>
#include <utility>

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
    Command command;

    int run(const Session &session) const;
    trial::ProgramOptions program_options() const;
};

// A scenario's file, which may have a mistake, or not be there: that one has then failed, and the others are tried all
// the same.
struct Subject {
    std::string file;
    std::string mistake;          // or why it cannot be read
    scenario::Scenario scenario;  // unless there is a mistake
};

Subject read_subject(const std::string &name) {
    Subject subject{.file = name, .mistake = {}, .scenario = {}};
    try {
        subject.file = scenario::find_file(name);
        subject.scenario = scenario::read_file(subject.file);
    } catch (const Failure &failure) {
        subject.mistake = failure.what();
    }
    return subject;
}

// One among others is skipped, and said to be. But who tests what expects nothing is told so, and not that all is well.
void refuse_without_expectation(const std::vector<Subject> &subjects) {
    if (std::any_of(subjects.begin(), subjects.end(),
                    [](const Subject &each) { return !each.mistake.empty() || each.scenario.expects_events(); })) {
        return;
    }
    const scenario::Scenario &first = subjects.front().scenario;
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

using Attempt = std::function<trial::Verdict(const scenario::Scenario &)>;

// In the format that was asked for: TAP as it comes about, JUnit at the end.
class Report {
public:
    Report(const std::string &format, size_t count) : is_tap_(format == "tap") {
        write_output(is_tap_ ? trial::tap_header(count) : "");
    }

    void add(trial::Verdict verdict) {
        has_failed_ = has_failed_ || verdict.result == trial::Verdict::Result::kFailed;
        verdicts_.push_back(std::move(verdict));
        write_output(is_tap_ ? trial::tap_line(verdicts_.back(), verdicts_.size()) : "");
    }
    void finish() { write_output(is_tap_ ? "" : trial::junit(verdicts_)); }
    // Nothing can be tried any more.
    void break_off(trial::Verdict verdict) {
        verdicts_.push_back(std::move(verdict));
        write_output(is_tap_ ? "Bail out! " + on_one_line(verdicts_.back().message) + "\n" : trial::junit(verdicts_));
    }
    bool has_failed() const { return has_failed_; }

private:
    bool is_tap_;
    bool has_failed_ = false;
    std::vector<trial::Verdict> verdicts_;
};

void try_all(const std::vector<Subject> &subjects, const Attempt &attempt, Report &report) {
    for (const Subject &subject : subjects) {
        if (!subject.mistake.empty()) {
            report.add({subject.file, trial::Verdict::Result::kFailed, subject.mistake});
            continue;
        }
        try {
            report.add(attempt(subject.scenario));
        } catch (const Failure &failure) {
            report.break_off({subject.file, trial::Verdict::Result::kError, failure.what()});
            throw;
        }
    }
    report.finish();
}

int Test::run(const Session &session) const {
    session.prints_only("test, which has --format,", {Format::kText});
    Attempt attempt = trial::try_library;
    if (program.empty()) {
        command.refuse({"--speed", "--started", "--settle", "--timeout"}, "--run is missing, with the program to try");
    } else {
        attempt = [options = program_options()](const scenario::Scenario &each) {
            return trial::try_program(each, options);
        };
    }
    std::vector<Subject> subjects;
    std::transform(files.begin(), files.end(), std::back_inserter(subjects), read_subject);
    if (program.empty()) {
        refuse_without_expectation(subjects);
    }
    Report report(format, subjects.size());
    try_all(subjects, attempt, report);
    return report.has_failed() ? kNegative : kDone;
}

}  // namespace

void add_test(Verbs &verbs) {
    const auto test = std::make_shared<Test>();
    const Command command = verbs.add("test", "Try the library, or an application, on scenarios",
                                      "  trel_capctl test boot late_check\n"
                                      "  trel_capctl test scenarios/*.yaml --format junit >report.xml\n"
                                      "  trel_capctl test lab.yaml --run './my_app --verbose' --started ready\n",
                                      [test](const Session &session) { return test->run(session); });
    test->command = command;
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
