// What becomes of one message under the built-in rule.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ox_zlog.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "child.h"
#include "log_line.h"

namespace zlog_test {

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::MatchesRegex;

// The function without what lets the compiler refuse a format that is NULL.
using Unchecked = void (*)(void *, const char *, size_t, const char *, size_t, long, int, const char *, ...);

// A copy of text with no byte after it that may be read.
const char *before_a_hole(const std::string &text) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    void *pages = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    char *hole = static_cast<char *>(pages) + page;
    mprotect(hole, page, PROT_NONE);
    std::copy(text.begin(), text.end(), hole - text.size());
    return hole - text.size();
}

std::string message_as_written(const std::string &message) {
    const Outcome outcome = in_child([&] {
        say(ox_zlog_init("trel_cap"), message);
        return 0;
    });
    EXPECT_EQ(outcome.status, 0);
    const std::string head = " ERROR trel_cap speak:7 ";
    const size_t at = outcome.error_output.find(head);
    return at == std::string::npos ? "no head: " + outcome.error_output : outcome.error_output.substr(at + head.size());
}

TEST(Message, GoesToStandardErrorWithTimeLevelCategoryFunctionAndLine) {
    const Outcome outcome = in_child([] {
        say(ox_zlog_init("trel_cap"), "connect ce_global failed, rv -107", kError, 1234);
        return 0;
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.error_output, MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} "
                                                   "ERROR trel_cap speak:1234 connect ce_global failed, rv -107\n"));
}

TEST(Message, NamesEveryLevelAndCallsOthersUnknown) {
    const Outcome outcome = in_child([] {
        void *category = ox_zlog_init("c");
        for (const int level : {20, 40, 60, 80, 100, 120, 30, 0, -1, 255, 256, 1 << 20, -(1 << 20)}) {
            say(category, "", level);
        }
        return 0;
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(lines_of(outcome.error_output),
                ElementsAre(EndsWith(" DEBUG c speak:7 "), EndsWith(" INFO c speak:7 "), EndsWith(" NOTICE c speak:7 "),
                            EndsWith(" WARN c speak:7 "), EndsWith(" ERROR c speak:7 "), EndsWith(" FATAL c speak:7 "),
                            EndsWith(" UNKNOWN c speak:7 "), EndsWith(" UNKNOWN c speak:7 "),
                            EndsWith(" UNKNOWN c speak:7 "), EndsWith(" UNKNOWN c speak:7 "),
                            EndsWith(" UNKNOWN c speak:7 "), EndsWith(" UNKNOWN c speak:7 "),
                            EndsWith(" UNKNOWN c speak:7 ")));
}

TEST(Message, IsWrittenWholeWhateverItsLength) {
    for (const size_t length : {0U, 1U, 1023U, 1024U, 10U * 1024U, 1000U * 1000U}) {
        std::string message(length, 'm');
        for (size_t i = 0; i < length; i += 7) {
            message[i] = static_cast<char>('0' + i % 10);
        }
        EXPECT_EQ(message_as_written(message), message + "\n") << length;
    }
}

TEST(Message, MayHoldPercentSignsAndEndWithANewline) {
    EXPECT_EQ(message_as_written("100% %s %n %d %%"), "100% %s %n %d %%\n");
    EXPECT_EQ(message_as_written("url NULL pointer, addr error!\n"), "url NULL pointer, addr error!\n\n");
}

// What it repeats of others, a URL for one, can neither forge a line nor command a terminal.
TEST(Message, ShowsControlCharacters) {
    const std::pair<std::string, std::string> cases[] = {
        {"url /a\n2026-01-01 00:00:00.000 ERROR forged", "url /a\\n2026-01-01 00:00:00.000 ERROR forged"},
        {"\x1b[2J\x01\x07\x08\r\t\x7f", "\\x1b[2J\\x01\\x07\\x08\\x0d\\t\\x7f"},
        {"\n", "\n"},
        {"a\n\n", "a\\n\n"},
        {"a\n\nb\n", "a\\n\\nb\n"},
        {"a\n\r", "a\\n\\x0d"},
        {"C:\\n \"quoted\"", "C:\\n \"quoted\""},
        {"\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80\xc2\xa0", "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80\xc2\xa0"},
        {"\xc2\x9b"
         "2J",
         "\\xc2\\x9b2J"},  // U+009B begins an escape sequence
        {"\x9b"
         "2J\xff",
         "\\x9b2J\\xff"},
        {"\xc3", "\\xc3"},                    // ends too early
        {"\xe2\x82\n", "\\xe2\\x82\n"},       // the same, and a line break
        {"\xc0\x8a", "\\xc0\\x8a"},           // longer than needed: a line break
        {"\xed\xa0\x80", "\\xed\\xa0\\x80"},  // a surrogate
        {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},
        {"\xf8\x88\x80\x80\x80", "\\xf8\\x88\\x80\\x80\\x80"},
    };
    for (const auto &[message, shown] : cases) {
        EXPECT_EQ(message_as_written(message), shown + "\n");
    }
}

TEST(Message, ShowsControlCharactersWhateverItsLength) {
    for (const size_t length : {1022U, 1023U, 1024U, 100U * 1000U}) {
        std::string shown;
        for (size_t i = 0; i < length; ++i) {
            shown += "\\x1b";
        }
        EXPECT_EQ(message_as_written(std::string(length, '\x1b')), shown + "\n") << length;
        EXPECT_EQ(message_as_written(std::string(length, 'm') + "\nm"), std::string(length, 'm') + "\\nm\n");
    }
}

TEST(Message, ThatCannotBeFormattedIsItsFormat) {
    const Outcome outcome = in_child([] {
        const wchar_t no_character[] = {static_cast<wchar_t>(0xd800), 0};
        oxdf_zlog(ox_zlog_init("c"), "f", 1, "g", 1, 1, kError, "url %ls\tvalue %d", no_character, 3);
        return 0;
    });
    EXPECT_THAT(outcome.error_output, EndsWith(" g:1 url %ls\\tvalue %d\n"));
}

TEST(Message, IsFormatted) {
    const Outcome outcome = in_child([] {
        oxdf_zlog(ox_zlog_init("c"), "f", 1, "g", 1, 1, kError, "%d %s %5.2f %c", -3, "text", 2.5, 'x');
        return 0;
    });
    EXPECT_THAT(outcome.error_output, EndsWith(" ERROR c g:1 -3 text  2.50 x\n"));
}

TEST(Message, IsDroppedWithoutCategoryOrFormat) {
    const Outcome outcome = in_child([] {
        say(nullptr, "before initialisation");
        void *category = ox_zlog_init("c");
        say(nullptr, "after it");
        const Unchecked log = oxdf_zlog;
        log(category, "f", 1, "g", 1, 1, kError, nullptr);
        return 0;
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.error_output, "");
}

TEST(Message, NamesNeedNoTerminator) {
    const TemporaryDirectory directory;
    const std::string rules = "[formats]\nnames = \"%F|%f|%U%n\"\n[rules]\n*.* >stderr; names\n";
    const std::string file = directory.write("zlog.conf", rules);
    const Outcome outcome = in_child([&] {
        setenv("OX_ZLOG_CONF", file.c_str(), 1);
        void *category = ox_zlog_init("c");
        oxdf_zlog(category, before_a_hole("dir/file.c"), 10, before_a_hole("function"), 8, 1, kError, "x");
        oxdf_zlog(category, before_a_hole("noslash"), 7, before_a_hole(""), 0, 1, kError, "x");
        oxdf_zlog(category, "dir/file.c", 5, "function", 4, 1, kError, "x");
        oxdf_zlog(category, "f", 1000, "g", 1000, 1, kError, "x");
        oxdf_zlog(category, nullptr, 3, nullptr, 3, 1, kError, "x");
        return 0;
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(lines_of(outcome.error_output),
                ElementsAre("dir/file.c|file.c|function", "noslash|noslash|", "dir/f|f|func", "f|f|g", "-|-|-"));
}

TEST(Message, LongNamesAreCut) {
    const Outcome outcome = in_child([] {
        const std::string name(5000, 'n');
        oxdf_zlog(ox_zlog_init("c"), name.data(), name.size(), name.data(), name.size(), 1, kError, "x");
        return 0;
    });
    EXPECT_THAT(outcome.error_output, EndsWith(" ERROR c " + std::string(255, 'n') + ":1 x\n"));
}

TEST(Message, LeavesErrnoAlone) {
    const Outcome outcome = in_child([] {
        errno = ENOTTY;
        void *category = ox_zlog_init("c");
        const bool kept_by_init = errno == ENOTTY;
        close(STDERR_FILENO);
        say(category, "cannot be written");
        return kept_by_init && errno == ENOTTY ? 0 : 1;
    });
    EXPECT_EQ(outcome.status, 0);
}

TEST(Category, IsTheSameHandleForTheSameName) {
    const Outcome outcome = in_child([] {
        void *first = ox_zlog_init("one");
        if (first == nullptr || ox_zlog_init(nullptr) != nullptr) {
            return 1;
        }
        void *other = ox_zlog_init("two");
        return other != nullptr && other != first && ox_zlog_init("one") == first && ox_zlog_init("two") == other ? 0
                                                                                                                  : 2;
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.error_output, "");
}

TEST(Category, HasANameOfUpTo1024Bytes) {
    const Outcome outcome = in_child([] {
        const std::string name(1024, 'c');
        say(ox_zlog_init(name.c_str()), "message");
        return ox_zlog_init((name + "c").c_str()) == nullptr ? 0 : 1;
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(lines_of(outcome.error_output),
                ElementsAre(EndsWith(" ERROR " + std::string(1024, 'c') + " speak:7 message")));
}

TEST(Category, IsInitialisedInTheMiddleOfStrtok) {
    const Outcome outcome = in_child([] {
        char text[] = "a b c";
        const bool first = std::string(strtok(text, " ")) == "a";
        ox_zlog_init("c");
        const char *second = strtok(nullptr, " ");
        return first && second != nullptr && std::string(second) == "b" ? 0 : 1;
    });
    EXPECT_EQ(outcome.status, 0);
}

}  // namespace

}  // namespace zlog_test
