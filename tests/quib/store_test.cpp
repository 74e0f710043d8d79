// The word that shows how a program stands with its store.
#include "console.h"
#include "handlers.h"

#include "quib/store_status.h"

#include <cstdlib>
#include <cstring>
#include <ctime>

namespace quib_test {
namespace {

class StoreTest : public ConsoleTest {
protected:
    // By the name; the first word of the line.
    std::string line_of(const std::string &name) const {
        const std::string text = "\n" + ask("store").output;
        const size_t at = text.find("\n" + name);
        const size_t value = text.find_first_not_of(' ', at + 1 + name.size());
        return at == std::string::npos ? "none" : text.substr(value, text.find('\n', value) - value);
    }
};

TEST_F(StoreTest, TellsWhatTheClientDoes) {
    EXPECT_EQ(line_of("store"), "mem:");
    EXPECT_EQ(line_of("state"), "not connected");
    ASSERT_EQ(ox_mom_client_connect_sync(client(), 1), 0);
    EXPECT_THAT(line_of("state"), testing::MatchesRegex("up for [0-9]+ m?s, since 20[0-9][0-9]-[0-9-]+ [0-9:]+"));
    EXPECT_EQ(line_of("losses"), "0");
    EXPECT_EQ(line_of("latest failure"), "none");
    EXPECT_EQ(line_of("requests"), "1, 0 timed out");
    EXPECT_EQ(ask("store").code, 0);
}

TEST_F(StoreTest, IsAWordOfTheModule) {
    EXPECT_EQ(ask("help store"), printed("store\nshows how the program stands with its store\n"));
    EXPECT_EQ(ask("store now"), refused("\"now\" is one argument too many; usage: store"));
    EXPECT_EQ(ask("sto"), ask("store"));
    EXPECT_EQ(ask("stroe"), refused("unknown command \"stroe\"; did you mean store?"));
    ASSERT_EQ(register_command("store_all", "void", nothing), 0);
    EXPECT_EQ(ask("sto"), printed("")) << "a command's beginning comes first";
    EXPECT_THAT(ask("store").output, testing::StartsWith("store "));
    EXPECT_THAT(take_calls(), testing::ElementsAre("nothing"));
}

TEST_F(StoreTest, MayBeACommandOfTheProgram) {
    ASSERT_EQ(register_command("store", "%d", number), 0);
    EXPECT_EQ(ask("store 5"), printed(""));
    EXPECT_THAT(take_calls(), testing::ElementsAre("number 5"));
    EXPECT_EQ(ask("help"), printed("store NUMBER\nhelp  [COMMAND]  lists the commands, or tells of one\n"));
}

TEST(StoreStatusTest, IsToldInWords) {
    setenv("TZ", "UTC", 1);
    tzset();
    MomClientStatus status{};
    status.state = OX_MOM_STATE_LOST;
    status.since_ms = 86'400'000;
    status.state_ms = 5'400;
    status.retry_ms = 350;
    status.losses = 2;
    status.reason_code = OX_MOM_E_LOST;
    status.record_subscriptions = 7;
    status.field_subscriptions = 3;
    status.waiting = 4;
    status.delivered = 1234;
    status.requests = 567;
    status.timed_out = 1;
    std::strcpy(status.store, "redis://host");
    std::strcpy(status.reason, "it went away");
    EXPECT_EQ(quib::in_words(status), "store          redis://host\n"
                                      "state          lost for 5 s, since 1970-01-02 00:00:00; tried again in 350 ms\n"
                                      "losses         2\n"
                                      "latest failure -108, it went away\n"
                                      "subscriptions  7 of types, 3 of fields\n"
                                      "notifications  1234 delivered, 4 waiting\n"
                                      "requests       567, 1 timed out\n");
    status.retry_ms = 0;
    status.reason[0] = '\0';
    EXPECT_THAT(quib::in_words(status), testing::HasSubstr("; tried again now\n"));
    EXPECT_THAT(quib::in_words(status), testing::HasSubstr("-108, the connection to the store is lost\n"));
    status.state = OX_MOM_STATE_UP;
    const std::pair<uint64_t, const char *> durations[] = {
        {999, "999 ms"}, {59'999, "59 s"}, {60'000, "1 min 0 s"}, {3'725'000, "1 h 2 min"}, {90'000'000, "1 days 1 h"}};
    for (const auto &[ms, words] : durations) {
        status.state_ms = ms;
        EXPECT_THAT(quib::in_words(status), testing::HasSubstr(std::string("up for ") + words + ", since "));
    }
}

}  // namespace
}  // namespace quib_test
