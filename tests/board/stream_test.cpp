// What viewers are told of the store, and when.
#include "board_test.h"

#include <chrono>
#include <set>

#include "chassis/card.h"

namespace board_test {

namespace {

using chassis::CardClass;
using chassis::usual_card;

class Stream : public BoardTest {
protected:
    void insert(const chassis::Card &card) { store().write(card_info(card)); }
    void check(const chassis::Card &card, bool passed) { store().write(check_result(card, passed)); }
    void node(const chassis::Card &card, bool ready, bool real_time = true) {
        store().write(node_ready(card, ready, real_time));
    }
};

auto card_is(Viewer &viewer, int32_t node, const std::string &state) {
    return [&viewer, node, state](const Json &) { return viewer.state_of(node) == state; };
}

auto capability_is(const std::string &key, int value) {
    return [key, value](const Json &shown) {
        const Json capability = shown["capabilities"].value(key, Json::object());
        return capability.contains("fields") && capability["fields"].value("int32_value", -1) == value;
    };
}

TEST_F(Stream, BeginsWithAllThatIsStored) {
    const chassis::Card card = usual_card(CardClass::kLineCard, 3);
    insert(card);
    write_int("/l3/arp", 5);
    store().write(chassis::scope_ready("fab", true));
    BoardThread board("mem:board");
    Viewer viewer(board.port());
    const Json first = viewer.read();
    EXPECT_EQ(first["whole"], true);
    EXPECT_EQ(first["store"]["state"], "up");
    EXPECT_EQ(first["store"]["name"], "mem:board");
    EXPECT_EQ(first["scopes"], Json::parse(R"({"fab": {"ready": true}})"));
    EXPECT_EQ(first["cards"]["3"]["state"], "not ready");
    EXPECT_EQ(first["cards"]["3"]["class"], "lc");
    EXPECT_EQ(first["capabilities"]["cap_table:/l3/arp"],
              Json::parse(R"({"holder": "global", "url": "/l3/arp", "fields": {"int32_value": 5}})"));
    EXPECT_EQ(first["events"], Json::array()) << "what was there before has not happened now";
    EXPECT_EQ(Json::parse(board_test::get(board.port(), "/state").body), first);
}

TEST_F(Stream, ALineCardGoesThroughItsStates) {
    Viewer viewer(port());
    const chassis::Card card = usual_card(CardClass::kLineCard, 3);
    insert(card);
    viewer.read_until(card_is(viewer, 3, "not ready"));
    node(card, true);
    check(card, false);
    viewer.read_until(card_is(viewer, 3, "denied"));
    check(card, true);
    viewer.read_until(card_is(viewer, 3, "ready"));
    store().remove(card_info(card));
    viewer.read_until(card_is(viewer, 3, "not installed"));
    store().remove(check_result(card, true));
    store().remove(node_ready(card, true, true));
    viewer.read_until(card_is(viewer, 3, ""));
}

TEST_F(Stream, ACardThatIsInstalledInAdvanceIsToldWithItsClass) {
    Viewer viewer(port());
    const chassis::Card card = usual_card(CardClass::kLineCard, 3);
    insert(card);
    node(card, true, false);
    viewer.read_until(card_is(viewer, 3, "not ready"));
    store().write(chassis::scope_ready("glb", true));
    viewer.read_until(card_is(viewer, 3, "ready in advance"));
    store().remove(chassis::scope_ready("glb", true));
    viewer.read_until(card_is(viewer, 3, "not ready"));
    EXPECT_EQ(viewer.shown()["scopes"], Json::object());
}

TEST_F(Stream, ACardOfEachClassIsReady) {
    Viewer viewer(port());
    const std::pair<CardClass, const char *> classes[] = {{CardClass::kLineCard, "lc"},
                                                          {CardClass::kFabric, "fab"},
                                                          {CardClass::kControlModule, "cm"},
                                                          {CardClass::kHps, "hps"}};
    for (const auto &[card_class, name] : classes) {
        const chassis::Card card = usual_card(card_class, 9);
        insert(card);
        check(card, true);
        node(card, true);
        viewer.read_until(card_is(viewer, 9, "ready"));
        EXPECT_EQ(viewer.shown()["cards"]["9"]["class"], name);
        store().remove(card_info(card));
        store().remove(check_result(card, true));
        store().remove(node_ready(card, true, true));
        viewer.read_until(card_is(viewer, 9, ""));
    }
}

TEST_F(Stream, ACardWhoseNodeChangesLeavesNothingBehind) {
    Viewer viewer(port());
    chassis::Card card = usual_card(CardClass::kLineCard, 3);
    insert(card);
    viewer.read_until(card_is(viewer, 3, "not ready"));
    card.node = 4;
    insert(card);
    viewer.read_until(card_is(viewer, 4, "not ready"));
    EXPECT_EQ(viewer.state_of(3), "");
}

TEST_F(Stream, TheTimeLineSaysWhatHappens) {
    Viewer viewer(port());
    viewer.read();
    const chassis::Card card = usual_card(CardClass::kLineCard, 3);
    insert(card);
    check(card, true);
    node(card, true);
    node(card, true);
    viewer.read_until(card_is(viewer, 3, "ready"));
    store().write(chassis::scope_ready("cm", false));
    write_int("/l3/arp", 5);
    store().remove(record::record_at("cap_table:/l3/arp"));
    store().remove(node_ready(card, true, true));
    viewer.read_until(card_is(viewer, 3, "not ready"));
    std::vector<std::string> words;
    std::set<int> ids;
    for (const Json &line : viewer.shown()["events"]) {
        words.push_back((line.contains("node") ? "3 " : "") + line["text"].get<std::string>());
        ids.insert(line["id"].get<int>());
    }
    EXPECT_EQ(ids.size(), words.size());
    // States are told once a version: whether one is "not ready" between depends on the time.
    std::erase_if(words, [](const std::string &each) { return each.starts_with("3 is now"); });
    EXPECT_THAT(words, testing::ElementsAre(testing::StartsWith("3 a card was inserted"), "3 the check passed",
                                            "3 the card says it is ready", "3 the card says it is ready, told again",
                                            "Control modules: not ready", "/l3/arp: int32_value = 5",
                                            "/l3/arp was deleted", "3 the card's readiness was withdrawn"));
}

// All of it, however many there are and whatever comes between.
TEST_F(Stream, TenViewersSeeTheLastStatesOfABurst) {
    std::vector<Viewer> viewers;
    for (int i = 0; i < 10; ++i) {
        viewers.emplace_back(port());
        viewers.back().read();
    }
    constexpr int kUrls = 50;
    for (int change = 0; change < 500; ++change) {
        write_int("/burst/" + std::to_string(change % kUrls), change);
    }
    const auto has_last_states = [](const Json &shown) {
        for (int url = 0; url < kUrls; ++url) {
            if (!capability_is("cap_table:/burst/" + std::to_string(url), 500 - kUrls + url)(shown)) {
                return false;
            }
        }
        return true;
    };
    for (Viewer &viewer : viewers) {
        viewer.read_until(has_last_states);
    }
    EXPECT_TRUE(has_last_states(Json::parse(get("/state").body)));
}

TEST_F(Stream, ComesTenTimesASecondAtMost) {
    Viewer viewer(port());
    viewer.read();
    const auto begin = std::chrono::steady_clock::now();
    int last = 0;
    while (std::chrono::steady_clock::now() - begin < std::chrono::milliseconds(550)) {
        write_int("/busy", ++last);
    }
    viewer.read_until(capability_is("cap_table:/busy", last));
    const auto took = std::chrono::steady_clock::now() - begin;
    EXPECT_GT(last, 50) << "that many changes say nothing";
    EXPECT_LE(viewer.events_read() - 1, took / std::chrono::milliseconds(100) + 1U);
}

// It is told the last state of what it has missed, and costs the board no more than what it takes up.
TEST_F(Stream, AViewerThatDoesNotReadIsToldTheLastStateWhenItDoes) {
    Viewer slow(port());
    Viewer other(port());
    slow.read();
    other.read();
    const std::string large(30000, 'x');
    constexpr int kRounds = 40;
    for (int round = 1; round <= kRounds; ++round) {
        for (int url = 0; url < 10; ++url) {
            const std::string key = "cap_glb_table:1:/large/" + std::to_string(url);
            write(key, {{"str_value", large}, {"int32_value", std::to_string(round)}});
        }
        other.read_until(capability_is("cap_glb_table:1:/large/9", round));
    }
    slow.read_until(capability_is("cap_glb_table:1:/large/9", kRounds));
    for (int url = 0; url < 10; ++url) {
        EXPECT_TRUE(capability_is("cap_glb_table:1:/large/" + std::to_string(url), kRounds)(slow.shown())) << url;
    }
    EXPECT_LT(slow.bytes_read(), other.bytes_read() / 2);
    EXPECT_LT(slow.events_read(), other.events_read() / 2);
}

TEST_F(Stream, SaysThatItLivesWhenNothingChanges) {
    Viewer viewer(port());
    viewer.read();
    const Json next = viewer.read();
    EXPECT_EQ(next.size(), 1) << next;
    EXPECT_GT(next["version"], viewer.shown()["version"]);
}

}  // namespace

}  // namespace board_test
