// Help, the man page and the shells' completion, and that they agree.
#include <filesystem>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

#include "console_test.h"
#include "fake_module.h"

namespace console_test {

namespace {

using testing::HasSubstr;

using Names = std::set<std::string>;

const Names kOptions = {"--help", "--output", "--timeout", "--version"};

std::string source_file(const std::string &name) { return read_file(std::string(QUIB_SOURCES) + "/" + name); }

// Every --word.
Names options_in(const std::string &text) {
    constexpr char kLetters[] = "abcdefghijklmnopqrstuvwxyz";
    Names options;
    for (size_t at = text.find("--"); at != std::string::npos; at = text.find("--", at + 1)) {
        const size_t end = text.find_first_not_of(kLetters, at + 2);
        if (end != at + 2) {
            options.insert(text.substr(at, end - at));
        }
    }
    return options;
}

// The page as text: \- is a dash, the rest of the markup is no matter.
std::string man_page() {
    std::string page = source_file("quib.1");
    for (size_t at = page.find("\\-"); at != std::string::npos; at = page.find("\\-", at)) {
        page.erase(at, 1);
    }
    return page;
}

class Help : public ConsoleTest {
protected:
    std::string help() {
        const Outcome outcome = run({"--help"});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "");
        return outcome.out;
    }
};

TEST_F(Help, BeginsWithExamples) {
    const std::string text = help();
    EXPECT_LT(text.find("Examples:\n  quib "), text.find("Usage:\n  quib [OPTION...]\n"));
    EXPECT_EQ(run({"-h"}).out, text);
}

TEST_F(Help, HasTheOptionsOfTheManPageAndTheShells) {
    EXPECT_EQ(options_in(help()), kOptions);
    EXPECT_EQ(options_in(man_page()), kOptions);
    EXPECT_EQ(options_in(source_file("quib.bash")), kOptions);
    EXPECT_EQ(options_in(source_file("quib.zsh")), kOptions);
}

TEST_F(Help, TellsEveryExitStatus) {
    const std::string text = help();
    const std::string page = man_page();
    for (const std::string status : {"0", "1", "2", "3", "4", "5", "6", "7", "130"}) {
        EXPECT_THAT(text, HasSubstr("\n" + std::string(5 - status.size(), ' ') + status + "  "));
        EXPECT_THAT(page, HasSubstr("\n.TP\n.B " + status + "\n"));
    }
}

TEST_F(Help, NamesTheVariablesOfTheManPage) {
    for (const std::string variable : {"QUIB_DIR", "QUIB_HISTORY"}) {
        EXPECT_THAT(help(), HasSubstr("$" + variable));
        EXPECT_THAT(man_page(), HasSubstr("\n.B " + variable + "\n"));
    }
}

TEST_F(Help, FitsATerminal) {
    std::istringstream in(help());
    for (std::string line; std::getline(in, line);) {
        EXPECT_LE(line.size(), 100U) << line;
    }
}

// Known requests only, and what is opened is closed.
TEST_F(Help, ManPageIsWellFormed) {
    const Names known = {".TH", ".SH", ".TP", ".PP", ".B",  ".I",  ".BI", ".RB",
                         ".RI", ".BR", ".IR", ".br", ".RS", ".RE", ".nf", ".fi"};
    std::map<std::string, int> count;
    std::istringstream in(source_file("quib.1"));
    for (std::string line; std::getline(in, line);) {
        if (line[0] == '.' && !line.starts_with(".\\\"")) {
            const std::string request = line.substr(0, line.find(' '));
            EXPECT_TRUE(known.contains(request)) << line;
            ++count[request];
        }
    }
    EXPECT_EQ(count[".TH"], 1);
    EXPECT_EQ(count[".RS"], count[".RE"]);
    EXPECT_EQ(count[".nf"], count[".fi"]);
}

TEST_F(Help, VersionIsTheProjects) { EXPECT_THAT(run({"--version"}), Prints("quib " QUIB_VERSION "\n")); }

class Bash : public ConsoleTest {
protected:
    // What it offers after these words, for the last of them.
    Names completed(const std::string &words) {
        const std::string script = std::string("PATH=$(dirname ") + QUIB_PROGRAM +
                                   "):$PATH; export QUIB_DIR=" + directory() + "; source " + QUIB_SOURCES +
                                   "/quib.bash; COMP_WORDS=(quib " + words +
                                   "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _quib; echo \"${COMPREPLY[@]}\"";
        // NOLINTNEXTLINE(cert-env33-c): the words are the tests' own
        FILE *bash = popen(("bash -c \"$(cat <<'END'\n" + script + "\nEND\n)\"").c_str(), "r");
        EXPECT_NE(bash, nullptr);
        char offered[1024] = "";
        EXPECT_GT(fread(offered, 1, sizeof offered - 1, bash), 0U);
        EXPECT_EQ(pclose(bash), 0);
        std::istringstream in(offered);
        return {std::istream_iterator<std::string>(in), std::istream_iterator<std::string>()};
    }

    FakeModule demo{socket("demo"), with_commands("dump_all\tvoid\nget_fe\tnode=%d url=%s\nlog-level\t%d\n")};
    FakeModule other{socket("other"), echo};
};

TEST_F(Bash, OffersModulesAndOptions) {
    EXPECT_EQ(completed("''"), (Names{"demo", "other"}));
    EXPECT_EQ(completed("--timeout 3 d"), (Names{"demo"}));
    EXPECT_EQ(completed("-"), kOptions);
    EXPECT_EQ(completed("--output ''"), (Names{"text", "json"}));
    EXPECT_EQ(completed("--timeout ''"), (Names{}));
}

TEST_F(Bash, OffersCommandsAndArguments) {
    EXPECT_EQ(completed("demo ''"), (Names{"dump_all", "get_fe", "help", "log-level", "store"}));
    EXPECT_EQ(completed("--timeout 3 demo d"), (Names{"dump_all"}));
    EXPECT_EQ(completed("demo get_fe ''"), (Names{"node=", "url="}));
    EXPECT_EQ(completed("demo get_fe u"), (Names{"url="}));
    EXPECT_EQ(completed("demo dump_all ''"), (Names{}));
    EXPECT_EQ(completed("demo log-level ''"), (Names{}));
    EXPECT_EQ(completed("nowhere ''"), (Names{"help", "store"}));
}

// They are the choice of whoever runs a program; the shell is the operator's.
TEST_F(Bash, ExpandsNothingThatIsOffered) {
    const std::string made = "made_by_completion";
    const FakeModule hostile(socket("hostile$(>" + made + ")"), echo);
    const FakeModule blank(socket("my demo"), with_commands("hook$(>" + made + ")\tvoid\n"));
    EXPECT_EQ(completed("h"), (Names{"hostile\\$\\(\\>" + made + "\\)"}));
    EXPECT_EQ(completed("my"), (Names{"my\\", "demo"}));
    EXPECT_EQ(completed("my h"), (Names{"hook\\$\\(\\>" + made + "\\)", "help"}));
    EXPECT_FALSE(std::filesystem::remove(made));
}

}  // namespace

}  // namespace console_test
