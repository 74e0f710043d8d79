// Finding commands: help, beginnings of names, names that are mistyped.
#include "console.h"
#include "handlers.h"

namespace quib_test {
namespace {

class LookupTest : public ConsoleTest {
protected:
    void SetUp() override {
        ConsoleTest::SetUp();
        ASSERT_EQ(register_command("log-level", "%d", number), 0);
        ASSERT_EQ(register_command("dump_status", "void", nothing), 0);
        ASSERT_EQ(register_command("dump_node", "void", nothing), 0);
        ASSERT_EQ(register_command("dump", "void", nothing), 0);
        ASSERT_EQ(register_command("ce_get", "node=%d url=%s", number_text), 0);
    }
};

TEST_F(LookupTest, HelpListsTheCommandsWithTheirArguments) {
    EXPECT_EQ(ask("help"), printed("log-level   NUMBER\n"
                                   "dump_status\n"
                                   "dump_node\n"
                                   "dump\n"
                                   "ce_get      node=NUMBER url=TEXT\n"
                                   "store                             shows how the program stands with its store\n"
                                   "help        [COMMAND]             lists the commands, or tells of one\n"));
}

TEST_F(LookupTest, HelpShowsOneCommand) {
    EXPECT_EQ(ask("help ce_get"), printed("ce_get node=NUMBER url=TEXT\n"));
    EXPECT_EQ(ask("help dump"), printed("dump\n"));
    EXPECT_EQ(ask("help c"), printed("ce_get node=NUMBER url=TEXT\n"));
    EXPECT_EQ(ask("help help"), printed("help [COMMAND]\nlists the commands, or tells of one\n"));
    EXPECT_EQ(ask("help nonsense"), refused("unknown command \"nonsense\"; help lists the commands"));
    EXPECT_EQ(ask("help dump_"), refused("\"dump_\" is ambiguous: dump_status, dump_node"));
    EXPECT_EQ(ask("help dump dump_node"), refused("\"dump_node\" is one argument too many; usage: help [COMMAND]"));
}

TEST_F(LookupTest, HelpTellsWhatACommandIsFor) {
    EXPECT_EQ(quib_describe_mod_cmd("m", "dump_node", "lists the nodes"), 0);
    EXPECT_EQ(quib_describe_mod_cmd("m", "ce_get", "reads something"), 0);
    EXPECT_EQ(quib_describe_mod_cmd("m", "ce_get", "reads a value"), 0);
    EXPECT_EQ(ask("help"), printed("log-level   NUMBER\n"
                                   "dump_status\n"
                                   "dump_node                         lists the nodes\n"
                                   "dump\n"
                                   "ce_get      node=NUMBER url=TEXT  reads a value\n"
                                   "store                             shows how the program stands with its store\n"
                                   "help        [COMMAND]             lists the commands, or tells of one\n"));
    EXPECT_EQ(ask("help ce_get"), printed("ce_get node=NUMBER url=TEXT\nreads a value\n"));
    ASSERT_EQ(register_command("ce_get", "%d", number), 0);
    EXPECT_EQ(ask("help ce_get"), printed("ce_get NUMBER\n")) << "another command now";
    EXPECT_EQ(ask(".commands"), printed("log-level\t%d\ndump_status\tvoid\ndump_node\tvoid\ndump\tvoid\nce_get\t%d\n"));
}

TEST_F(LookupTest, ForCompletionThereAreNamesAndFormats) {
    EXPECT_EQ(ask(".commands"), printed("log-level\t%d\ndump_status\tvoid\ndump_node\tvoid\ndump\tvoid\n"
                                        "ce_get\tnode=%d url=%s\n"));
}

TEST_F(LookupTest, AnEmptyLineDoesNothing) {
    for (const char *line : {"", " ", "\t", "\r", " \t \r"}) {
        EXPECT_EQ(ask(line), printed("")) << line;
    }
    EXPECT_THAT(take_calls(), testing::IsEmpty());
}

TEST_F(LookupTest, TheBeginningOfANameIsEnoughWhenNoOtherBeginsSo) {
    EXPECT_EQ(ask("l 3"), printed(""));
    EXPECT_EQ(ask("dump_s"), printed(""));
    EXPECT_EQ(ask("ce 1 /a"), printed(""));
    EXPECT_THAT(take_calls(), testing::ElementsAre("number 3", "nothing", "number_text 1 /a"));
    EXPECT_EQ(ask("h c"), printed("ce_get node=NUMBER url=TEXT\n"));
}

TEST_F(LookupTest, AWholeNameIsMeantThoughOthersBeginSo) {
    EXPECT_EQ(ask("dump"), printed(""));
    EXPECT_THAT(take_calls(), testing::ElementsAre("nothing"));
}

TEST_F(LookupTest, AnAmbiguousBeginningListsWhatItMayMean) {
    EXPECT_EQ(ask("d"), refused("\"d\" is ambiguous: dump_status, dump_node, dump"));
    EXPECT_EQ(ask("dump_"), refused("\"dump_\" is ambiguous: dump_status, dump_node"));
    ASSERT_EQ(register_command("hello", "void", nothing), 0);
    EXPECT_EQ(ask("hel"), refused("\"hel\" is ambiguous: hello, help"));
    EXPECT_THAT(take_calls(), testing::IsEmpty());
}

TEST_F(LookupTest, AMistypedNameIsAnsweredWithTheNearest) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"dmup_node", "dump_node"},
        {"dump_nodes", "dump_node"},
        {"dump_stats", "dump_status"},
        {"loglevel", "log-level"},
        {"log_level", "log-level"},
        {"ce_gte", "ce_get"},
        {"jelp", "help"},
        {"Dump", "dump"},
        {"node", "dump_node"},
        {"level", "log-level"},
    };
    for (const auto &[typed, meant] : cases) {
        EXPECT_EQ(ask(typed), refused("unknown command \"" + typed + "\"; did you mean " + meant + "?"));
    }
    ASSERT_EQ(register_command("bump", "void", nothing), 0);
    EXPECT_EQ(ask("lump"), refused("unknown command \"lump\"; did you mean dump, bump?"));
    EXPECT_THAT(take_calls(), testing::IsEmpty());
}

TEST_F(LookupTest, ANameThatIsLikeNoneIsAnsweredWithHelp) {
    for (const std::string typed : {"reboot", "''", "?"}) {
        const std::string name = typed == "''" ? "" : typed;
        EXPECT_EQ(ask(typed), refused("unknown command \"" + name + "\"; help lists the commands"));
    }
    EXPECT_EQ(ask(".commands 1").code, 2);
    const std::string endless(3000, 'd');
    EXPECT_EQ(ask(endless), refused("unknown command \"" + endless.substr(0, 60) + "...\"; help lists the commands"));
}

TEST_F(LookupTest, AModuleWithoutCommandsHasHelpToo) {
    ASSERT_EQ(quib_lib_init(client(), "empty"), 0);
    Operator at_empty = connect("empty");
    EXPECT_EQ(ask(at_empty, "help"), printed("store            shows how the program stands with its store\n"
                                             "help  [COMMAND]  lists the commands, or tells of one\n"));
    EXPECT_EQ(ask(at_empty, "dump"), refused("unknown command \"dump\"; help lists the commands"));
}

}  // namespace
}  // namespace quib_test
