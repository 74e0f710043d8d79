// quib alone: the list of modules.
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "console_test.h"
#include "fake_module.h"

namespace console_test {

namespace {

class List : public ConsoleTest {};

std::string own_program() { return std::filesystem::read_symlink("/proc/self/exe"); }

TEST_F(List, ShowsNameProcessAndProgram) {
    const FakeModule demo(socket("trel_cap_demo"), echo);
    const FakeModule other(socket("other"), echo);
    const std::string pid = std::to_string(getpid());
    const std::string gap(pid.size() > 3 ? pid.size() - 3 : 0, ' ');
    EXPECT_THAT(run({}), Prints("MODULE         PID" + gap + "  PROGRAM\n" +             //
                                "other          " + pid + "  " + own_program() + "\n" +  //
                                "trel_cap_demo  " + pid + "  " + own_program() + "\n"));
}

TEST_F(List, IsALineOfJsonForEachModule) {
    const FakeModule demo(socket("demo"), echo);
    const FakeModule strange(socket("a\"\xff"), echo);
    const Outcome outcome = run({"--output", "json"});
    EXPECT_EQ(outcome.status, 0);
    const size_t end = outcome.out.find('\n');
    EXPECT_EQ(nlohmann::json::parse(outcome.out.substr(0, end))["module"], "a\"\xef\xbf\xbd");
    EXPECT_EQ(nlohmann::json::parse(outcome.out.substr(end)),
              nlohmann::json({{"module", "demo"}, {"pid", getpid()}, {"program", own_program()}}));
    EXPECT_THAT(run({"-o", "text"}).out, testing::StartsWith("MODULE"));
}

TEST_F(List, LeavesOutWhatNobodyServes) {
    const FakeModule demo(socket("demo"), echo);
    leave_stale_socket(socket("stale"));
    std::filesystem::create_directory(socket("directory"));
    ASSERT_EQ(fclose(fopen(socket("file").c_str(), "w")), 0);
    const Outcome outcome = run({"--output=json"});
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 1) << outcome;
    EXPECT_THAT(outcome.out, testing::HasSubstr("\"demo\""));
}

TEST_F(List, OfNoModulesFails) {
    EXPECT_THAT(run({}), FailsWith(1, "no module in " + directory()));
    leave_stale_socket(socket("stale"));
    EXPECT_THAT(run({"--output", "json"}), FailsWith(1, "no module in " + directory()));
    std::filesystem::remove_all(directory());
    EXPECT_THAT(run({}), FailsWith(1, "no module in " + directory()));
}

TEST_F(List, OfNoDirectoryFails) {
    const Environment file = {{"QUIB_DIR", "/etc/passwd"}};
    EXPECT_THAT(Program(quib({}, file)).finish(), FailsWith(3, "/etc/passwd: Not a directory"));
}

TEST_F(List, ObeysNoTerminalCodes) {
    const FakeModule strange(socket("a\033[2J"), echo);
    EXPECT_THAT(run({}).out, testing::HasSubstr("\na?[2J  "));
}

TEST_F(List, LooksBelowTheRuntimeDirectory) {
    const FakeModule demo(socket("demo"), echo);
    const std::string above = std::filesystem::path(directory()).parent_path();
    for (const Environment &environment :
         {Environment{{"XDG_RUNTIME_DIR", above}}, {{"XDG_RUNTIME_DIR", above}, {"QUIB_DIR", ""}}}) {
        EXPECT_THAT(Program(quib({}, environment)).finish().out, testing::HasSubstr("\ndemo "));
    }
    EXPECT_THAT(Program(quib({}, {{"XDG_RUNTIME_DIR", above}, {"QUIB_DIR", "/nonexistent"}})).finish(),
                FailsWith(1, "/nonexistent"));
}

}  // namespace

}  // namespace console_test
