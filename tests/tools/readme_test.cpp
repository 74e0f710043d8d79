// The walk-through in README.md, as it is printed there.
#include <fstream>
#include <iterator>
#include <sstream>

#include "capctl_test.h"

namespace capctl_test {

namespace {

// The text of the block that begins with this line, without its fences.
std::string block_after(const std::string &text, const std::string &first) {
    const size_t from = text.find(first);
    return from == std::string::npos ? "" : text.substr(from, text.find("```", from) - from);
}

std::string readme() {
    std::ostringstream text;
    text << std::ifstream(std::string(CAPCTL_SOURCES) + "/../README.md").rdbuf();
    return text.str();
}

class Readme : public ServerTest {};

std::vector<std::string> words_of(const std::string &line) {
    std::istringstream words(line);
    return {std::istream_iterator<std::string>(words), std::istream_iterator<std::string>()};
}

TEST(FirstLook, NeedsNoServer) {
    const std::string line = block_after(readme(), "trel_capctl board --play");
    Arguments arguments = words_of(line.substr(0, line.find('#')));
    ASSERT_FALSE(arguments.empty());
    arguments.erase(arguments.begin());
    arguments.insert(arguments.end(), {"--listen", "127.0.0.1:0"});
    Program program(capctl(arguments));
    EXPECT_TRUE(program.prints("http://127.0.0.1:"));
}

TEST_F(Readme, WalksThroughAChassisAsItSays) {
    const std::string shell = block_after(readme(), "redis-server --port 0");
    EXPECT_THAT(shell, testing::HasSubstr("\ntrel_capctl play boot "));
    ASSERT_EQ(run({"play", "boot", "--speed", "max"}).status, 0);
    std::istringstream session(block_after(readme(), "$ trel_capctl card insert"));
    std::string shown;
    std::string printed;
    int commands = 0;
    for (std::string line; std::getline(session, line);) {
        const std::string prompt = "$ trel_capctl ";
        if (!line.starts_with(prompt)) {
            shown += line + "\n";
            continue;
        }
        const Outcome outcome = run(words_of(line.substr(prompt.size())));
        EXPECT_EQ(outcome.err, "") << line;
        printed += outcome.out;
        ++commands;
    }
    EXPECT_EQ(commands, 4);
    EXPECT_EQ(printed, shown);
}

}  // namespace

}  // namespace capctl_test
