// Indexes of every kind address records of their own.
#include "mom_test.h"

#include <climits>
#include <set>

namespace mom_test {
namespace {

class UrlTest : public StoreTest {};
INSTANTIATE_OVER_STORES(UrlTest);

std::vector<std::string> awkward_urls() {
    std::vector<std::string> urls = {"",
                                     "/a/b",
                                     "/a:b",
                                     "/a::b",
                                     ":",
                                     "::",
                                     "a b",
                                     " a",
                                     "a ",
                                     "  ",
                                     "%",
                                     "%3a",
                                     "%3A",
                                     "%25",
                                     "%s%n%d",
                                     "a\nb",
                                     "a\r\nb",
                                     "\r\n",
                                     "*",
                                     "/a/*",
                                     "?",
                                     "[a-z]",
                                     "[^a]",
                                     "\\",
                                     "\\*",
                                     "{a}",
                                     "\"a\"",
                                     "'a'",
                                     "28:p_libpub.cap_table",
                                     "p_libpub.cap_table:/a/b",
                                     "../a",
                                     "a\tb",
                                     "\xc3\xa9",
                                     "\xff\xfe",
                                     std::string(254, 'u'),
                                     std::string(255, 'u'),
                                     std::string(255, ':'),
                                     std::string(255, '%'),
                                     std::string(255, '\xff')};
    for (int c = 1; c <= 255; ++c) {
        const std::string byte(1, static_cast<char>(c));
        urls.push_back("/" + byte);
        urls.push_back("/x" + byte + "y");
    }
    return urls;
}

TEST_P(UrlTest, BytesOfEveryKindNeverCollide) {
    const ClientPtr client = connect();
    const std::vector<std::string> urls = awkward_urls();
    ASSERT_EQ(std::set<std::string>(urls.begin(), urls.end()).size(), urls.size());
    int32_t value = 0;
    for (const std::string &url : urls) {
        ASSERT_EQ(put_int(client, url, ++value), 0) << url;
    }
    value = 0;
    for (const std::string &url : urls) {
        const HashResultPtr result = read(client, Cap(url).message());
        ASSERT_NE(result->record, nullptr) << url;
        EXPECT_EQ(as<CapTable>(result).int32_value, ++value) << url;
        EXPECT_EQ(as<CapTable>(result).index->url, url);
    }
    EXPECT_EQ(stored_state<CapTable>(client).size(), urls.size());
}

TEST_P(UrlTest, DeletingOneLeavesItsNeighbours) {
    const ClientPtr client = connect();
    const std::vector<std::string> urls = awkward_urls();
    for (const std::string &url : urls) {
        ASSERT_EQ(put_int(client, url, 1), 0);
    }
    size_t left = urls.size();
    for (const std::string url : {"*", "/a/*", "", ":", "\\", "[a-z]", "%3a"}) {
        ASSERT_EQ(del(client, Cap(url).message()), 0);
        EXPECT_EQ(read(client, Cap(url).message())->record, nullptr) << url;
        EXPECT_EQ(stored_state<CapTable>(client).size(), --left) << url;
    }
}

TEST_P(UrlTest, AFollowerOfOneHearsNothingOfTheOthers) {
    const ClientPtr client = connect();
    const ClientPtr writer = connect();
    const std::vector<std::string> urls = awkward_urls();
    std::vector<int> numbers(urls.size());
    for (size_t i = 0; i < urls.size(); ++i) {
        ASSERT_EQ(follow_field(client, Cap(urls[i]).message(), kInt, on_field<0>, &numbers[i]), 0);
    }
    for (size_t i = 0; i < urls.size(); ++i) {
        ASSERT_EQ(put_int(writer, urls[i], static_cast<int32_t>(i)), 0);
    }
    ASSERT_TRUE(settle(client, writer));
    ASSERT_EQ(slot().events.size(), urls.size());
    for (const Event &event : slot().events) {
        const auto i = static_cast<size_t>(static_cast<int *>(event.arg) - numbers.data());
        EXPECT_EQ(event.as<CapTable>().index->url, urls[i]);
        EXPECT_EQ(event.as<CapTable>().int32_value, static_cast<int32_t>(i));
    }
}

TEST_P(UrlTest, NodesAndUrlsNeverCollide) {
    const ClientPtr client = connect();
    const std::vector<std::pair<int32_t, std::string>> indexes = {
        {1, "2:x"}, {12, "x"},     {1, "2"},       {12, ""},      {1, ""},          {1, ":2"},
        {-1, "2"},  {1, "-2"},     {1, "2:3:4"},   {12, ":3:4"},  {123, ":4"},      {0, "1:2:x"},
        {0, ""},    {INT_MIN, ""}, {INT_MIN, "0"}, {INT_MAX, ""}, {INT_MAX, "-1:"}, {-1, ""},
    };
    int32_t value = 0;
    for (const auto &[node, url] : indexes) {
        ASSERT_EQ(put(client, NodeCap(node, url, ++value).message(), {kInt}), 0);
    }
    value = 0;
    for (const auto &[node, url] : indexes) {
        const HashResultPtr result = read(client, NodeCap(node, url).message());
        ASSERT_NE(result->record, nullptr);
        EXPECT_EQ(as<CapGlbTable>(result).int32_value, ++value) << node << " " << url;
        EXPECT_EQ(as<CapGlbTable>(result).index->node, node);
        EXPECT_EQ(as<CapGlbTable>(result).index->url, url);
    }
    EXPECT_EQ(stored_state<CapGlbTable>(client).size(), indexes.size());
}

TEST_P(UrlTest, NumbersOfAnIndexNeverCollide) {
    const ClientPtr client = connect({kCardDb});
    const int32_t values[] = {0, 1, 11, -1, 111, INT_MIN, INT_MAX};
    size_t written = 0;
    for (const int32_t first : values) {
        for (const int32_t second : values) {
            Card card(first, second, second, first);
            card.record.cpu_num = static_cast<int32_t>(++written);
            ASSERT_EQ(put(client, card.message(), {8}, kCardDb), 0);
        }
    }
    EXPECT_EQ(stored_state<CardInfo>(client, kCardDb).size(), written);
    const HashResultPtr result = read(client, Card(11, 1, 1, 11).message(), kCardDb);
    ASSERT_NE(result->record, nullptr);
    EXPECT_EQ(as<CardInfo>(result).cpu_num, 2 * 7 + 2);
}

class ServerUrlTest : public ServerTest {};
INSTANTIATE_OVER_SERVERS(ServerUrlTest);

// What of a key or channel of the client's own an application could give as a URL, to hit it.
std::vector<std::string> urls_aimed_at(const std::vector<std::string> &names) {
    const std::string type = "p_libpub.cap_table";
    std::vector<std::string> urls;
    for (const std::string &name : names) {
        const size_t at = name.find(type);
        if (at != std::string::npos && name.size() > at + type.size()) {
            urls.push_back(name.substr(at + type.size()));
            urls.push_back(name.substr(at + type.size() + 1));
        }
        urls.push_back(name);
    }
    return urls;
}

TEST_P(ServerUrlTest, NoUrlReachesTheClientsOwnKeysAndChannels) {
    const ClientPtr client = connect();
    const ClientPtr writer = connect();
    ASSERT_EQ(put_int(writer, "/a", 1), 0);
    ASSERT_EQ(set<CapGlbState>(writer, true), 0);
    ASSERT_EQ(follow<CapTable>(client, on_notification<1>), 0);
    ASSERT_EQ(follow_field(client, Cap("/a").message(), kInt, on_field<2>), 0);

    RedisConnection raw = server().connection();
    raw.must({"SELECT", std::to_string(kGlobalDb)});
    std::vector<std::string> names = raw.list({"KEYS", "*"});
    const std::vector<std::string> channels = raw.list({"PUBSUB", "CHANNELS", "*"});
    ASSERT_FALSE(channels.empty());
    names.insert(names.end(), channels.begin(), channels.end());
    const std::vector<std::string> urls = urls_aimed_at(names);
    std::set<std::string> distinct(urls.begin(), urls.end());
    distinct.insert("/a");
    for (const std::string &url : distinct) {
        ASSERT_EQ(follow_field(client, Cap(url).message(), kInt, on_field<3>), 0);
        ASSERT_EQ(put_int(writer, url, 9), 0) << url;
        EXPECT_EQ(stored_int(writer, url), 9) << url;
    }
    EXPECT_EQ(stored_state<CapTable>(writer).size(), distinct.size());
    ASSERT_TRUE(settle(client, writer));
    EXPECT_EQ(slot(1).count(OX_MOM_CMD_DELIVERED), static_cast<int>(distinct.size()));
    EXPECT_EQ(slot(2).events.size(), 1u);
    EXPECT_EQ(slot(3).events.size(), distinct.size());
}

}  // namespace
}  // namespace mom_test
