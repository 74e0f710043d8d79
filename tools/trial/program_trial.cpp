#include "trial/program_trial.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <functional>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "command_line/exit_status.h"
#include "scenario/expectation.h"
#include "scenario/player.h"
#include "trial/child.h"
#include "trial/deferred_signals.h"
#include "trial/private_server.h"

namespace trial {

using namespace command_line;
using scenario::Clock;
using std::chrono::milliseconds;

namespace {

// A program, and the lines that it has printed.
class Application {
public:
    Application(const ProgramOptions &options, const std::string &store_name)
        : child_(options.words, {{"OX_MOM_STORE", store_name}}, Child::Streams::kPiped) {}

    const std::vector<std::string> &lines() const { return lines_; }
    bool has_ended() { return child_.has_ended() && !is_open_; }
    bool lives() { return !child_.has_ended(); }
    int status() const { return child_.status(); }

    // Takes what it prints until then, or until something is so.
    bool read_until(
        Clock::time_point end, const std::function<bool()> &done = [] { return false; });
    // False when it had to be killed.
    bool end(milliseconds patience);
    bool was_told_to_end() const { return told_; }

private:
    void read_for(milliseconds limit);
    void take(std::string_view bytes);

    Child child_;
    std::vector<std::string> lines_;
    std::string unfinished_;
    bool is_open_ = true;
    bool told_ = false;
};

bool Application::read_until(Clock::time_point end, const std::function<bool()> &done) {
    constexpr milliseconds kLongest(50);  // an end is noticed within it
    while (!done()) {
        const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
        if (left.count() <= 0) {
            return false;
        }
        read_for(std::min(left, kLongest));
        DeferredSignals::check();
    }
    return true;
}

void Application::read_for(milliseconds limit) {
    pollfd waiting = {.fd = is_open_ ? child_.output() : -1, .events = POLLIN, .revents = 0};
    if (poll(&waiting, 1, static_cast<int>(limit.count())) <= 0) {
        return;
    }
    std::array<char, 4096> bytes;
    const ssize_t size = read(child_.output(), bytes.data(), bytes.size());
    if (size > 0) {
        take({bytes.data(), static_cast<size_t>(size)});
    } else if (size == 0 || (errno != EAGAIN && errno != EINTR)) {
        is_open_ = false;
        take(unfinished_.empty() ? "" : "\n");
    }
}

void Application::take(std::string_view bytes) {
    for (const char byte : bytes) {
        if (byte == '\n') {
            lines_.push_back(std::move(unfinished_));
            unfinished_.clear();
        } else {
            unfinished_ += byte;
        }
    }
}

// Gently first: many end with their input.
bool Application::end(milliseconds patience) {
    constexpr milliseconds kGentle(500);
    const auto ended = [this] { return has_ended(); };
    child_.end_input();
    if (read_until(Clock::now() + std::min(kGentle, patience), ended)) {
        return true;
    }
    told_ = true;
    child_.send(SIGTERM);
    return read_until(Clock::now() + patience, ended);
}

class Trial {
public:
    Trial(const scenario::Scenario &scenario, const ProgramOptions &options, Verdict &verdict)
        : scenario_(scenario), options_(options), verdict_(verdict) {}

    void run() {
        const PrivateServer server;
        store::Store publisher(server.store_name());
        scenario::play(publisher, scenario_.before, {.speed = 0});
        Application application(options_, server.store_name());
        if (!wait_for_start(application)) {
            return;
        }
        const auto wait_until = [&](Clock::time_point due) { application.read_until(due); };
        scenario::play(publisher, scenario_.steps, {.speed = options_.speed, .wait_until = wait_until});
        const bool lived = application.lives();
        wait_for_output(application);
        const bool ended = application.end(options_.patience);
        judge_output(application.lines());
        judge_end(application, ended);
        say_what_was_checked(application.status(), lived);
    }

private:
    void fail(const std::string &message, std::vector<std::string> details = {}) {
        if (verdict_.result != Verdict::Result::kFailed) {
            verdict_.result = Verdict::Result::kFailed;
            verdict_.message = scenario_.file + ": " + message;
            verdict_.details = std::move(details);
        }
    }

    bool wait_for_start(Application &application) {
        if (options_.started.empty()) {
            application.read_until(Clock::now() + options_.settling, [&] { return application.has_ended(); });
            return true;
        }
        const auto is_up = [&] {
            return std::any_of(application.lines().begin(), application.lines().end(), [&](const std::string &line) {
                return line.find(options_.started) != std::string::npos;
            });
        };
        const bool up = application.read_until(Clock::now() + options_.patience,
                                               [&] { return is_up() || application.has_ended(); });
        if (!up || !is_up()) {
            fail("the program has not printed that it is up: " + options_.started, application.lines());
            return false;
        }
        return true;
    }

    // All of it, or what comes until there is nothing to be had any more.
    void wait_for_output(Application &application) const {
        if (scenario_.expected_output) {
            scenario::Expectation expected = *scenario_.expected_output;
            expected.others = true;
            application.read_until(Clock::now() + options_.patience, [&] {
                return is_as_expected(expected, application.lines()) || application.has_ended();
            });
        }
    }

    void judge_output(const std::vector<std::string> &lines) {
        if (scenario_.expected_output) {
            std::vector<std::string> different = differences(*scenario_.expected_output, lines);
            if (!different.empty()) {
                fail("the output differs: - expected and not printed, + printed and not expected",
                     std::move(different));
            }
        }
    }

    void judge_end(const Application &application, bool ended) {
        const int status = application.status();
        if (!ended) {
            fail("the program does not end, not even by SIGTERM");
        } else if (WIFSIGNALED(status) && !(application.was_told_to_end() && WTERMSIG(status) == SIGTERM)) {
            fail(std::string("the program was ended by ") + strsignal(WTERMSIG(status)));
        } else if (WIFSIGNALED(status) && scenario_.expected_status) {
            fail("the program had to be ended by SIGTERM and has no status, and " +
                 std::to_string(*scenario_.expected_status) + " is expected");
        } else if (WIFEXITED(status) && WEXITSTATUS(status) != scenario_.expected_status.value_or(0)) {
            fail("the program ended with " + std::to_string(WEXITSTATUS(status)) + ", not " +
                 std::to_string(scenario_.expected_status.value_or(0)));
        }
    }

    // Of a scenario that says little of a program, so that nobody takes a pass for more than it is.
    void say_what_was_checked(int status, bool lived) {
        if (scenario_.expected_output || verdict_.result != Verdict::Result::kPassed) {
            return;
        }
        verdict_.checked = std::string("its output is not compared, for there is no expect_output") +
                           (scenario_.expects_events() ? ", nor are the events, which are the library's" : "") +
                           "; the program " +
                           (lived ? "lived through all steps and " : "had ended before the last step was done and ") +
                           (WIFSIGNALED(status) ? std::string("ended when it was told to")
                                                : "exited with " + std::to_string(WEXITSTATUS(status)));
    }

    const scenario::Scenario &scenario_;
    const ProgramOptions &options_;
    Verdict &verdict_;
};

}  // namespace

Verdict try_program(const scenario::Scenario &scenario, const ProgramOptions &options) {
    Verdict verdict(scenario.file);
    const DeferredSignals signals;
    const auto begin = Clock::now();
    Trial(scenario, options, verdict).run();
    verdict.took = Clock::now() - begin;
    return verdict;
}

}  // namespace trial
