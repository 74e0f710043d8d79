// A program with a logging layer hears through it what its client has to tell: here, one that the program itself is.
#include "mom_test.h"
#include "standard_error.h"

#include <ox_zlog.h>

#include <cstdarg>
#include <cstdio>

namespace {

struct Line {
    std::string category;
    std::string file;
    int level;
    std::string text;
};

std::vector<Line> &logged() {
    static std::vector<Line> lines;
    return lines;
}

bool refuses_categories = false;

}  // namespace

void *ox_zlog_init(const char *category) {
    static std::string name;
    name = category;
    return refuses_categories ? nullptr : &name;
}

void oxdf_zlog(void *category, const char *file, size_t filelen, const char *, size_t, long, int level,
               const char *format, ...) {
    std::array<char, 1024> text{};
    va_list args;
    va_start(args, format);
    vsnprintf(text.data(), text.size(), format, args);
    va_end(args);
    logged().push_back({*static_cast<std::string *>(category), std::string(file, filelen), level, text.data()});
}

namespace mom_test {
namespace {

class LoggedTellingTest : public ServerTest {
protected:
    void SetUp() override {
        ServerTest::SetUp();
        logged().clear();
        refuses_categories = false;
    }

    void lose_and_find(const ClientPtr &client) {
        EXPECT_EQ(ox_mom_client_set_reconnect_cb(client.get(), kGlobalDb, on_reconnect, nullptr), 0);
        server().restart(RedisServer::Data::kDropped);
        ASSERT_TRUE(pump_until(client, [] { return !recorder().reconnections.empty(); }));
    }
};
INSTANTIATE_OVER_SERVERS(LoggedTellingTest);

TEST_P(LoggedTellingTest, LossAndReturnAreLoggedAndNotPrinted) {
    const ClientPtr client = connect();
    StandardError printed;
    ASSERT_NO_FATAL_FAILURE(lose_and_find(client));
    EXPECT_EQ(printed.text(), "");
    ASSERT_GE(logged().size(), 2u);
    const Line &first = logged().front();
    const Line &last = logged().back();
    EXPECT_EQ(first.category, "ox_mom");
    EXPECT_EQ(first.file, "platform/mom");
    EXPECT_EQ(first.level, 100);
    EXPECT_EQ(first.text.find("store " + store() + " is lost: "), 0u) << first.text;
    EXPECT_EQ(last.level, 60);
    EXPECT_EQ(last.text.find("store " + store() + " is back after "), 0u) << last.text;
}

TEST_P(LoggedTellingTest, AClientThatHasNothingToTellLeavesTheLayerAlone) {
    const ClientPtr client = connect();
    EXPECT_EQ(put_int(client, "/a", 1), 0);
    EXPECT_TRUE(logged().empty());
}

TEST_P(LoggedTellingTest, WhatTheLayerCannotTakeIsPrinted) {
    const ClientPtr client = connect();
    refuses_categories = true;
    StandardError printed;
    ASSERT_NO_FATAL_FAILURE(lose_and_find(client));
    EXPECT_TRUE(logged().empty());
    EXPECT_NE(printed.text().find("is lost: "), std::string::npos) << printed.text();
}

}  // namespace
}  // namespace mom_test
