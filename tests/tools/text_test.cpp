// Strings in the listing of get: quoted, on one line, harmless to a terminal.
#include "capctl_test.h"

namespace capctl_test {

namespace {

struct Quoted {
    std::string bytes;
    std::string shown;
};

class Listing : public ServerTest {};

TEST_F(Listing, ShowsStringsOnOneLine) {
    const std::vector<Quoted> cases = {
        {"plain text 1%", "plain text 1%"},
        {"a\nb\tc", "a\\nb\\tc"},
        {"\"\\", "\\\"\\\\"},
        {"\x1b[31m\x01\x7f\r", "\\x1b[31m\\x01\\x7f\\x0d"},
        {"\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80", "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80"},
        {"\xc2\x9b"
         "0m \xc2\xa0",
         "\\xc2\\x9b0m \xc2\xa0"},  // U+009B is as good as an escape sequence's start
        {"\xff\xfe", "\\xff\\xfe"},
        {"\x80", "\\x80"},
        {"\xc3", "\\xc3"},  // ends too early
        {"\xc3(", "\\xc3("},
        {"\xe2\x82", "\\xe2\\x82"},
        {"\xc0\xaf", "\\xc0\\xaf"},  // longer than needed
        {"\xe0\x80\xaf", "\\xe0\\x80\\xaf"},
        {"\xf0\x80\x80\xaf", "\\xf0\\x80\\x80\\xaf"},
        {"\xed\xa0\x80", "\\xed\\xa0\\x80"},  // a surrogate
        {"\xed\x9f\xbf", "\xed\x9f\xbf"},
        {"\xf4\x8f\xbf\xbf", "\xf4\x8f\xbf\xbf"},
        {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},  // past U+10FFFF
        {"\xf8\x88\x80\x80\x80", "\\xf8\\x88\\x80\\x80\\x80"},
    };
    for (const Quoted &each : cases) {
        publish_string("/a", each.bytes);
        EXPECT_THAT(run({"get", "/a"}), Prints("string  \"" + each.shown + "\"\n"));
        // The two ways to print agree on what is UTF-8.
        const bool is_utf8 = each.shown.find("\\x") == std::string::npos || each.bytes[0] == '\x1b' ||
                             each.bytes.starts_with("\xc2\x9b");
        const bool has_bytes = run({"get", "/a", "--output", "json"}).out.find("str_value_hex") != std::string::npos;
        EXPECT_EQ(has_bytes, !is_utf8) << each.shown;
    }
}

TEST_F(Listing, NamesUrlsHarmlesslyInMessages) {
    EXPECT_THAT(run({"get", "\x1b[31m\n"}), FailsWith(1, "\"\\x1b[31m\\n\": no such capability"));
    EXPECT_THAT(run({"get", "/a", "\x1b[31m\xff"}),
                FailsWith(2, "\"\\x1b[31m\\xff\" is one argument too many; get takes URL\nTry"));
    raw().must({"SET", "p_libpub.cap_table:\x1b[31m", "text"});
    EXPECT_EQ(run({"get", "\x1b[31m"}).err.find('\x1b'), std::string::npos);
}

}  // namespace

}  // namespace capctl_test
