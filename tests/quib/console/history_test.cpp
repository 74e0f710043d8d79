// The history's file, by the variables that name it and by what may become of it.
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "console_test.h"
#include "fake_module.h"
#include "terminal.h"

namespace console_test {

namespace {

class HistoryFile : public ConsoleTest {
protected:
    // Types one line at the prompt; returns all that the terminal showed.
    std::string type(const std::string &line, const Environment &more) {
        Environment all = environment();
        for (const auto &[name, value] : more) {
            all[name] = value;
        }
        Terminal terminal({"demo"}, all);
        std::string shown = terminal.expect(kPrompt);
        terminal.type(line + kReturn);
        shown += terminal.expect("[" + line + "]");
        terminal.type_at_prompt(kControlD);
        EXPECT_EQ(terminal.finish(), 0);
        return shown;
    }

    FakeModule demo{socket("demo"), with_commands("")};
};

TEST_F(HistoryFile, IsWhereTheEnvironmentSays) {
    type("one", {{"XDG_STATE_HOME", home() + "/state"}});
    EXPECT_EQ(read_file(home() + "/state/quib/history"), "one\n");
    type("two", {{"XDG_STATE_HOME", home() + "/state"}, {"QUIB_HISTORY", home() + "/mine"}});
    EXPECT_EQ(read_file(home() + "/mine"), "two\n");
    type("three", {{"XDG_STATE_HOME", ""}, {"QUIB_HISTORY", ""}});
    EXPECT_EQ(read_file(home() + "/.local/state/quib/history"), "three\n");
}

TEST_F(HistoryFile, ThatOthersCanReadIsClosedToThem) {
    const std::string path = home() + "/mine";
    std::ofstream(path) << "zero\n";
    chmod(path.c_str(), 0644);
    type("one", {{"QUIB_HISTORY", path}});
    EXPECT_EQ(read_file(path), "zero\none\n");
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0600));
}

TEST_F(HistoryFile, KeepsWhatSeveralPromptsAdd) {
    const std::string path = home() + "/mine";
    Environment both = environment();
    both["QUIB_HISTORY"] = path;
    Terminal first({"demo"}, both);
    Terminal second({"demo"}, both);
    second.expect(kPrompt);
    first.type_at_prompt("one\r");
    first.expect("[one]");
    second.type("two\r");
    second.expect("[two]");
    first.type_at_prompt("three\r");
    first.expect("[three]");
    EXPECT_EQ(read_file(path), "one\ntwo\nthree\n");
}

TEST_F(HistoryFile, ThatCannotBeWrittenIsComplainedOfOnce) {
    const std::string shown = type("one", {{"QUIB_HISTORY", "/proc/nowhere/history"}});
    EXPECT_THAT(shown, testing::HasSubstr("quib: the history is not kept: /proc/nowhere/history: "));
}

TEST_F(HistoryFile, MayBeNoFile) {
    const auto before = std::filesystem::status("/dev/null").permissions();
    EXPECT_THAT(type("one", {{"QUIB_HISTORY", "/dev/null"}}), testing::Not(testing::HasSubstr("not kept")));
    EXPECT_EQ(std::filesystem::status("/dev/null").permissions(), before);
}

}  // namespace

}  // namespace console_test
