// A program that uses zlog itself, beside the layer.
#include <gtest/gtest.h>
#include <ox_zlog.h>
#include <zlog.h>

#include <string>

#include "child.h"
#include "log_line.h"

namespace zlog_test {

namespace {

class Neighbour : public testing::Test {
protected:
    std::string rules_for(const std::string &name) const {
        return directory_.write(name + ".conf",
                                "[formats]\nf = \"%c %m%n\"\n[rules]\n*.* \"" + log_of(name) + "\"; f\n");
    }
    std::string log_of(const std::string &name) const { return directory_.file(name + ".log"); }

    TemporaryDirectory directory_;
};

TEST_F(Neighbour, ThatCameFirstIsLeftAlone) {
    const std::string programs = rules_for("program");
    const std::string layers = rules_for("layer");
    const Outcome outcome = in_child([&] {
        setenv("OX_ZLOG_CONF", layers.c_str(), 1);
        if (zlog_init(programs.c_str()) != 0) {
            return 1;
        }
        zlog_category_t *own = zlog_get_category("program");
        void *category = ox_zlog_init("trel_cap");
        say(category, "one");
        zlog_error(own, "%s", "two");
        zlog_fini();
        say(category, "three");
        return ox_zlog_init("trel_cap") == category ? 0 : 2;
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.error_output, "");
    EXPECT_EQ(read_file(log_of("program")), "program two\n");
    EXPECT_EQ(read_file(log_of("layer")), "trel_cap one\ntrel_cap three\n");
}

TEST_F(Neighbour, MayComeLater) {
    const std::string programs = rules_for("program");
    const std::string layers = rules_for("layer");
    const Outcome outcome = in_child([&] {
        setenv("OX_ZLOG_CONF", layers.c_str(), 1);
        say(ox_zlog_init("trel_cap"), "one");
        if (zlog_init(programs.c_str()) != 0 || zlog_reload(programs.c_str()) != 0) {
            return 1;
        }
        zlog_error(zlog_get_category("program"), "%s", "two");
        return 0;
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(read_file(log_of("program")), "program two\n");
    EXPECT_EQ(read_file(log_of("layer")), "trel_cap one\n");
}

}  // namespace

}  // namespace zlog_test
