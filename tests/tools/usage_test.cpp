// Command lines that are wrong: nothing is done, standard error says what is wrong, the status is 2.
#include <fstream>

#include "capctl_test.h"
#include "private_directory.h"

namespace capctl_test {

namespace {

// A store that is never reached.
const Environment kNowhere = {{"OX_MOM_STORE", "unix:///nonexistent/socket"}};

Outcome run_nowhere(const Arguments &arguments) { return run(arguments, kNowhere); }

TEST(Usage, NeedsAKnownVerb) {
    EXPECT_THAT(run_nowhere({}), FailsWith(2, "a verb is missing\nTry trel_capctl --help."));
    EXPECT_THAT(run_nowhere({"fetch", "/a"}), FailsWith(2, "fetch"));
    EXPECT_THAT(run_nowhere({"GET", "/a"}), FailsWith(2, "GET"));
    EXPECT_THAT(run_nowhere({"fetch", "/a"}), FailsWith(2, "unknown verb \"fetch\"\nTry trel_capctl --help."));
    EXPECT_THAT(run_nowhere({"gte", "/a"}), FailsWith(2, "unknown verb \"gte\"; did you mean get?\nTry"));
    EXPECT_THAT(run_nowhere({"gett", "/a", "--int"}), FailsWith(2, "unknown verb \"gett\"; did you mean get?\nTry"));
    EXPECT_THAT(run_nowhere({"--output", "json", "raedy", "glb"}), FailsWith(2, "did you mean ready?"));
}

TEST(Usage, NeedsAUrl) {
    const std::string missing = "URL is missing: a capability's address, at most 255 bytes, or any record's key\nTry";
    EXPECT_THAT(run_nowhere({"get"}), FailsWith(2, missing + " trel_capctl get --help."));
    EXPECT_THAT(run_nowhere({"set", "--int", "1"}), FailsWith(2, missing + " trel_capctl set --help."));
    EXPECT_THAT(run_nowhere({"get", "/a", "/b"}), FailsWith(2, "\"/b\" is one argument too many; get takes URL\nTry"));
    EXPECT_THAT(run_nowhere({"board", "x"}), FailsWith(2, "\"x\" is one argument too many; board takes none"));
    EXPECT_THAT(run_nowhere({"card", "insert"}), FailsWith(2, "NODE is missing: the card's node"));
}

// Of the verb at hand, whoever has found the mistake; a mistake in a scenario's file is not the command line's.
TEST(Usage, EndsWithWhereHelpIsToBeHad) {
    for (const Arguments &arguments : std::vector<Arguments>{{"get"},
                                                             {"set", "/a"},
                                                             {"set", "/a", "--int", "x"},
                                                             {"ready", "lc"},
                                                             {"explain", "seventeen"},
                                                             {"watch", "--timeout", "soon"},
                                                             {"play"},
                                                             {"play", "bot"},
                                                             {"diff"},
                                                             {"ls", "--type", "cap_tabel"},
                                                             {"get", "/a", "--store", "foo"}}) {
        const Outcome outcome = run_nowhere(arguments);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_THAT(outcome.err, testing::EndsWith("\nTry trel_capctl " + arguments[0] + " --help.\n"));
    }
    const test_support::PrivateDirectory directory;
    std::ofstream(directory.file("bad.yaml")) << "steps: 3\n";
    EXPECT_THAT(run_nowhere({"play", directory.file("bad.yaml")}).err, testing::Not(testing::HasSubstr("--help")));
}

TEST(Usage, SuggestsAVerbWhereHelpIsAskedFor) {
    for (const Arguments &arguments : {Arguments{"gte", "--help"}, {"-h", "gte"}, {"help", "gte"}}) {
        EXPECT_THAT(run_nowhere(arguments), FailsWith(2, "unknown verb \"gte\"; did you mean get?\nTry"));
    }
    EXPECT_THAT(run_nowhere({"--help", "frobnicate"}), FailsWith(2, "unknown verb \"frobnicate\"\nTry"));
    EXPECT_THAT(run_nowhere({"help", "frobnicate"}), FailsWith(2, "\"frobnicate\"\nTry trel_capctl --help.\n"));
}

TEST(Usage, LimitsAUrlTo255Bytes) {
    const std::string too_long(256, 'u');
    EXPECT_THAT(run_nowhere({"get", too_long}), FailsWith(2, "URL: at most 255 bytes expected, not 256"));
    EXPECT_THAT(run_nowhere({"set", too_long, "--int", "1"}), FailsWith(2, "at most 255 bytes"));
    EXPECT_EQ(run_nowhere({"get", std::string(255, 'u')}).status, 3);
}

TEST(Usage, WritesNothingWithoutAUrl) {
    EXPECT_THAT(run_nowhere({"set", "", "--int", "1"}), FailsWith(2, "URL: a capability's address expected, not \"\""));
}

// The library has no function that would read it.
TEST(Usage, WritesNoStringOfTheDevice) {
    EXPECT_THAT(run_nowhere({"set", "/a", "--str"}), FailsWith(2, "--str"));
    for (const Arguments &value : {Arguments{"--str", "x"}, {"--str", ""}, {"--str=x"}, {"--int", "1", "--str", "x"}}) {
        Arguments arguments = {"set", "/a"};
        arguments.insert(arguments.end(), value.begin(), value.end());
        EXPECT_THAT(run_nowhere(arguments), FailsWith(2, "--str: applications read strings of card nodes only"));
    }
}

TEST(Usage, NeedsExactlyOneValueToSet) {
    EXPECT_THAT(run_nowhere({"set", "/a"}),
                FailsWith(2, "a value is missing: --bool, --int, --state or FIELD=VALUE expected\n"));
    EXPECT_THAT(run_nowhere({"set", "/a", "--fe", "3", "--state", "1"}),
                FailsWith(2, "--state: a capability of a node has no state; --bool, --int or --str expected\n"));
    EXPECT_THAT(run_nowhere({"set", "/a", "--fe", "3"}),
                FailsWith(2, "a value is missing: --bool, --int, --str or FIELD=VALUE expected\n"));
    EXPECT_THAT(run_nowhere({"set", "cap_glb_state"}), FailsWith(2, "a value is missing: FIELD=VALUE expected\n"));
    EXPECT_THAT(run_nowhere({"set", "/a", "--bool", "1", "--int", "2"}),
                FailsWith(2, "--bool and --int exclude each other; give one of them\n"));
    EXPECT_THAT(run_nowhere({"set", "/a", "--int", "1", "--int", "2"}), FailsWith(2, "--int: it was given 2 times"));
    EXPECT_THAT(run_nowhere({"set", "/a", "--int"}), FailsWith(2, "--int: N is missing"));
    EXPECT_THAT(run_nowhere({"set", "/a", "--pri", "1"}), FailsWith(2, "unknown option \"--pri\""));
    EXPECT_THAT(run_nowhere({"set", "/a", "1"}), FailsWith(2, "1"));
}

TEST(Usage, AllowsOneValueToGet) {
    EXPECT_THAT(run_nowhere({"get", "/a", "--int", "--str", "--field", "pri"}),
                FailsWith(2, "--int, --str and --field exclude each other; give one of them\nTry"));
    EXPECT_THAT(run_nowhere({"get", "/a", "--int=3"}), FailsWith(2, "--int was given a value, and takes none"));
    EXPECT_THAT(run_nowhere({"get", "/a", "--int", "3"}), FailsWith(2, "3"));
}

TEST(Usage, ReadsIntegersStrictly) {
    for (const std::string bad : {"12x", "x", "", " 1", "1 ", "+1", "0x10", "1.0", "1e3", "2147483648", "-2147483649",
                                  "99999999999999999999", "-", "--1", "true"}) {
        EXPECT_THAT(run_nowhere({"set", "/a", "--int", bad}),
                    FailsWith(2, "--int: a whole number from -2147483648 to 2147483647 expected, not \"" + bad + "\""))
            << bad;
    }
}

TEST(Usage, ReadsBooleansStrictly) {
    for (const std::string bad : {"2", "-1", "", "true", "yes", "01", "1 ", "on"}) {
        for (const std::string option : {"--bool", "--state"}) {
            EXPECT_THAT(run_nowhere({"set", "/a", option, bad}),
                        FailsWith(2, option + ": 0 or 1 expected, not \"" + bad + "\""));
        }
    }
}

// Nothing is printed in another format than was asked for.
TEST(Usage, RefusesAFormatThatAVerbDoesNotHave) {
    for (const auto &[arguments, what] : std::vector<std::pair<Arguments, std::string>>{
             {{"explain", "3", "--from", "/dev/null"}, "explain NODE prints text, json or ndjson"},
             {{"diff", "/dev/null", "/dev/null"}, "diff prints text, json or ndjson"},
             {{"get", "/a", "--int"}, "get of one value prints text, json or ndjson"},
             {{"watch"}, "watch prints text, json or ndjson"},
             {{"wait", "/a"}, "wait prints text, json or ndjson"},
             {{"load", "/dev/null"}, "load prints text, json or ndjson"},
             {{"board"}, "board prints text, json or ndjson"},
             {{"play", "--list"}, "play prints text, json or ndjson"},
             {{"record", "-"}, "record prints text"},
             {{"test", "boot"}, "test, which has --format, prints text"},
             {{"help"}, "help prints text"}}) {
        Arguments words = arguments;
        words.insert(words.end(), {"--output", "table"});
        EXPECT_THAT(run_nowhere(words), FailsWith(2, "--output: " + what + ", not table\nTry"));
    }
    EXPECT_THAT(run_nowhere({"record", "-", "--output", "json"}), FailsWith(2, "record prints text, not json"));
}

TEST(Usage, KnowsTheFormats) {
    EXPECT_THAT(run_nowhere({"get", "/a", "--output", "xml"}),
                FailsWith(2, "--output: text, table, json or ndjson expected, not \"xml\"\nTry"));
    EXPECT_THAT(run_nowhere({"get", "/a", "--output", "jsn"}), FailsWith(2, "not \"jsn\"; did you mean json"));
    EXPECT_THAT(run_nowhere({"get", "/a", "--color", "red"}),
                FailsWith(2, "--color: auto, always or never expected, not \"red\""));
    EXPECT_THAT(run_nowhere({"get", "/a", "--output", "JSON"}), FailsWith(2, "JSON"));
    EXPECT_THAT(run_nowhere({"get", "/a", "--output"}), FailsWith(2, "--output"));
}

TEST(Usage, RefusesUnknownOptions) {
    EXPECT_THAT(run_nowhere({"get", "/a", "--verbose"}), FailsWith(2, "--verbose"));
    EXPECT_THAT(run_nowhere({"--verbose", "get", "/a"}), FailsWith(2, "--verbose"));
    EXPECT_THAT(run_nowhere({"get", "/a", "--in"}), FailsWith(2, "unknown option \"--in\"; did you mean --int?\nTry"));
    EXPECT_THAT(run_nowhere({"get", "/a", "--stroe", "x"}), FailsWith(2, "\"--stroe\"; did you mean --store?\nTry"));
    EXPECT_THAT(run_nowhere({"set", "/a", "--boool=1"}), FailsWith(2, "\"--boool\"; did you mean --bool?\nTry"));
    EXPECT_THAT(run_nowhere({"set", "/a", "--prio", "1"}), testing::Not(FailsWith(2, "did you mean")));
    EXPECT_THAT(run_nowhere({"get", "/a", "--frob\x1b[2J"}), FailsWith(2, "\"--frob\\x1b[2J\""));
    EXPECT_THAT(run_nowhere({"ready", "glb", "--int", "1"}), FailsWith(2, "--int"));
}

// Before what is missing: most likely it is the option that has taken its place.
TEST(Usage, NamesAnUnknownOptionFirst) {
    for (const Arguments &arguments : std::vector<Arguments>{
             {"get", "-x"}, {"-x", "get"}, {"get", "-x", "/a"}, {"card", "insert", "-x"}, {"explain", "-x"}}) {
        EXPECT_THAT(run_nowhere(arguments), FailsWith(2, "unknown option \"-x\"\nTry"));
    }
    EXPECT_THAT(run_nowhere({"get", "--zzz"}), FailsWith(2, "unknown option \"--zzz\"\nTry"));
}

// Of a variable that is not set, as a rule: as if the option were not there would be something else than was meant.
TEST(Usage, RefusesAnEmptyValueByItsOption) {
    const std::vector<std::pair<Arguments, std::string>> cases = {
        {{"get", "/a", "-s", ""}, "--store: no store is named: NAME expected, not \"\""},
        {{"get", "/a", "--class", ""}, "--class: cm, fab or hps expected, not \"\""},
        {{"get", "/a", "--fe", ""}, "--fe: NODE expected, not \"\""},
        {{"get", "/a", "--field", ""}, "--field: NAME expected, not \"\""},
        {{"card", "insert", "3", "--class", ""}, "--class: lc, fab, cm or hps expected, not \"\""},
        {{"card", "insert", "3", "--slot", ""}, "--slot: N expected, not \"\""},
        {{"card", "insert", "3", "--name", ""}, "--name: TEXT expected, not \"\""},
        {{"node", "3", "ready", "--real-time", ""}, "--real-time: on or off expected, not \"\""},
        {{"explain", "--from", ""}, "--from: FILE expected, not \"\""},
        {{"wait", "/a", "--timeout", ""}, "--timeout: SECONDS expected, not \"\""},
        {{"ls", "--type", ""}, "--type: TYPE expected, not \"\""},
        {{"play", "boot", "--times", ""}, "--times: a whole number from 1 expected, not \"\""},
        {{"board", "--play", ""}, "--play: SCENARIO expected, not \"\""},
        {{"board", "--listen", ""}, "--listen \"\": HOST:PORT"},
        {{"test", "boot", "--run", ""}, "--run: PROGRAM expected, not \"\""}};
    for (const auto &[arguments, message] : cases) {
        EXPECT_THAT(run_nowhere(arguments), FailsWith(2, message));
    }
}

// What has no effect is not what was meant.
TEST(Usage, RefusesAnOptionWithoutEffect) {
    for (const Arguments &option : std::vector<Arguments>{{"--name", "x"}, {"--class", "lc"}, {"--slot", "3"}}) {
        EXPECT_THAT(run_nowhere({"card", "remove", "3", option[0], option[1]}),
                    FailsWith(2, option[0] + ": remove takes the node only"));
    }
    EXPECT_THAT(run_nowhere({"check", "3", "withdraw", "--model", "3"}),
                FailsWith(2, "--model: withdraw takes the node only"));
    for (const char *option : {"--speed", "--started", "--settle", "--timeout"}) {
        EXPECT_THAT(run_nowhere({"test", "boot", option, "3"}),
                    FailsWith(2, std::string(option) + ": --run is missing, with the program to try\nTry"));
    }
    EXPECT_THAT(run_nowhere({"board", "--speed", "2"}), FailsWith(2, "--speed: --play is missing"));
}

TEST(Usage, SetsAFieldOnce) {
    EXPECT_THAT(run_nowhere({"set", "cap_fe_ready:3:900", "ready=1", "node_type=3", "ready=0"}),
                FailsWith(2, "\"ready\": it is given more than one value\nTry"));
    EXPECT_THAT(run_nowhere({"set", "card_info:0:0:1:0", "name=a", "name@-"}), FailsWith(2, "\"name\": it is given"));
    EXPECT_THAT(run_nowhere({"set", "card_info:0:0:1:0", "name@-", "serial@-"}),
                FailsWith(2, "\"serial@-\": standard input has one value"));
}

// The field, which may be the mistake, and then the file.
TEST(Usage, NamesTheFieldOfAFileThatIsNotThere) {
    EXPECT_THAT(run_nowhere({"set", "card_info:0:0:1:0", "name@nofile"}),
                FailsWith(7, "trel_capctl: name: \"nofile\": No such file or directory\n"));
    EXPECT_THAT(run_nowhere({"set", "card_info:0:0:1:0", "nam@nofile"}), FailsWith(2, "nam"));
    EXPECT_THAT(run_nowhere({"set", "card_info:0:0:1:0", "is_online@/dev/null"}),
                FailsWith(2, "is_online: 0, 1, false or true expected, not \"\""));
}

TEST(Usage, NeedsAStore) {
    const Arguments get = {"get", "/a"};
    EXPECT_THAT(run(get), FailsWith(2, "no store is named: give --store NAME, or set OX_MOM_STORE"));
    EXPECT_THAT(run(get, {{"OX_MOM_STORE", ""}}), FailsWith(2, "no store is named"));
    EXPECT_THAT(run({"get", "/a", "--store", ""}), FailsWith(2, "no store is named"));
    EXPECT_THAT(run({"get", "/a", "--store"}, kNowhere), FailsWith(2, "--store"));
}

// Nothing could ever be found there, and what is written would be gone at once.
TEST(Usage, RefusesAStoreOfItsOwn) {
    EXPECT_THAT(run({"get", "/a"}, {{"OX_MOM_STORE", "mem:"}}), FailsWith(2, "store \"mem:\""));
    EXPECT_THAT(run({"set", "/a", "--int", "1", "--store", "mem:demo"}), FailsWith(2, "store \"mem:demo\""));
}

TEST(Usage, RefusesAStoreThatIsNoName) {
    for (const char *bad : {"nonsense", "http://host", "redis://", "unix://"}) {
        EXPECT_THAT(run({"get", "/a", "--store", bad}), FailsWith(2, bad)) << bad;
    }
    EXPECT_THAT(run({"get", "/a", "--store", "nonsense"}),
                FailsWith(2, "store \"nonsense\": mem:, unix://, redis:// or sentinel:// expected\nTry"));
    EXPECT_THAT(run({"get", "/a", "--store", "/run/redis.sock"}), FailsWith(2, "; a socket's path follows unix://\n"));
}

}  // namespace

}  // namespace capctl_test
