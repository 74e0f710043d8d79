// Help, the man page and the completion, and that they agree.
#include <chrono>
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

std::string source_file(const std::string &name) {
    std::ostringstream text;
    text << std::ifstream(std::string(CAPCTL_SOURCES) + "/" + name).rdbuf();
    return text.str();
}

// Every --word.
Names options_in(const std::string &text) {
    constexpr char kLetters[] = "abcdefghijklmnopqrstuvwxyz-";
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

// As --help lists them.
std::vector<std::string> verbs() {
    std::istringstream in(help_of({"--help"}));
    std::vector<std::string> names;
    std::string line;
    while (std::getline(in, line) && line != "Verbs:") {
    }
    while (std::getline(in, line) && !line.empty()) {
        const size_t from = line.find_first_not_of(' ');
        names.push_back(line.substr(from, line.find(' ', from) - from));
    }
    EXPECT_THAT(names, testing::IsSupersetOf({"get", "set", "ready", "watch"}));
    return names;
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
    for (const std::string &verb : verbs()) {
        EXPECT_THAT(help, HasSubstr("\n  " + verb + " "));
        const std::string own = help_of({verb, "--help"});
        EXPECT_LT(own.find("Examples:\n  trel_capctl " + verb), own.find("Usage: trel_capctl " + verb)) << own;
        EXPECT_EQ(own, help_of({verb, "-h"}));
        EXPECT_EQ(own, help_of({"help", verb}));
    }
    EXPECT_EQ(help, help_of({"help"}));
}

TEST(Help, TellsOfTheBoardWhereItsDataAreAndHowItEnds) {
    const std::string help = help_of({"board", "--help"});
    EXPECT_THAT(help, testing::AllOf(HasSubstr("/state | jq"), HasSubstr("until Ctrl-C")));
    EXPECT_THAT(man_page(), testing::AllOf(HasSubstr(".IR /state ,"), HasSubstr("Ctrl-C, or SIGTERM")));
}

// It is in no list, and its help is one all the same.
TEST(Help, OfCompletionHasExamples) {
    EXPECT_THAT(help_of({"complete", "--help"}), HasSubstr("Examples:\n  trel_capctl complete "));
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
    std::vector<std::string> of = verbs();
    of.emplace_back("--help");
    for (const std::string &verb : of) {
        std::istringstream in(help_of({verb, "--help"}));
        for (std::string line; std::getline(in, line);) {
            EXPECT_LE(line.size(), 80U) << line;
        }
    }
}

TEST(Help, IsAsTheManPageSays) {
    Names in_help = options_in(option_lines(help_of({"--help"})));
    for (const std::string &verb : verbs()) {
        in_help.merge(options_in(option_lines(help_of({verb, "--help"}))));
    }
    EXPECT_THAT(in_help, testing::IsSupersetOf({"--bool", "--help", "--int", "--output", "--pri", "--state", "--store",
                                                "--str", "--version"}));
    EXPECT_EQ(options_in(man_page()), in_help);
}

// Between two texts; "" when they are not there.
std::string between(const std::string &text, const std::string &before, const std::string &after) {
    const size_t begin = text.find(before);
    const size_t end = text.find(after, begin + before.size());
    return begin == std::string::npos || end == std::string::npos
               ? ""
               : text.substr(begin + before.size(), end - begin - before.size());
}

TEST(Help, EveryVerbIsInTheManPageWithItsArguments) {
    const std::string page = man_page();
    for (const std::string &verb : verbs()) {
        EXPECT_THAT(page, testing::ContainsRegex("\n.SS " + verb + "[ \n]")) << verb;
        EXPECT_EQ(between(page, "\n.SS " + verb, "\n"),
                  between(help_of({verb, "--help"}), "Usage: trel_capctl " + verb, " [OPTION...]\n"))
            << verb;
    }
}

// Known requests only, and what is opened is closed.
TEST(Help, ManPageIsWellFormed) {
    const Names known = {".TH", ".SH", ".SS", ".TP", ".PP", ".B",  ".I",  ".BI", ".RB",
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

// What bash offers when its line is this.
Names completed(const std::string &line, const Environment &environment = {}) {
    const std::string script = std::string("source ") + CAPCTL_SOURCES + "/trel_capctl.bash; COMP_LINE=" + "'" +
                               CAPCTL_PROGRAM + " " + line + "'; COMP_POINT=${#COMP_LINE}; _trel_capctl; " +
                               "printf '%s\\n' \"${COMPREPLY[@]}\"";
    Launch launch = capctl({"-c", script}, environment);
    launch.program = "/bin/bash";
    const Outcome outcome = Program(launch).finish();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    std::istringstream in(outcome.out);
    Names names;
    for (std::string name; std::getline(in, name);) {
        names.insert(name);
    }
    return names;
}

TEST(Completion, OffersVerbsScopesAndFormats) {
    EXPECT_THAT(completed(""), testing::IsSupersetOf(verbs()));
    EXPECT_THAT(completed("--store redis://host "), testing::IsSupersetOf(verbs()));
    EXPECT_EQ(completed("wat"), Names{"watch"});
    EXPECT_EQ(completed("ready "), (Names{"glb", "cm", "fab", "hps"}));
    EXPECT_EQ(completed("ready glb "), (Names{"on", "off"}));
    EXPECT_EQ(completed("ready glb of"), Names{"off"});
    EXPECT_EQ(completed("get /a --output "), (Names{"text", "table", "json", "ndjson"}));
    EXPECT_EQ(completed("get /a --output="), (Names{"text", "table", "json", "ndjson"}));
    EXPECT_EQ(completed("--output=js"), Names{"json"});
    EXPECT_EQ(completed("get /a --output=js"), Names{"json"});
    EXPECT_EQ(completed("get /a -o ta"), Names{"table"});
    EXPECT_EQ(completed("dump --type cap_gl"), (Names{"cap_glb_state", "cap_glb_table"}));
    EXPECT_EQ(completed("dump --type=cap_gl"), (Names{"cap_glb_state", "cap_glb_table"}));
    EXPECT_EQ(completed("test boot --format="), (Names{"tap", "junit"}));
    EXPECT_EQ(completed("set cap_fe_ready:17:900 ready="), (Names{"0", "1", "false", "true"}));
    EXPECT_EQ(completed("wait cap_fe_ready:17:900 ready=f"), Names{"false"});
    EXPECT_EQ(completed("set app_df_card_deny_check_result:0:0:1:0 stat="),
              (Names{"APP_DF_CHECK_PASS", "APP_DF_CHECK_DENY"}));
    EXPECT_EQ(completed("set card_info:0:0:1:0 static"), Names{"static_info."});
    EXPECT_THAT(completed("set card_info:0:0:1:0 static_info."),
                testing::IsSupersetOf({"static_info.node_type=", "static_info.name=", "static_info.index."}));
    EXPECT_EQ(completed("set cap_fe_ready:17:900 node_type="), Names{""}) << "any number";
    EXPECT_EQ(completed("help expl"), Names{"explain"});
    EXPECT_EQ(completed("set /a --bool "), (Names{"0", "1"}));
    EXPECT_EQ(completed("get /a --class "), (Names{"cm", "fab", "hps"}));
    EXPECT_THAT(completed("play "), testing::IsSupersetOf({"boot", "denied_card"}));
    EXPECT_EQ(completed("test flap"), Names{"flapping_card"});
    EXPECT_EQ(completed("board --play flap"), Names{"flapping_card"});
    EXPECT_EQ(completed("decode card_"), (Names{"card_info", "card_static_info"}));
    EXPECT_EQ(completed("card "), (Names{"insert", "remove"}));
    EXPECT_EQ(completed("check 17 "), (Names{"pass", "deny", "withdraw"}));
    EXPECT_EQ(completed("node 17 ready --real-time "), (Names{"on", "off"}));
    EXPECT_EQ(completed("card insert 17 --class "), (Names{"lc", "fab", "cm", "hps"}));
    EXPECT_EQ(completed("wait node 17 "), (Names{"ready", "unready"}));
    EXPECT_EQ(completed("wait ready "), (Names{"glb", "cm", "fab", "hps"}));
    EXPECT_EQ(completed("wait ready fab o"), (Names{"on", "off"}));
}

TEST(Completion, OffersTheOptionsOfEachVerb) {
    Names shared = options_in(option_lines(help_of({"--help"})));
    shared.erase("--version");
    for (const std::string &verb : verbs()) {
        Names expected = options_in(option_lines(help_of({verb, "--help"})));
        expected.insert(shared.begin(), shared.end());
        EXPECT_EQ(completed(verb + " --"), expected) << verb;
    }
}

class CompletionOfTheStore : public ServerTest {};

TEST_F(CompletionOfTheStore, OffersItsKeysNodesAndFields) {
    ASSERT_THAT(run({"set", "/l3/arp", "--int", "1"}), Prints(""));
    ASSERT_THAT(run({"set", "/l3/arp", "--fe", "17", "--int", "1"}), Prints(""));
    ASSERT_THAT(run({"set", "cap_fe_ready:17:900", "ready=1"}), Prints(""));
    EXPECT_EQ(completed("get /l", environment()), Names{"/l3/arp"});
    EXPECT_EQ(completed("get cap_fe", environment()), (Names{"cap_fe_ready:", "cap_fe_ready:17:900"}));
    // Bash takes a word apart at its colons, and replaces the last part only.
    EXPECT_EQ(completed("get cap_fe_ready:17:", environment()), Names{"900"});
    EXPECT_EQ(completed("get /l3/arp --fe ", environment()), Names{"17"});
    EXPECT_EQ(completed("set cap_fe_ready:17:900 re", environment()), (Names{"ready=", "real_time="}));
    EXPECT_EQ(completed("get cap_fe_ready:17:900 --field nod", environment()), Names{"node_type"});
    EXPECT_EQ(completed("explain ", environment()), Names{"17"});
    EXPECT_EQ(completed("wait node ", environment()), Names{"17"});
    EXPECT_EQ(completed("wait /l3", environment()), Names{"/l3/arp"});
    EXPECT_EQ(completed("wait cap_fe_ready:17:900 rea", environment()), (Names{"ready=", "real_time="}));
}

TEST_F(CompletionOfTheStore, AsksTheStoreThatTheLineNames) {
    ASSERT_THAT(run({"card", "insert", "3"}), Prints(""));
    const std::string name = environment().at("OX_MOM_STORE");
    for (const std::string option : {"--store ", "-s ", "--store="}) {
        EXPECT_EQ(completed(option + name + " explain "), Names{"3"}) << option;
        EXPECT_EQ(completed("explain " + option + name + " "), Names{"3"}) << option;
        EXPECT_NE(completed("explain " + option + "unix:///nonexistent ", environment()), Names{"3"}) << option;
    }
}

// Without an option for a scope a URL is the device's, and another's capability is addressed by its key.
TEST_F(CompletionOfTheStore, OffersTheUrlsOfTheScope) {
    ASSERT_THAT(run({"set", "/of/device", "--int", "1"}), Prints(""));
    ASSERT_THAT(run({"set", "/of/fabric", "--class", "fab", "--int", "1"}), Prints(""));
    ASSERT_THAT(run({"set", "/of/card", "--fe", "17", "--int", "1"}), Prints(""));
    ASSERT_THAT(run({"set", "/of/other", "--fe", "18", "--int", "1"}), Prints(""));
    ASSERT_THAT(run({"set", "/of/module", "--cm", "17", "--int", "1"}), Prints(""));
    EXPECT_EQ(completed("get /", environment()), Names{"/of/device"});
    EXPECT_EQ(completed("get --fe 17 ", environment()), Names{"/of/card"});
    EXPECT_EQ(completed("get --fe=0x12 /", environment()), Names{"/of/other"});
    EXPECT_EQ(completed("del --cm 17 /", environment()), Names{"/of/module"});
    EXPECT_EQ(completed("set --class fab /", environment()), Names{"/of/fabric"});
    EXPECT_EQ(completed("wait --class cm /", environment()), Names{""});
    EXPECT_EQ(completed("get cap_fab_t", environment()), (Names{"cap_fab_table:", "cap_fab_table:/of/fabric"}));
    EXPECT_EQ(completed("get --fe 17 /of/card --field st", environment()), Names{"str_value"}) << "it has no state";
    EXPECT_EQ(completed("get --fe x /", environment()), Names{""});
}

TEST_F(CompletionOfTheStore, KnowsNodesOfAnyRecord) {
    ASSERT_THAT(run({"card", "insert", "3"}), Prints(""));
    ASSERT_THAT(run({"check", "4", "deny"}), Prints(""));
    ASSERT_THAT(run({"node", "0x80000005", "ready"}), Prints(""));
    EXPECT_EQ(completed("explain ", environment()), (Names{"3", "4", "0x80000005"}));
}

// A silent server, and an environment that would have other requests wait for it for a minute.
TEST_F(CompletionOfTheStore, WaitsForNoStore) {
    server().pause();
    Environment patient = environment();
    patient["OX_MOM_TIMEOUT_MS"] = "60000";
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(completed("get cap_fe", patient), Names{"cap_fe_ready:"});
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
    server().resume();
}

TEST(Completion, IsQuietWithoutAStore) {
    EXPECT_EQ(completed("get cap_fe"), Names{"cap_fe_ready:"});
    EXPECT_EQ(completed("get cap_fe", {{"OX_MOM_STORE", "unix:///nonexistent"}}), Names{"cap_fe_ready:"});
}

TEST(Version, IsTheProjects) {
    EXPECT_THAT(run({"--version"}), Prints(std::string("trel_capctl ") + CAPCTL_VERSION + "\n"));
}

}  // namespace

}  // namespace capctl_test
