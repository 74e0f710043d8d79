// get and set.
#include "capctl_test.h"

namespace capctl_test {

namespace {

class Capability : public ServerTest {};

TEST_F(Capability, IsPrintedWithAllItsValues) {
    ASSERT_THAT(run({"set", "/a/b", "--bool", "1"}), Prints(""));
    EXPECT_THAT(run({"get", "/a/b"}), Prints("bool    1\n"));
    ASSERT_THAT(run({"set", "/a/b", "--int", "-42"}), Prints(""));
    publish_string("/a/b", "some text");
    ASSERT_THAT(run({"set", "/a/b", "--state", "0"}), Prints(""));
    raw().must({"HSET", "p_libpub.cap_table:/a/b", "21", "\xa8\x01\x03"});
    EXPECT_THAT(run({"get", "/a/b"}), Prints("bool    1\n"
                                             "int32   -42\n"
                                             "string  \"some text\"\n"
                                             "pri     3\n"
                                             "state   0\n"));
}

TEST_F(Capability, IsPrintedOneValueAtATime) {
    for (const Arguments &value : {Arguments{"--bool", "0"}, {"--int", "2147483647"}, {"--state", "1"}}) {
        ASSERT_THAT(run({"set", "/a", value[0], value[1]}), Prints(""));
        EXPECT_THAT(run({"get", "/a", value[0]}), Prints(value[1] + "\n"));
        EXPECT_THAT(run({"get", value[0], "/a"}), Prints(value[1] + "\n"));
    }
    publish_string("/a", "a \"b\" c");
    EXPECT_THAT(run({"get", "/a", "--str"}), Prints("a \"b\" c\n"));
    raw().must({"HSET", "p_libpub.cap_table:/a", "21", "\xa8\x01\x03"});
    EXPECT_THAT(run({"get", "/a", "--pri"}), Prints("3\n"));
}

// What was written as false, 0 or "" is there, and what was never written is not.
TEST_F(Capability, KnowsDefaultsFromWhatIsMissing) {
    ASSERT_THAT(run({"set", "/a", "--int", "0"}), Prints(""));
    EXPECT_THAT(run({"get", "/a", "--int"}), Prints("0\n"));
    EXPECT_THAT(run({"get", "/a", "--bool"}), FailsWith(1, "\"/a\": its bool was never set"));
    EXPECT_THAT(run({"get", "/a", "--str"}), FailsWith(1, "\"/a\": its string was never set"));
    EXPECT_THAT(run({"get", "/a", "--pri"}), FailsWith(1, "\"/a\": its pri was never set"));
    EXPECT_THAT(run({"get", "/a", "--state"}), FailsWith(1, "\"/a\": its state was never set"));
    publish_string("/a", "");
    ASSERT_THAT(run({"set", "/a", "--bool=0"}), Prints(""));
    EXPECT_THAT(run({"get", "/a"}), Prints("bool    0\nint32   0\nstring  \"\"\n"));
    EXPECT_THAT(run({"get", "/a", "--str"}), Prints("\n"));
}

TEST_F(Capability, ThatIsMissingIsNotFound) {
    EXPECT_THAT(run({"get", "/nowhere"}), FailsWith(1, "\"/nowhere\": no such capability"));
    EXPECT_THAT(run({"get", "/nowhere", "--int"}), FailsWith(1, "\"/nowhere\": no such capability"));
}

TEST_F(Capability, WithoutValuesIsFoundAndHasNothingToPrint) {
    ASSERT_THAT(run({"set", "/a", "--int", "1"}), Prints(""));
    raw().must({"HDEL", "p_libpub.cap_table:/a", "7"});
    EXPECT_THAT(run({"get", "/a"}), Prints(""));
}

TEST_F(Capability, IsWrittenWhereTheLibraryReadsIt) {
    ASSERT_THAT(run({"set", "/a/b", "--int", "300"}), Prints(""));
    EXPECT_EQ(raw().text({"HGET", "p_libpub.cap_table:/a/b", "7"}), "\x38\xac\x02");
}

TEST_F(Capability, HasItsLimitsOfIntegers) {
    for (const char *value : {"-2147483648", "-1", "2147483647"}) {
        ASSERT_THAT(run({"set", "/a", "--int", value}), Prints(""));
        EXPECT_THAT(run({"get", "/a", "--int"}), Prints(std::string(value) + "\n"));
    }
}

TEST_F(Capability, MayHaveAnyUrl) {
    const std::vector<std::string> urls = {
        " ",   "a:b", "100%",   "two\nlines", "*[a-z]?", "\xff", "[1,2]", "get", "\"", std::string(255, 'u'),
        "a b", "\\",  "\x1b[m", "\xc3\xa4/b", "%20%00",  "glb"};
    for (size_t i = 0; i < urls.size(); ++i) {
        ASSERT_THAT(run({"set", urls[i], "--int", std::to_string(i)}), Prints("")) << urls[i];
    }
    for (size_t i = 0; i < urls.size(); ++i) {
        EXPECT_THAT(run({"get", urls[i], "--int"}), Prints(std::to_string(i) + "\n")) << urls[i];
    }
    ASSERT_THAT(run({"set", "--int", "99", "--", "--int"}), Prints(""));
    EXPECT_THAT(run({"get", "--int", "--", "--int"}), Prints("99\n"));
    EXPECT_EQ(raw().list({"KEYS", "p_libpub.cap_table:*"}).size(), urls.size() + 1);
}

TEST_F(Capability, WithoutAUrlIsReadWhenOthersWroteIt) {
    EXPECT_THAT(run({"get", ""}), FailsWith(1, "\"\": no such capability"));
    publish_string("", "nameless");
    EXPECT_THAT(run({"get", "", "--str"}), Prints("nameless\n"));
}

TEST_F(Capability, ValueOfAStringMayBeAnyText) {
    for (const std::string text : {"-1", "--int", "[a,b]", " x ", "two\nlines\n", "\xff\xfe", "%d"}) {
        publish_string("/a", text);
        EXPECT_THAT(run({"get", "/a", "--str"}), Prints(text + "\n"));
    }
    const std::string large(100 * 1000, 'x');
    publish_string("/a", large);
    EXPECT_THAT(run({"get", "/a", "--str"}), Prints(large + "\n"));
}

TEST_F(Capability, OptionsOfAllVerbsMayStandAnywhere) {
    const std::string store = environment()["OX_MOM_STORE"];
    const Environment elsewhere = {{"OX_MOM_STORE", "unix:///nonexistent"}};
    EXPECT_THAT(capctl_test::run({"--store", store, "set", "/a", "--int", "1"}, elsewhere), Prints(""));
    EXPECT_THAT(capctl_test::run({"get", "--store=" + store, "/a"}, elsewhere), Prints("int32   1\n"));
    EXPECT_THAT(capctl_test::run({"get", "/a", "-s", store, "-o", "text"}), Prints("int32   1\n"));
}

}  // namespace

}  // namespace capctl_test
