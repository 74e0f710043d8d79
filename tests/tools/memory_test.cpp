// Memory that runs out, at the Nth allocation, once or from then on: every verb ends with what it was asked for, or
// with a message and a status.
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "capctl_test.h"
#include "parameter_name.h"

namespace capctl_test {

namespace {

constexpr int kFailed = 7;

// {DUMP}, {NEW} and {PORT} stand for a dump of the store, a file that is not there, and a port that is taken.
struct Command {
    std::string name;
    Arguments arguments;
    int status = 0;  // when there is memory
    std::string input = {};

    friend std::ostream &operator<<(std::ostream &out, const Command &command) { return out << command.name; }
};

const std::vector<Command> kCommands = {
    {"get", {"get", "/a"}},
    {"set", {"set", "/a", "--int", "4"}},
    {"del", {"del", "/none"}, 1},
    {"ls", {"ls"}},
    {"watch", {"watch", "--count", "0"}},
    {"wait", {"wait", "node", "17", "ready", "--timeout", "30"}},
    {"explain", {"explain", "17"}},
    {"card", {"card", "insert", "18"}},
    {"check", {"check", "17", "pass"}},
    {"node", {"node", "17", "ready"}},
    {"ready", {"ready", "glb", "on"}},
    {"board", {"board", "--listen", "127.0.0.1:{PORT}"}, kFailed},
    {"dump", {"dump", "--output", "ndjson"}},
    {"load", {"load", "{DUMP}"}},
    {"diff", {"diff", "{DUMP}", "{DUMP}"}},
    {"decode", {"decode", "cap_fe_ready", "--hex"}, 0, "2a04 0803 1004 3001"},
    {"play", {"play", "late_check", "--speed", "max"}},
    {"record", {"record", "{NEW}", "--duration", "0.001"}},
    {"test", {"test", "late_check"}},
    {"complete", {"complete", "g"}},
    {"help", {"--help"}},
    {"mistake", {"gte", "/a"}, 2},
};

std::string contents(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

// Times differ from run to run.
std::string without_numbers(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c) != 0; }, '#');
    return text;
}

test_support::RedisOptions with_port() {
    test_support::RedisOptions options;
    options.tcp = true;
    return options;
}

class Memory : public ServerTest, public testing::WithParamInterface<Command> {
protected:
    Memory() : ServerTest(with_port()) {
        for (const Arguments &arguments : std::vector<Arguments>{{"card", "insert", "17", "--class", "lc"},
                                                                 {"check", "17", "pass"},
                                                                 {"node", "17", "ready"},
                                                                 {"set", "/a", "--int", "4"},
                                                                 {"ready", "glb", "on"}}) {
            EXPECT_EQ(run(arguments).status, 0);
        }
        std::ofstream(dump()) << run({"dump", "--output", "ndjson"}).out;
    }

    std::string dump() const { return directory_.file("dump.ndjson"); }
    std::string new_file() const { return directory_.file("new"); }

    // which: as the preloaded object takes it.
    Outcome run_short(const std::string &which) const {
        Environment environment = ServerTest::environment();
        environment["LD_PRELOAD"] = FAILING_ALLOCATIONS;
        environment["FAIL_ALLOCATION"] = which;
        environment["COUNT_ALLOCATIONS"] = directory_.file("count");
        Launch launch = capctl({}, environment);
        launch.input = GetParam().input;
        for (std::string word : GetParam().arguments) {
            replace(word, "{DUMP}", dump());
            replace(word, "{NEW}", new_file());
            replace(word, "{PORT}", std::to_string(port()));
            launch.arguments.push_back(word);
        }
        std::filesystem::remove(new_file());
        return Program(launch).finish();
    }

    int allocations() const { return std::stoi(contents(directory_.file("count"))); }
    std::string recorded() const { return without_numbers(contents(new_file())); }

private:
    static void replace(std::string &word, const std::string &what, const std::string &by) {
        if (const size_t at = word.find(what); at != std::string::npos) {
            word.replace(at, what.size(), by);
        }
    }

    test_support::PrivateDirectory directory_;
};

// All of them take a minute a verb. Most are of reading the command line, the same for every verb: each verb begins
// with another one, and the last ones, its own, stand closer.
std::vector<int> allocations_to_fail(int count, size_t of_verb) {
    constexpr int kStep = 401;
    constexpr int kOwnStep = 29;
    constexpr int kOwn = 400;
    const bool all = std::getenv("TREL_CAP_TORTURE") != nullptr;
    std::vector<int> chosen;
    for (int nth = all ? 1 : 1 + static_cast<int>(of_verb) * 17; nth <= count; nth += all                  ? 1
                                                                                      : nth + kOwn < count ? kStep
                                                                                                           : kOwnStep) {
        chosen.push_back(nth);
    }
    return chosen;
}

TEST_P(Memory, ThatRunsOutIsSaidInAMessageAndAStatus) {
    const Outcome usual = run_short("0");
    ASSERT_EQ(usual.status, GetParam().status) << usual;
    const std::string usual_record = recorded();
    const auto of_verb =
        static_cast<size_t>(std::find_if(kCommands.begin(), kCommands.end(),
                                         [](const Command &each) { return each.name == GetParam().name; }) -
                            kCommands.begin());
    int failed = 0;
    int broke_off = 0;  // recordings
    for (const int nth : allocations_to_fail(allocations(), of_verb)) {
        for (const char *length : {"", "+"}) {
            const Outcome outcome = run_short(std::to_string(nth) + length);
            SCOPED_TRACE("allocation " + std::to_string(nth) + length);
            EXPECT_TRUE(outcome.status == usual.status || outcome.status == kFailed) << outcome;
            if (outcome.status == usual.status && usual.status != kFailed) {
                EXPECT_EQ(without_numbers(outcome.out), without_numbers(usual.out));
                EXPECT_EQ(recorded(), usual_record);
            } else {
                ++failed;
                EXPECT_NE(outcome.err.find("trel_capctl: "), std::string::npos) << outcome;
                EXPECT_TRUE(outcome.err.ends_with("\n")) << outcome;
                EXPECT_TRUE(recorded().empty() || recorded().ends_with("\n")) << "half a line";
                broke_off += recorded().ends_with("# The recording broke off here.\n") ? 1 : 0;
            }
        }
    }
    EXPECT_GT(failed, 0) << "no allocation failed";
    EXPECT_EQ(broke_off > 0, GetParam().name == "record");
}

INSTANTIATE_TEST_SUITE_P(Verbs, Memory, testing::ValuesIn(kCommands), test_support::name_of);

}  // namespace

}  // namespace capctl_test
