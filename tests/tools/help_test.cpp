// Help, the man page and the completion, and that they agree.
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

#include "capctl_test.h"

namespace capctl_test {

namespace {

using testing::HasSubstr;

using Names = std::set<std::string>;

const std::vector<std::string> kVerbs = {"get", "set", "ready"};

std::string source_file(const std::string &name) {
    std::ostringstream text;
    text << std::ifstream(std::string(CAPCTL_SOURCES) + "/" + name).rdbuf();
    return text.str();
}

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

// From a list of options ("  -s,--store NAME   The store"), without what is told of them.
std::string option_lines(const std::string &help) {
    std::string lines;
    std::istringstream in(help);
    for (std::string line; std::getline(in, line);) {
        const size_t from = line.find_first_not_of(' ');
        if (from != 0 && from != std::string::npos && line[from] == '-') {
            lines += line.substr(from, line.find("  ", from) - from) + "\n";
        }
    }
    return lines;
}

std::string help_of(const Arguments &arguments) {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    return outcome.out;
}

// The page as text: \- is a dash, the rest of the markup is no matter.
std::string man_page() {
    std::string page = source_file("trel_capctl.1");
    for (size_t at = page.find("\\-"); at != std::string::npos; at = page.find("\\-", at)) {
        page.erase(at, 1);
    }
    return page;
}

TEST(Help, NeedsNoStoreAndBeginsWithExamples) {
    const std::string help = help_of({"--help"});
    EXPECT_LT(help.find("Examples:"), help.find("Usage:"));
    for (const std::string &verb : kVerbs) {
        EXPECT_THAT(help, HasSubstr("\n  " + verb + " "));
        const std::string own = help_of({verb, "--help"});
        EXPECT_LT(own.find("Examples:\n  trel_capctl " + verb), own.find("Usage: trel_capctl " + verb)) << own;
        EXPECT_EQ(own, help_of({verb, "-h"}));
    }
}

TEST(Help, TellsEveryExitStatus) {
    const std::string help = help_of({"--help"});
    const std::string page = man_page();
    for (const std::string status : {"0", "1", "2", "3", "4", "5", "6", "7", "130"}) {
        EXPECT_THAT(help, HasSubstr("\n" + std::string(5 - status.size(), ' ') + status + "  "));
        EXPECT_THAT(page, HasSubstr("\n.TP\n.B " + status + "\n"));
    }
}

TEST(Help, FitsATerminal) {
    for (const Arguments &arguments :
         {Arguments{"--help"}, {"get", "--help"}, {"set", "--help"}, {"ready", "--help"}}) {
        std::istringstream in(help_of(arguments));
        for (std::string line; std::getline(in, line);) {
            EXPECT_LE(line.size(), 100U) << line;
        }
    }
}

TEST(Help, IsAsTheManPageSays) {
    Names in_help = options_in(option_lines(help_of({"--help"})));
    for (const std::string &verb : kVerbs) {
        in_help.merge(options_in(option_lines(help_of({verb, "--help"}))));
    }
    EXPECT_EQ(in_help,
              (Names{"--bool", "--help", "--int", "--output", "--pri", "--state", "--store", "--str", "--version"}));
    EXPECT_EQ(options_in(man_page()), in_help);
}

TEST(Help, EveryVerbIsInTheManPage) {
    for (const std::string &verb : kVerbs) {
        EXPECT_THAT(man_page(), HasSubstr("\n.B " + verb + "\n"));
        EXPECT_THAT(man_page(), HasSubstr("\n.TP\n.BI " + verb + " "));
    }
}

// Known requests only, and what is opened is closed.
TEST(Help, ManPageIsWellFormed) {
    const Names known = {".TH", ".SH", ".TP", ".PP", ".B",  ".I",  ".BI", ".RB",
                         ".RI", ".BR", ".IR", ".br", ".RS", ".RE", ".nf", ".fi"};
    std::map<std::string, int> count;
    std::istringstream in(source_file("trel_capctl.1"));
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

// What bash offers after these words.
Names completed(const std::string &words) {
    const std::string script = std::string("source ") + CAPCTL_SOURCES + "/trel_capctl.bash; COMP_WORDS=(trel_capctl " +
                               words + " ''); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _trel_capctl; " +
                               "echo \"${COMPREPLY[@]}\"";
    // NOLINTNEXTLINE(cert-env33-c): the words are the tests' own
    FILE *bash = popen(("bash -c \"$(cat <<'END'\n" + script + "\nEND\n)\"").c_str(), "r");
    EXPECT_NE(bash, nullptr);
    char offered[1024] = "";
    EXPECT_GT(fread(offered, 1, sizeof offered - 1, bash), 0U);
    EXPECT_EQ(pclose(bash), 0);
    std::istringstream in(offered);
    return {std::istream_iterator<std::string>(in), std::istream_iterator<std::string>()};
}

TEST(Completion, OffersVerbsScopesAndFormats) {
    EXPECT_THAT(completed(""), testing::IsSupersetOf(kVerbs));
    EXPECT_THAT(completed("--store redis://host"), testing::IsSupersetOf(kVerbs));
    EXPECT_THAT(completed("ready"), testing::IsSupersetOf({"glb", "cm", "fab", "hps"}));
    EXPECT_THAT(completed("ready glb"), testing::IsSupersetOf({"on", "off"}));
    EXPECT_EQ(completed("get /a --output"), (Names{"text", "json"}));
    EXPECT_EQ(completed("set /a --bool"), (Names{"0", "1"}));
}

TEST(Completion, OffersTheOptionsOfEachVerb) {
    Names shared = options_in(option_lines(help_of({"--help"})));
    shared.erase("--version");
    for (const std::string &verb : kVerbs) {
        Names expected = options_in(option_lines(help_of({verb, "--help"})));
        expected.insert(shared.begin(), shared.end());
        Names offered;
        for (const std::string &word : completed(verb + " x")) {
            if (word.starts_with("--")) {
                offered.insert(word);
            }
        }
        EXPECT_EQ(offered, expected) << verb;
    }
}

TEST(Completion, OfZshHasTheOptionsOfTheManPage) {
    const std::string script = source_file("trel_capctl.zsh");
    EXPECT_EQ(options_in(script), options_in(man_page()));
    for (const std::string &verb : kVerbs) {
        EXPECT_THAT(script, HasSubstr("\n        " + verb + ")\n"));
    }
}

TEST(Version, IsTheProjects) {
    EXPECT_THAT(run({"--version"}), Prints(std::string("trel_capctl ") + CAPCTL_VERSION + "\n"));
}

}  // namespace

}  // namespace capctl_test
