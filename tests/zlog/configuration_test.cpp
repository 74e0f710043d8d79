// The configuration file named by OX_ZLOG_CONF.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ox_zlog.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <thread>

#include "child.h"
#include "log_line.h"

namespace zlog_test {

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

Outcome log_one_line(const std::string &conf) {
    return in_child([&] {
        setenv("OX_ZLOG_CONF", conf.c_str(), 1);
        void *category = ox_zlog_init("trel_cap");
        ox_zlog_init("trel_cap");
        ox_zlog_init("other");
        say(category, "message");
        return 0;
    });
}

TEST(Configuration, OfAFileRuleWritesTheFileOnly) {
    const TemporaryDirectory directory;
    const std::string log = directory.file("out.log");
    const std::string conf = directory.write(
        "zlog.conf", "[formats]\nshort = \"%V %c %F %U %L %m%n\"\n[rules]\n*.* \"" + log + "\"; short\n");
    const Outcome outcome = log_one_line(conf);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.error_output, "");
    EXPECT_EQ(read_file(log), "ERROR trel_cap app/trel_cap/src/trel_cap speak 7 message\n");
}

TEST(Configuration, ChoosesByCategoryAndLevel) {
    const TemporaryDirectory directory;
    const std::string conf =
        directory.write("zlog.conf", "[formats]\nf = \"%c %m%n\"\n[rules]\ntrel_cap.WARN \"" +
                                         directory.file("trel_cap.log") + "\"; f\nother.* >stderr; f\n");
    const Outcome outcome = in_child([&] {
        setenv("OX_ZLOG_CONF", conf.c_str(), 1);
        void *trel_cap = ox_zlog_init("trel_cap");
        void *other = ox_zlog_init("other");
        void *unmatched = ox_zlog_init("unmatched");
        say(trel_cap, "info", kInfo);
        say(trel_cap, "error", kError);
        say(other, "info", kInfo);
        say(unmatched, "error", kError);
        return unmatched != nullptr ? 0 : 1;
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.error_output, "other info\n");
    EXPECT_EQ(read_file(directory.file("trel_cap.log")), "trel_cap error\n");
}

// The sample that is installed, as it is and with all that it offers in comments but the system's log.
TEST(Configuration, OfTheSampleIsTaken) {
    const TemporaryDirectory directory;
    std::string sample = read_file(TREL_CAP_SAMPLE_CONFIGURATION);
    const std::string as_it_is = directory.write("as_it_is.conf", sample);
    EXPECT_THAT(lines_of(log_one_line(as_it_is).error_output),
                ElementsAre(AllOf(HasSubstr(" trel_cap["), EndsWith("] ERROR speak:7 message"))));

    const std::string rule = "# trel_cap.DEBUG \"", place = "/var/log/trel_cap";
    ASSERT_NE(sample.find(rule), std::string::npos);
    sample.erase(sample.find(rule), 2);
    for (size_t at = 0; (at = sample.find(place + "/", at)) != std::string::npos;) {
        sample.replace(at, place.size(), directory.file(""));
    }
    const Outcome with_a_file = log_one_line(directory.write("with_a_file.conf", sample));
    EXPECT_THAT(lines_of(with_a_file.error_output), ElementsAre(EndsWith("message")));
    EXPECT_THAT(read_file(directory.file("trel_cap.log")), EndsWith("] ERROR speak:7 message\n"));
}

TEST(Configuration, MayHaveSeveralRulesForOneMessage) {
    const TemporaryDirectory directory;
    const std::string log = directory.file("log");
    const std::string conf =
        directory.write("zlog.conf", "[formats]\nf = \"%m%n\"\n[rules]\n*.* \"" + log + "\"; f\n*.* >stderr; f\n");
    EXPECT_EQ(log_one_line(conf).error_output, "message\n");
    EXPECT_EQ(read_file(log), "message\n");
}

TEST(Configuration, MayPipeToAProgram) {
    const TemporaryDirectory directory;
    const std::string log = directory.file("piped");
    const std::string conf =
        directory.write("zlog.conf", "[formats]\nf = \"%m%n\"\n[rules]\n*.* | cat > " + log + "; f\n");
    EXPECT_EQ(log_one_line(conf).status, 0);
    for (int i = 0; i < 4000 && read_file(log).empty(); ++i) {
        usleep(10 * 1000);
    }
    EXPECT_EQ(read_file(log), "message\n");
}

TEST(Configuration, IsReadOnce) {
    const TemporaryDirectory directory;
    const std::string conf = directory.write("zlog.conf", "[formats]\nf = \"first %m%n\"\n[rules]\n*.* >stderr; f\n");
    const Outcome outcome = in_child([&] {
        setenv("OX_ZLOG_CONF", conf.c_str(), 1);
        say(ox_zlog_init("one"), "1");
        directory.write("zlog.conf", "[formats]\nf = \"second %m%n\"\n[rules]\n*.* >stderr; f\n");
        say(ox_zlog_init("two"), "2");
        setenv("OX_ZLOG_CONF", "/nonexistent", 1);
        say(ox_zlog_init("three"), "3");
        return 0;
    });
    EXPECT_EQ(outcome.error_output, "first 1\nfirst 2\nfirst 3\n");
}

TEST(Configuration, ThatIsMissingIsNamedAndDoneWithout) {
    const Outcome outcome = log_one_line("/nonexistent/zlog.conf");
    EXPECT_THAT(lines_of(outcome.error_output),
                ElementsAre("ox_zlog: /nonexistent/zlog.conf: named by OX_ZLOG_CONF, does not exist; "
                            "logging to standard error",
                            EndsWith(" ERROR trel_cap speak:7 message")));
}

TEST(Configuration, NamedByAnEmptyVariableIsNone) {
    EXPECT_THAT(lines_of(log_one_line("").error_output), ElementsAre(EndsWith(" ERROR trel_cap speak:7 message")));
}

// Silence is asked for by a rule.
TEST(Configuration, MaySilenceAProgram) {
    const TemporaryDirectory directory;
    for (const char *rules : {"[rules]\n*.* \"/dev/null\"\n", "  [ rules ]\n# all\n\n  unmatched.* >stderr\n"}) {
        EXPECT_THAT(log_one_line(directory.write("zlog.conf", rules)).error_output, IsEmpty()) << rules;
    }
}

struct Unusable {
    const char *name;
    const char *text;
    const char *reason;
};

std::ostream &operator<<(std::ostream &out, const Unusable &configuration) { return out << configuration.name; }

std::string name_of(const testing::TestParamInfo<Unusable> &tested) { return tested.param.name; }

class UnusableConfiguration : public testing::TestWithParam<Unusable> {};

// Named with its reason, once, and the built-in rule applies.
TEST_P(UnusableConfiguration, IsNamedWithTheReason) {
    const TemporaryDirectory directory;
    const std::string conf = directory.write("zlog.conf", GetParam().text);
    const Outcome outcome = log_one_line(conf);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(lines_of(outcome.error_output),
                ElementsAre(AllOf(StartsWith("ox_zlog: " + conf + ": "), HasSubstr(GetParam().reason),
                                  EndsWith("; logging to standard error")),
                            EndsWith(" ERROR trel_cap speak:7 message")));
}

INSTANTIATE_TEST_SUITE_P(
    Reasons, UnusableConfiguration,
    testing::Values(
        Unusable{"no_section", "hello world\n", "not in any section (parse configure file["},
        Unusable{"unknown_section", "[rulez]\n*.* >stderr\n", "wrong section name[rulez]"},
        Unusable{"unknown_option", "[global]\nnonsense = 3\n", "nonsense"},
        Unusable{"unknown_format", "\n[rules]\n*.* >stderr; absent\n", "can't find format[absent]"},
        Unusable{"line_number", "\n[rules]\n*.* >stderr; absent\n", "line_no[3]"},
        Unusable{"bad_format", "[formats]\nf = \"%Q\"\n", "%Q"},
        Unusable{"unopenable_log", "[rules]\n*.* \"/nonexistent/dir/log\"\n", "open file[/nonexistent/dir/log] fail"},
        Unusable{"empty", "", "has no rule that says where messages go"}, Unusable{"blank", "\n \t\n", "has no rule"},
        Unusable{"comment", "# [rules]\n# *.* >stderr\n", "has no rule"},
        Unusable{"no_rules", "[formats]\nf = \"%m%n\"\n", "has no rule"},
        Unusable{"empty_rules", "[formats]\nf = \"%m%n\"\n[rules]\n\t# none\n", "has no rule"},
        Unusable{"impossible_buffer", "[global]\nbuffer min = 2000\nbuffer max = 1000\n[rules]\n*.* >stderr\n",
                 "buf_size_max[1000] < buf_size_min[2000]"}),
    name_of);

TEST(Configuration, ThatIsADirectoryIsUnusable) {
    const TemporaryDirectory directory;
    EXPECT_THAT(log_one_line(directory.file("")).error_output, HasSubstr(": Is a directory; logging to standard"));
}

// Nobody writes into the FIFO, and the device has no end.
TEST(Configuration, ThatIsNoRegularFileIsUnusable) {
    const TemporaryDirectory directory;
    const std::string fifo = directory.file("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string &file : {fifo, std::string("/dev/zero"), std::string("/dev/null")}) {
        EXPECT_THAT(lines_of(log_one_line(file).error_output),
                    ElementsAre("ox_zlog: " + file + ": not a regular file; logging to standard error",
                                EndsWith(" ERROR trel_cap speak:7 message")));
    }
}

TEST(Configuration, MayBeALinkToAFile) {
    const TemporaryDirectory directory;
    directory.write("zlog.conf", "[formats]\nf = \"%m%n\"\n[rules]\n*.* >stderr; f\n");
    const std::string link = directory.file("link");
    ASSERT_EQ(symlink("zlog.conf", link.c_str()), 0);
    EXPECT_EQ(log_one_line(link).error_output, "message\n");
}

// The first message that does not fit is told, whatever its thread, and the ones that fit are written all the same.
TEST(Configuration, WhoseBufferIsTooSmallDropsMessagesAndSaysSo) {
    const TemporaryDirectory directory;
    const std::string conf = directory.write(
        "zlog.conf",
        "[global]\nbuffer min = 10\nbuffer max = 30\n[formats]\nf = \"%V %m%n\"\n[rules]\n*.* >stderr; f\n");
    const Outcome outcome = in_child([&] {
        setenv("OX_ZLOG_CONF", conf.c_str(), 1);
        void *category = ox_zlog_init("c");
        say(category, "fits");
        say(category, "does not fit into the thirty bytes that are there");
        std::thread(say, category, "nor does this, of another thread as it is", kError, 7).join();
        say(category, "fits again");
        return 0;
    });
    EXPECT_EQ(
        outcome.error_output,
        "ERROR fits\n"
        "ox_zlog: a message was dropped: `buffer max` is too small for its line: 30; others may follow it untold\n"
        "ERROR fits again\n");
}

TEST(Configuration, OfALogThatIsFullDropsMessagesAndSaysSo) {
    const TemporaryDirectory directory;
    const std::string conf = directory.write("zlog.conf", "[rules]\n*.* \"/dev/full\"\n");
    EXPECT_THAT(lines_of(log_one_line(conf).error_output),
                ElementsAre(AllOf(StartsWith("ox_zlog: a message was dropped: "), HasSubstr("write fail"))));
}

TEST(Configuration, ThatCannotBeOpenedIsUnusable) {
    const TemporaryDirectory directory;
    const std::string loop = directory.file("loop");
    ASSERT_EQ(symlink(loop.c_str(), loop.c_str()), 0);
    EXPECT_THAT(log_one_line(loop).error_output,
                AllOf(StartsWith("ox_zlog: " + loop + ": Too many levels of symbolic links; logging"),
                      EndsWith(" ERROR trel_cap speak:7 message\n")));
}

TEST(Configuration, ThatIsNoTextIsUnusable) {
    const TemporaryDirectory directory;
    std::string bytes;
    for (int i = 0; i < 100000; ++i) {
        bytes += static_cast<char>((i * 7919) >> 3);
    }
    const std::string conf = directory.write("zlog.conf", bytes);
    EXPECT_THAT(log_one_line(conf).error_output,
                AllOf(StartsWith("ox_zlog: " + conf), EndsWith(" ERROR trel_cap speak:7 message\n")));
}

}  // namespace

}  // namespace zlog_test
