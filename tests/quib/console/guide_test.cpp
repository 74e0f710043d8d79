// The operator's guide, played as it stands: what it shows is what a person at the terminal sees.
#include <regex.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <sstream>

#include "console_test.h"
#include "private_root.h"
#include "terminal.h"

namespace console_test {

namespace {

constexpr char kDemo[] = "trel_cap_trel_cap_demo";
const std::string kDemoPrompt = std::string(kDemo) + "> ";
const std::string kAttach = std::string("quib ") + kDemo;
constexpr char kLastSection[] = "\n## The level files\n";

std::string guide() { return read_file(GUIDE); }

// A line that is typed, and what is shown then, up to the next.
struct Step {
    bool at_prompt;  // of quib's; else the shell's
    std::string line;
    std::string shown;
};

std::vector<std::string> lines_of_blocks(const std::string &text, const std::string &kind) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    bool inside = false;
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with("```")) {
            inside = line == "```" + kind;
        } else if (inside) {
            lines.push_back(line);
        }
    }
    return lines;
}

std::vector<Step> steps_in(const std::string &text) {
    std::vector<Step> steps;
    for (const std::string &line : lines_of_blocks(text, "console")) {
        if (line.starts_with(kDemoPrompt)) {
            steps.push_back({true, line.substr(kDemoPrompt.size()), ""});
        } else if (line.starts_with("$ ")) {
            steps.push_back({false, line.substr(2), ""});
        } else if (!steps.empty()) {
            steps.back().shown += line + "\n";
        }
    }
    return steps;
}

// Replaces what matches the pattern, but for its first group.
std::string replace_all(const std::string &text, const char *pattern, const char *replacement) {
    regex_t regex;
    EXPECT_EQ(regcomp(&regex, pattern, REG_EXTENDED | REG_NEWLINE), 0);
    std::string result;
    const char *at = text.c_str();
    for (regmatch_t match[2]; regexec(&regex, at, 2, match, 0) == 0; at += match[0].rm_eo) {
        const regoff_t kept = match[1].rm_so < 0 ? match[0].rm_so : match[1].rm_eo;
        result.append(at, static_cast<size_t>(kept)).append(replacement);
    }
    regfree(&regex);
    return result + at;
}

// Without what is different every time.
std::string lasting(std::string text) {
    constexpr std::pair<const char *, const char *> kPassing[] = {
        {"\r", ""},
        {"0x[0-9a-f]{9,}", "POINTER"},
        {"process [0-9]+", "PROCESS"},
        {"PID +PROGRAM", "HEADER"},
        {"(trel_cap_trel_cap_demo) +[0-9]+ +/[^ ]*/", " PROCESS DIRECTORY/"},
        {"[0-9]{4}-[0-9-]{5} [0-9:.]{12} ", "TIME "},
        {"(TIME [^:]*):[0-9]+ ", ":LINE "},
        {"(state +up for ).*", "TIME"},
        {"((subscriptions|notifications|requests) +).*", "COUNTS"},
    };
    for (const auto &[pattern, replacement] : kPassing) {
        text = replace_all(text, pattern, replacement);
    }
    return text;
}

// A program that runs beside the session.
class Background {
public:
    explicit Background(const std::string &command) : pid_(fork()) {
        if (pid_ == 0) {
            execl("/bin/sh", "sh", "-c", ("exec " + command).c_str(), nullptr);
            _exit(99);
        }
    }
    ~Background() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }
    Background(const Background &) = delete;
    Background &operator=(const Background &) = delete;

private:
    pid_t pid_;
};

std::string run_in_shell(const std::string &command) {
    FILE *shell = popen(("exec 2>&1; " + command).c_str(), "r");  // NOLINT(cert-env33-c): the guide's own words
    std::string text;
    for (int letter = 0; shell != nullptr && (letter = fgetc(shell)) != EOF;) {
        text += static_cast<char>(letter);
    }
    EXPECT_NE(shell, nullptr);
    pclose(shell);
    return text;
}

class Guide : public ConsoleTest {
protected:
    void SetUp() override {
        if (const std::string why = test_support::enter_private_root(); !why.empty()) {
            GTEST_SKIP() << "the guide's session writes to /data, and one of its own is not to be had: " << why;
        }
        std::string path = std::getenv("PATH");
        for (const std::string program : {QUIB_PROGRAM, DEMO_PROGRAM, FOLLOW_PROGRAM}) {
            path = std::filesystem::path(program).parent_path().string() + ":" + path;
        }
        setenv("PATH", path.c_str(), 1);
        for (const auto &[name, value] : environment()) {
            setenv(name.c_str(), value.c_str(), 1);
        }
    }

    void play(const std::vector<Step> &steps) {
        for (const Step &step : steps) {
            SCOPED_TRACE(step.line);
            EXPECT_EQ(lasting(step.at_prompt ? type(step.line) : run_line(step.line)), lasting(step.shown));
        }
    }

    void start_demo() {
        programs_.push_back(std::make_unique<Background>("trel_cap_demo --stay >" + told_ + " 2>" + log_));
        wait_until([this] { return read_file(told_).find("Ctrl-C ends it") != std::string::npos; });
    }
    std::string log() const { return read_file(log_); }

private:
    std::string run_line(const std::string &line) {
        if (line == kAttach) {
            terminal_.emplace(Arguments{kDemo}, environment());
            return without_prompt(terminal_->expect(kDemoPrompt));
        }
        if (line.ends_with(" &")) {
            programs_.push_back(std::make_unique<Background>(line.substr(0, line.size() - 2)));
            const std::string module = "trel_cap_" + line.substr(0, line.find(' '));
            wait_until([&] { return run({}).out.find(module) != std::string::npos; });
            return "";
        }
        return run_in_shell(line);
    }

    std::string type(const std::string &line) {
        terminal_->type(line + kReturn);
        terminal_->expect(line + "\r\n");
        if (line == "quit") {
            EXPECT_EQ(terminal_->finish(), 0);
            return terminal_->rest();
        }
        return without_prompt(terminal_->expect(kDemoPrompt));
    }

    static std::string without_prompt(const std::string &shown) {
        return shown.substr(0, shown.size() - kDemoPrompt.size());
    }

    const std::string told_ = home() + "/told";
    const std::string log_ = home() + "/log";
    std::vector<std::unique_ptr<Background>> programs_;
    std::optional<Terminal> terminal_;
};

TEST_F(Guide, ShowsWhatIsSeen) {
    const std::string text = guide();
    const std::vector<Step> steps = steps_in(text.substr(0, text.find(kLastSection)));
    ASSERT_GT(steps.size(), 30U);
    start_demo();
    play(steps);
    for (const std::string &line : lines_of_blocks(text, "text")) {
        EXPECT_THAT(lasting(log()), testing::HasSubstr(lasting(line) + "\n"));
    }
}

TEST_F(Guide, ShowsTheLevelFilesAtWork) {
    const std::string text = guide();
    const std::vector<Step> steps = steps_in(text.substr(text.find(kLastSection)));
    ASSERT_GT(steps.size(), 4U);
    play(steps);
}

TEST_F(Guide, HasEveryCommandTyped) {
    std::set<std::string> typed;
    for (const Step &step : steps_in(guide())) {
        typed.insert(step.line.substr(0, step.line.find(' ')));
    }
    start_demo();
    std::istringstream commands(run_in_shell(kAttach + " .commands"));
    size_t count = 0;
    for (std::string line; std::getline(commands, line); ++count) {
        EXPECT_THAT(typed, testing::Contains(line.substr(0, line.find('\t'))));
    }
    EXPECT_EQ(count, 14U);
}

}  // namespace

}  // namespace console_test
