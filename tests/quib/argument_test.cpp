// Arguments: by name, in order, quoted, out of range, missing.
#include "console.h"
#include "handlers.h"

namespace quib_test {
namespace {

class ArgumentTest : public ConsoleTest {
protected:
    void SetUp() override {
        ConsoleTest::SetUp();
        ASSERT_EQ(register_command("nothing", "void", nothing), 0);
        ASSERT_EQ(register_command("number", "%d", number), 0);
        ASSERT_EQ(register_command("text", "%s", text), 0);
        ASSERT_EQ(register_command("get", "node=%d url=%s", number_text), 0);
        ASSERT_EQ(register_command("set", "url=%s val=%d", text_number), 0);
        ASSERT_EQ(register_command("half", "url=%s %d", text_number), 0);
        ASSERT_EQ(register_command("many", kManyFormat, many), 0);
    }

    // The one call that came of the line.
    std::string call_of(const std::string &line) const {
        const Answer answer = ask(line);
        const std::vector<std::string> calls = take_calls();
        EXPECT_EQ(answer, printed("")) << line;
        return calls.size() == 1 ? calls.front() : std::to_string(calls.size()) + " calls";
    }

    // The diagnostic that came of the line, and no call.
    std::string error_of(const std::string &line) const {
        const Answer answer = ask(line);
        EXPECT_THAT(take_calls(), testing::IsEmpty()) << line;
        EXPECT_EQ(answer.code, 2) << line;
        EXPECT_EQ(answer.output, "") << line;
        EXPECT_EQ(std::ranges::count(answer.errors, '\n'), 1) << answer.errors;
        return answer.errors;
    }
};

using Cases = std::vector<std::pair<std::string, std::string>>;

TEST_F(ArgumentTest, ReachTheHandler) {
    const Cases cases = {
        {"nothing", "nothing"},
        {"number 5", "number 5"},
        {"number -5", "number -5"},
        {"number 2147483647", "number 2147483647"},
        {"number -2147483648", "number -2147483648"},
        {"number 007", "number 7"},
        {"number 0x10", "number 16"},
        {"number 0X0000002f", "number 47"},
        {"number 0x7fffffff", "number 2147483647"},
        {"number 0xffffffff", "number -1"},
        {"get node=0x00000011 url=/a/b", "number_text 17 /a/b"},
        {"text 0x10", "text 0x10"},
        {"text a=b", "text a=b"},
        {"text /a?b=c", "text /a?b=c"},
        {"get 3 /a/b", "number_text 3 /a/b"},
        {"get node=3 url=/a/b", "number_text 3 /a/b"},
        {"get url=/a/b node=3", "number_text 3 /a/b"},
        {"get url=/a/b 3", "number_text 3 /a/b"},
        {"get 3 url=/a/b", "number_text 3 /a/b"},
        {"get /a/b node=3", "number_text 3 /a/b"},
        {"get node=-3 /a?b=c", "number_text -3 /a?b=c"},
        {"set url=a=b 1", "text_number a=b 1"},
        {"set 'url=x' 1", "text_number url=x 1"},
        {"set url= 1", "text_number  1"},
        {"set '' 1", "text_number  1"},
        {"half 1 url=/a", "text_number /a 1"},
        {"half /a 1", "text_number /a 1"},
        {"  get \t 3   /a  ", "number_text 3 /a"},
        {"many 1 2 3 4 5 6 7 8 9 10 11 12", "many 1 2 3 4 5 6 7 8 9 10 11 12"},
        {"many l=z k=-11 j=y i=9 h=x g=7 f=w e=5 d=v c=3 b=u a=-1", "many -1 u 3 v 5 w 7 x 9 y -11 z"},
    };
    for (const auto &[line, call] : cases) {
        EXPECT_EQ(call_of(line), call) << line;
    }
}

TEST_F(ArgumentTest, AreQuoted) {
    const Cases cases = {
        {"text 'a b'", "text a b"},
        {"text \"a b\"", "text a b"},
        {"text a\\ b", "text a b"},
        {"text 'a\"b\\c'", "text a\"b\\c"},
        {"text \"a'b\\\"c\\\\d\"", "text a'b\"c\\d"},
        {"text a'b c'd\" e\"", "text ab cd e"},
        {"text ''\"\"", "text "},
        {"text \\'", "text '"},
        {"get node=3 url='/a b'", "number_text 3 /a b"},
        {"get node='3' \"/a b\"", "number_text 3 /a b"},
        {"'number' 5", "number 5"},
        {"text \xc3\xa4\xff", "text \xc3\xa4\xff"},
    };
    for (const auto &[line, call] : cases) {
        EXPECT_EQ(call_of(line), call) << line;
    }
}

TEST_F(ArgumentTest, ThatAreWrongCallNothingAndAreNamed) {
    const std::string usage_of_get = "; usage: get node=NUMBER url=TEXT\n";
    const Cases cases = {
        {"nothing 1", "\"1\" is one argument too many; usage: nothing\n"},
        {"number", "argument 1 is missing; usage: number NUMBER\n"},
        {"number x", "argument 1: \"x\" is no number; usage: number NUMBER\n"},
        {"number ''", "argument 1: \"\" is no number; usage: number NUMBER\n"},
        {"number 1x", "argument 1: \"1x\" is no number; usage: number NUMBER\n"},
        {"number 0x", "argument 1: \"0x\" is no number; usage: number NUMBER\n"},
        {"number 0x1g", "argument 1: \"0x1g\" is no number; usage: number NUMBER\n"},
        {"number -0x10", "argument 1: \"-0x10\" is no number; usage: number NUMBER\n"},
        {"number 0x-1", "argument 1: \"0x-1\" is no number; usage: number NUMBER\n"},
        {"number 0x100000000", "argument 1: \"0x100000000\" is not within 0x0 and 0xffffffff; usage: number NUMBER\n"},
        {"number '1 '", "argument 1: \"1 \" is no number; usage: number NUMBER\n"},
        {"number --1", "argument 1: \"--1\" is no number; usage: number NUMBER\n"},
        {"number 1.5", "argument 1: \"1.5\" is no number; usage: number NUMBER\n"},
        {"number 2147483648",
         "argument 1: \"2147483648\" is not within -2147483648 and 2147483647; usage: number NUMBER\n"},
        {"number -2147483649",
         "argument 1: \"-2147483649\" is not within -2147483648 and 2147483647; usage: number NUMBER\n"},
        {"number 99999999999999999999x", "argument 1: \"99999999999999999999x\" is no number; usage: number NUMBER\n"},
        {"get", "node is missing" + usage_of_get},
        {"get 3", "url is missing" + usage_of_get},
        {"get url=/a", "node is missing" + usage_of_get},
        {"get 3 /a 5", "\"5\" is one argument too many" + usage_of_get},
        {"get 3 /a url=/b", "\"/a\" is one argument too many" + usage_of_get},
        {"get node=3 node=4 /a", "node is given twice" + usage_of_get},
        {"get node=3 link=/a", "there is no argument \"link\"" + usage_of_get},
        {"get nod=3 url=/a", "there is no argument \"nod\"; did you mean node?" + usage_of_get},
        {"get node=3 ulr=/a", "there is no argument \"ulr\"; did you mean url?" + usage_of_get},
        {"get node=x url=/a", "node: \"x\" is no number" + usage_of_get},
        {"get node= url=/a", "node: \"\" is no number" + usage_of_get},
        {"text 'a", "a ' is not closed\n"},
        {"text \"a", "a \" is not closed\n"},
        {"text a\\", "nothing follows the backslash\n"},
        {std::string("text a\0b", 8), "the line holds a NUL byte\n"},
        {std::string("\0", 1), "the line holds a NUL byte\n"},
        {std::string("text a\\\0b", 9), "the line holds a NUL byte\n"},
        {"get 3 4 \x1b[2J\x7f", "\"?[2J?\" is one argument too many" + usage_of_get},
    };
    for (const auto &[line, error] : cases) {
        EXPECT_EQ(error_of(line), error) << line;
    }
}

TEST_F(ArgumentTest, OfAnyLengthThatALineHolds) {
    const std::string longest(4096 - std::string("text \n").size(), 'x');
    EXPECT_EQ(call_of("text " + longest), "text " + longest);
    EXPECT_EQ(error_of("number " + longest.substr(100)),
              "argument 1: \"" + longest.substr(0, 60) + "...\" is no number; usage: number NUMBER\n");
}

}  // namespace
}  // namespace quib_test
