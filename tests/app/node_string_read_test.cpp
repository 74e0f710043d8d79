// Reading a string capability of one card node: what is cut, and where it ends.

#include "node_getters.h"

namespace trel_cap_tests {
namespace {

class NodeString : public NodeCapabilityTest {
protected:
    void store_string(const std::string &stored) {
        platform.hgetall_sync.always(HashAnswer::found(table(url, {{8, stored}}), {5, 8}));
    }
    // Reads into a buffer of a size; nothing behind it may be touched.
    std::string read(int32_t size) {
        caller = Caller();
        caller.size = size;
        EXPECT_EQ(get(url), 0) << size;
        EXPECT_TRUE(caller.is_clear_behind(static_cast<size_t>(size))) << size;
        EXPECT_EQ(caller.length[0], 0x55U);
        EXPECT_EQ(caller.length[2], 0x55U);
        EXPECT_EQ(std::strlen(caller.text.data()), caller.length[1]);
        return caller.text.data();
    }
};

std::vector<NodeGetter> string_getters() {
    std::vector<NodeGetter> getters(std::begin(kNodeGetters), std::end(kNodeGetters));
    std::erase_if(getters, [](const NodeGetter &getter) { return getter.kind != NodeValue::kStr; });
    return getters;
}

INSTANTIATE_TEST_SUITE_P(Getters, NodeString, ::testing::ValuesIn(string_getters()), name_of_getter);

TEST_P(NodeString, IsCutToTheBufferAndEndsInIt) {
    const std::string stored = "abcdefghij";
    store_string(stored);
    const std::vector<std::pair<int32_t, size_t>> cases = {{1, 0},   {2, 1},   {9, 8},   {10, 9},
                                                           {11, 10}, {12, 10}, {512, 10}};
    for (const auto &[size, length] : cases) {
        EXPECT_EQ(read(size), stored.substr(0, length)) << size;
    }
}

TEST_P(NodeString, IsCutTo255BytesHoweverLargeTheBuffer) {
    const std::vector<std::tuple<size_t, int32_t, size_t>> cases = {
        {254, 1024, 254}, {255, 1024, 255}, {256, 1024, 255}, {300, 1024, 255}, {300, 256, 255},
        {300, 255, 254},  {255, 255, 254},  {255, 256, 255},  {300, 200, 199},  {700, 1024, 255}};
    for (const auto &[stored, size, length] : cases) {
        const std::string whole = url_of_length(stored);
        store_string(whole);
        EXPECT_EQ(read(size), whole.substr(0, length)) << stored << " into " << size;
    }
}

TEST_P(NodeString, LeavesTheRestOfTheBufferZeroed) {
    store_string("abc");
    EXPECT_EQ(read(100), "abc");
    caller.text[0] = caller.text[1] = caller.text[2] = '\0';
    EXPECT_TRUE(caller.is_zeroed());
}

TEST_P(NodeString, ThatIsNullIsEmpty) {
    platform.hgetall_sync.always(HashAnswer::found(table(url, {{8, nullptr}}), {5, 8}));
    EXPECT_EQ(read(64), "");
    EXPECT_TRUE(caller.is_zeroed());
    EXPECT_THAT(platform.logs(), ::testing::Contains(detail("node 513, url /port/mtu limit, str: , length 0")));
}

TEST_P(NodeString, IsLoggedAsItWasDelivered) {
    store_string("abcdefghij");
    EXPECT_EQ(read(4), "abc");
    EXPECT_THAT(platform.logs(), ::testing::Contains(detail("node 513, url /port/mtu limit, str: abc, length 3")));
}

TEST_P(NodeString, NeedsAPlaceForItsLength) {
    at_every_log_level([this] {
        for (const int32_t size : {64, 0}) {
            caller = Caller();
            caller.no_length = true;
            caller.size = size;
            EXPECT_EQ(get(url), -4);
            EXPECT_EQ(caller, untouched());
            expect_events({error("length NULL pointer, addr error!\n")});
        }
    });
}

TEST_P(NodeString, NeedsASizeOfAtLeastOne) {
    for (const int32_t size : {0, -1, INT32_MIN}) {
        at_every_log_level([this, size] {
            caller = Caller();
            caller.size = size;
            EXPECT_EQ(get(url), -4);
            EXPECT_EQ(caller, untouched());
            expect_events({error(text("size %d error!\n", size))});
        });
    }
}

}  // namespace
}  // namespace trel_cap_tests
