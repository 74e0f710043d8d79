// What vanished while a follower was away is told when it follows again.
#include <algorithm>
#include <set>
#include <utility>

#include "loss_test.h"

namespace mom_test {
namespace {

class VanishedTest : public LossTest {};
INSTANTIATE_OVER_STORES(VanishedTest);

TEST_P(VanishedTest, IsToldAsItLastWasOnceTheRestIsLoaded) {
    ASSERT_EQ(put_int(writer(), "/scanned", 1), 0);
    ASSERT_EQ(put_int(writer(), "/stays", 2), 0);
    follow_for_good<CapTable>(on_notification<0>, 0);
    may_be_lost();
    ASSERT_EQ(put_int(writer(), "/notified", 3), 0);
    ASSERT_EQ(put(writer(), ByUrl<CapTable>("/scanned", 4).message(), {kInt}), 0);
    ASSERT_TRUE(settle(client(), writer()));
    take_events();

    lose();
    ASSERT_EQ(put_int(writer(), "/scanned", 5), 0) << "of which it is never told";
    for (const char *url : {"/scanned", "/notified"}) {
        ASSERT_EQ(del(writer(), Cap(url).message()), 0);
    }
    ASSERT_EQ(put_int(writer(), "/new", 6), 0);
    ASSERT_TRUE(comes_back());
    const std::vector<Event> told = take_events();
    ASSERT_EQ(commands_of(told), (Commands{29, 4, 4, 3, 3, 4}));
    std::map<std::string, int32_t> vanished;
    for (const Event &event : {told[3], told[4]}) {
        vanished[event.as<CapTable>().index->url] = event.as<CapTable>().int32_value;
        EXPECT_EQ(event.db, kGlobalDb);
    }
    EXPECT_STREQ(told[5].as<CapTable>().index->url, "/new") << "a deletion may have undone it";
    EXPECT_EQ(told[5].as<CapTable>().int32_value, 6);
    EXPECT_EQ(vanished, (std::map<std::string, int32_t>{{"/scanned", 4}, {"/notified", 3}}));

    lose();
    ASSERT_TRUE(comes_back());
    EXPECT_EQ(commands_of(take_events()), (Commands{29, 4, 4})) << "told once";
}

TEST_P(VanishedTest, ASingleObjectToo) {
    follow_for_good<CapGlbState>(on_notification<0>, 0);
    may_be_lost();
    ASSERT_EQ(set<CapGlbState>(writer(), true), 0);
    ASSERT_TRUE(settle(client(), writer()));
    take_events();
    lose();
    ASSERT_EQ(del(writer(), Single<CapGlbState>().message()), 0);
    ASSERT_TRUE(comes_back());
    const std::vector<Event> told = take_events();
    ASSERT_EQ(commands_of(told), (Commands{29, 3}));
    EXPECT_EQ(told[1].as<CapGlbState>().ready, 1);
    lose();
    ASSERT_EQ(set<CapGlbState>(writer(), true), 0);
    ASSERT_TRUE(comes_back());
    EXPECT_EQ(commands_of(take_events()), (Commands{29, 1}));
}

TEST_P(VanishedTest, WhatWasNeverToldOrIsKnownToBeGoneIsNot) {
    ASSERT_EQ(put_int(writer(), "/not-scanned", 1), 0);
    ASSERT_EQ(follow<CapTable>(client()), 0);
    set_follow_again([this] { EXPECT_EQ(follow<CapTable>(client()), 0); });
    may_be_lost();
    ASSERT_EQ(put_int(writer(), "/deleted", 2), 0);
    ASSERT_EQ(del(writer(), Cap("/deleted").message()), 0);
    ASSERT_TRUE(settle(client(), writer()));
    EXPECT_EQ(commands_of(take_events()), (Commands{29, 4, 3}));
    lose();
    ASSERT_EQ(del(writer(), Cap("/not-scanned").message()), 0);
    ASSERT_TRUE(comes_back());
    EXPECT_EQ(commands_of(take_events()), (Commands{29}));
}

// The deletion is made after the type is followed again and before that is confirmed: both would tell of it.
TEST_P(VanishedTest, ADeletionThatComesAsWellIsToldOnce) {
    follow_for_good<CapTable>(on_notification<0>, 0);
    may_be_lost();
    for (const char *url : {"/gone", "/back"}) {
        ASSERT_EQ(put_int(writer(), url, 1), 0);
    }
    ASSERT_TRUE(settle(client(), writer()));
    take_events();
    lose();
    slot().hook = nullptr;
    const auto follow_again = [this] {
        EXPECT_EQ(follow<CapTable>(client(), on_notification<0>), 0);
        EXPECT_EQ(del(writer(), Cap("/gone").message()), 0);
        EXPECT_EQ(del(writer(), Cap("/back").message()), 0);
        EXPECT_EQ(put_int(writer(), "/back", 2), 0);
    };
    set_follow_again(follow_again);
    ASSERT_TRUE(comes_back());
    std::vector<Event> told = take_events();
    ASSERT_EQ(commands_of(told), (Commands{29, 3, 3, 4})) << "one vanished; one is not what it was";
    EXPECT_STREQ(told[1].as<CapTable>().index->url, "/gone");
    for (const size_t of_back : {2U, 3U}) {
        EXPECT_STREQ(told[of_back].as<CapTable>().index->url, "/back");
    }

    ASSERT_EQ(put_int(writer(), "/gone", 3), 0);
    ASSERT_EQ(del(writer(), Cap("/gone").message()), 0);
    ASSERT_TRUE(settle(client(), writer()));
    EXPECT_EQ(commands_of(take_events()), (Commands{4, 3})) << "later ones are told as ever";
}

TEST_P(VanishedTest, OnlyThoseAreToldWhoFollowedBeforeAndFollowAgain) {
    follow_for_good<CapTable>(on_notification<0>, 0);
    ASSERT_EQ(follow<CapTable>(client(), on_notification<1>), 0);
    ASSERT_EQ(put_int(writer(), "/a", 1), 0);
    ASSERT_TRUE(settle(client(), writer()));
    set_follow_again([this] {
        EXPECT_EQ(follow<CapTable>(client(), on_notification<0>), 0);
        EXPECT_EQ(follow<CapTable>(client(), on_notification<2>), 0);
    });
    may_be_lost();
    lose();
    ASSERT_EQ(del(writer(), Cap("/a").message()), 0);
    for (const int number : {0, 1, 2}) {
        take_events(number);
    }
    ASSERT_TRUE(comes_back());
    EXPECT_EQ(slot(0).commands(), (Commands{29, 3}));
    EXPECT_EQ(slot(1).commands(), (Commands{}));
    EXPECT_EQ(slot(2).commands(), (Commands{29}));
}

// Of the types behind the first before that is loaded, and what has changed as well: nothing is loaded beside what is
// out of date.
TEST_P(VanishedTest, IsToldOfTheOtherTypesBeforeTheFirstIsLoaded) {
    ASSERT_EQ(put_int(writer(), "/a", 1), 0);
    ASSERT_EQ(put(writer(), ByUrl<CapFabTable>("/f", 1).message(), {kInt}), 0);
    ASSERT_EQ(put(writer(), ByUrl<CapFabTable>("/changes", 1).message(), {kInt}), 0);
    follow_for_good<CapTable>(on_notification<0>, 0);
    follow_for_good<CapFabTable>(on_notification<1>, 1);
    may_be_lost();
    ASSERT_TRUE(settle(client(), writer()));
    take_events(0);
    take_events(1);
    lose();
    ASSERT_EQ(del(writer(), Cap("/a").message()), 0);
    ASSERT_EQ(put_int(writer(), "/new", 1), 0);
    ASSERT_EQ(del(writer(), ByUrl<CapFabTable>("/f").message()), 0);
    ASSERT_EQ(put(writer(), ByUrl<CapFabTable>("/changes", 2).message(), {kInt}), 0);
    ASSERT_TRUE(comes_back());
    const std::vector<Event> first = take_events(0);
    const std::vector<Event> second = take_events(1);
    ASSERT_EQ(commands_of(first), (Commands{29, 4, 3, 4}));
    ASSERT_EQ(commands_of(second), (Commands{3, 4, 29, 4}));
    EXPECT_LT(second[1].order, first[0].order);
    EXPECT_LT(first[2].order, second[2].order) << "before the next type is confirmed";
    EXPECT_EQ(second[1].as<CapFabTable>().int32_value, 2);
}

// All who follow a type load it before they are told what has vanished of it.
TEST_P(VanishedTest, EachCallbackIsConfirmedFirst) {
    follow_for_good<CapTable>(on_notification<0>, 0);
    follow_for_good<CapTable>(on_notification<1>, 1);
    may_be_lost();
    ASSERT_EQ(put_int(writer(), "/a", 1), 0);
    ASSERT_EQ(put_int(writer(), "/b", 1), 0);
    ASSERT_TRUE(settle(client(), writer()));
    take_events(0);
    take_events(1);
    lose();
    ASSERT_EQ(del(writer(), Cap("/a").message()), 0);
    ASSERT_TRUE(comes_back());
    EXPECT_EQ(commands_of(take_events(0)), (Commands{29, 4, 3}));
    EXPECT_EQ(commands_of(take_events(1)), (Commands{29, 4, 3}));
}

TEST_P(VanishedTest, AFieldFollowerIsToldOnceThoughTheDeletionComesAsWell) {
    may_be_lost();
    for (const char *url : {"/1", "/2"}) {
        ASSERT_EQ(put_int(writer(), url, 1), 0);
    }
    ASSERT_EQ(follow_field(client(), Cap("/1").message(), kInt, on_field<1>), 0);
    ASSERT_EQ(follow_field(client(), Cap("/2").message(), kInt, on_field<2>), 0);
    // Told first of the present, it deletes the other's record before that is read.
    slot(1).hook = [this](MomClient *, MomMsg *) {
        if (slot(1).events.size() == 1) {
            EXPECT_EQ(del(writer(), Cap("/2").message()), 0);
        }
    };
    set_follow_again([] {});
    may_be_lost();
    lose();
    ASSERT_TRUE(comes_back());
    EXPECT_EQ(slot(1).commands(), (Commands{4}));
    EXPECT_EQ(slot(2).commands(), (Commands{3}));
    ASSERT_EQ(put_int(writer(), "/2", 1), 0);
    ASSERT_EQ(del(writer(), Cap("/2").message()), 0);
    ASSERT_TRUE(settle(client(), writer()));
    EXPECT_EQ(slot(2).commands(), (Commands{3, 4, 3}));
}

// A callback that runs the client, and one that destroys it.
TEST_P(VanishedTest, ACallbackMayDoAnything) {
    follow_for_good<CapTable>(on_notification<0>, 0);
    may_be_lost();
    constexpr int kRecords = 5;
    for (int i = 0; i < kRecords; ++i) {
        ASSERT_EQ(put_int(writer(), "/" + std::to_string(i), i), 0);
    }
    ASSERT_TRUE(settle(client(), writer()));
    take_events();
    lose();
    for (int i = 0; i < kRecords; ++i) {
        ASSERT_EQ(del(writer(), Cap("/" + std::to_string(i)).message()), 0);
    }
    // The first that is told has all the others written again, and hears that before it returns.
    std::string first;
    slot().hook = [&](MomClient *running, MomMsg *) {
        if (first.empty() && slot().events.back().cmd == OX_MOM_CMD_DELETED) {
            first = slot().events.back().as<CapTable>().index->url;
            for (int i = 0; i < kRecords; ++i) {
                if (first != "/" + std::to_string(i)) {
                    EXPECT_EQ(put_int(writer(), "/" + std::to_string(i), 100 + i), 0);
                }
            }
            while (slot().count(OX_MOM_CMD_DELIVERED) < kRecords - 1) {
                ASSERT_GE(ox_mom_client_process(running, 1000), 0);
            }
        }
    };
    ASSERT_TRUE(comes_back());
    EXPECT_EQ(slot().commands(), (Commands{29, 3, 4, 4, 4, 4})) << "what is there again is not told as gone";

    lose();
    for (int i = 0; i < kRecords; ++i) {
        ASSERT_EQ(del(writer(), Cap("/" + std::to_string(i)).message()), 0);
    }
    take_events();
    slot().hook = [](MomClient *running, MomMsg *msg) {
        if (msg->cmd == OX_MOM_CMD_DELETED) {
            ox_mom_client_destroy(running);
        }
    };
    int32_t status = 0;
    while (status >= 0) {
        status = ox_mom_client_process(client().get(), 1000);
    }
    EXPECT_EQ(status, OX_MOM_E_DESTROYED);
    EXPECT_EQ(slot().count(3), 1);
}

class VanishedFromServerTest : public VanishedTest {};
INSTANTIATE_OVER_SERVERS(VanishedFromServerTest);

TEST_P(VanishedFromServerTest, OfAnEmptyServerEverything) {
    follow_for_good<CapTable>(on_notification<0>, 0);
    constexpr int kRecords = 1000;
    for (int i = 0; i < kRecords; ++i) {
        ASSERT_EQ(put_int(writer(), "/" + std::to_string(i), i), 0);
    }
    ASSERT_TRUE(settle(client(), writer()));
    server().restart(RedisServer::Data::kDropped);
    const size_t before = recorder().reconnections.size();
    ASSERT_TRUE(pump_until(client(), [before] { return recorder().reconnections.size() > before; }));
    ASSERT_TRUE(settle(client(), client()));
    EXPECT_EQ(slot().count(3), kRecords);
}

// Tools that delete past the client tell nobody. It is noticed with the next loss.
TEST_P(VanishedFromServerTest, DeletedPastTheClientIsToldAfterTheNextLoss) {
    follow_for_good<CapTable>(on_notification<0>, 0);
    for (const char *url : {"/deleted", "/renamed", "/expired"}) {
        ASSERT_EQ(put_int(writer(), url, 1), 0);
    }
    ASSERT_TRUE(settle(client(), writer()));
    take_events();
    RedisConnection raw = server().connection();
    raw.must({"SELECT", std::to_string(kGlobalDb)});
    const std::string key = "p_libpub.cap_table:";
    raw.must({"DEL", key + "/deleted"});
    raw.must({"RENAME", key + "/renamed", "elsewhere"});
    raw.must({"PEXPIRE", key + "/expired", "-1"});
    ASSERT_TRUE(settle(client(), writer()));
    EXPECT_TRUE(slot().events.empty());
    EXPECT_EQ(stored_int(client(), "/deleted"), -1) << "what is read is true at any time";
    lose();
    ASSERT_TRUE(comes_back());
    EXPECT_EQ(commands_of(take_events()), (Commands{29, 3, 3, 3}));
    ASSERT_EQ(put_int(writer(), "/late", 1), 0);
    ASSERT_TRUE(settle(client(), writer()));
    take_events();
    raw.must({"FLUSHDB"});
    lose();
    ASSERT_TRUE(comes_back());
    EXPECT_EQ(commands_of(take_events()), (Commands{29, 3}));
}

// But for a database that is emptied, which servers tell.
TEST_P(VanishedFromServerTest, OfAnEmptiedDatabaseEverythingAtOnce) {
    follow_for_good<CapTable>(on_notification<0>, 0);
    for (const char *command : {"FLUSHDB", "FLUSHALL"}) {
        ASSERT_EQ(put_int(writer(), "/a", 1), 0);
        ASSERT_TRUE(settle(client(), writer()));
        take_events();
        RedisConnection raw = server().connection();
        raw.must({"SELECT", std::to_string(kGlobalDb)});
        raw.must({command});
        ASSERT_TRUE(comes_back()) << command;
        EXPECT_EQ(commands_of(take_events()), (Commands{29, 3})) << command;
    }
}

// What could not be compared is neither told nor forgotten.
TEST_P(VanishedFromServerTest, ATypeThatCannotBeReadIsToldOfLater) {
    ASSERT_EQ(put_int(writer(), "/a", 1), 0);
    ASSERT_EQ(put(writer(), ByUrl<CapFabTable>("/f", 1).message(), {kInt}), 0);
    ASSERT_EQ(put(writer(), ByUrl<CapFabTable>("/g", 1).message(), {kInt}), 0);
    follow_for_good<CapTable>(on_notification<0>, 0);
    follow_for_good<CapFabTable>(on_notification<1>, 1);
    ASSERT_TRUE(settle(client(), writer()));
    take_events(1);
    slot(1).hook = nullptr;  // its scan is refused, too
    lose();
    RedisConnection raw = server().connection();
    raw.must({"SELECT", std::to_string(kGlobalDb)});
    const std::string set = "records:p_libpub.cap_fab_table";
    raw.must({"RENAME", set, "aside"});
    raw.must({"SET", set, "no set"});
    ASSERT_TRUE(comes_back());
    raw.must({"RENAME", "aside", set});
    EXPECT_EQ(commands_of(take_events(1)), (Commands{29}));

    ASSERT_EQ(del(writer(), ByUrl<CapFabTable>("/f").message()), 0);
    ASSERT_TRUE(settle(client(), writer()));
    EXPECT_EQ(commands_of(take_events(1)), (Commands{3})) << "by its notification";
    lose();
    ASSERT_EQ(del(writer(), ByUrl<CapFabTable>("/g").message()), 0);
    ASSERT_TRUE(comes_back());
    EXPECT_EQ(commands_of(take_events(1)), (Commands{3, 29})) << "by the next comparison";
}

// The callback that is told of the first runs the client until the store has been lost, is back, and is followed.
TEST_P(VanishedFromServerTest, IsNotForgottenWhenACallbackSeesTheStoreLostAgain) {
    constexpr int kRecords = 10;
    const auto follow_both = [this] {
        EXPECT_EQ(follow<CapTable>(client(), on_notification<0>), 0);
        EXPECT_EQ(follow<CapFabTable>(client(), on_notification<1>), 0);
    };
    follow_both();
    set_follow_again(follow_both);
    ASSERT_TRUE(settle(client(), writer()));
    for (int i = 0; i < kRecords; ++i) {
        ASSERT_EQ(put(writer(), ByUrl<CapFabTable>("/" + std::to_string(i), i).message(), {kInt}), 0);
    }
    ASSERT_TRUE(settle(client(), writer()));
    bool once = false;
    slot(1).hook = [&](MomClient *running, MomMsg *msg) {
        if (msg->cmd == OX_MOM_CMD_DELETED && !std::exchange(once, true)) {
            // The confirmation that is waiting, and the one after the next return.
            const auto last = slot(1).count(OX_MOM_CMD_SUBSCRIBED) + 2;
            server().connection().must({"CLIENT", "KILL", "TYPE", "pubsub"});
            while (slot(1).count(OX_MOM_CMD_SUBSCRIBED) != last) {
                ASSERT_GE(ox_mom_client_process(running, 1000), 0);
            }
        }
    };
    lose();
    for (int i = 0; i < kRecords; ++i) {
        ASSERT_EQ(del(writer(), ByUrl<CapFabTable>("/" + std::to_string(i)).message()), 0);
    }
    ASSERT_TRUE(comes_back());
    ASSERT_TRUE(settle(client(), writer()));
    std::multiset<std::string> told;
    for (const Event &event : slot(1).events) {
        if (event.cmd == OX_MOM_CMD_DELETED) {
            told.insert(event.as<CapFabTable>().index->url);
        }
    }
    EXPECT_EQ(told.size(), static_cast<size_t>(kRecords)) << "each once";
    EXPECT_EQ(std::set<std::string>(told.begin(), told.end()).size(), static_cast<size_t>(kRecords));
}

// Whenever the store is lost again before it could be told, it is told after the next return.
TEST_P(VanishedFromServerTest, IsNotForgottenWhenTheStoreIsLostAgain) {
    follow_for_good<CapTable>(on_notification<0>, 0);
    ASSERT_EQ(put_int(writer(), "/a", 1), 0);
    ASSERT_EQ(put_int(writer(), "/b", 1), 0);
    ASSERT_TRUE(settle(client(), writer()));
    take_events();
    int returns = 0;
    set_follow_again([this, &returns] {
        if (++returns <= 3) {
            EXPECT_EQ(follow<CapTable>(client(), on_notification<0>), 0);
            server().connection().must({"CLIENT", "KILL", "TYPE", "pubsub"});
            server().connection().must({"CLIENT", "KILL", "TYPE", "normal"});
        } else {
            EXPECT_EQ(follow<CapTable>(client(), on_notification<0>), 0);
        }
    });
    lose();
    ASSERT_EQ(del(writer(), Cap("/a").message()), 0);
    ASSERT_TRUE(pump_until(client(), [] { return slot().count(OX_MOM_CMD_DELETED) == 1; }));
    ASSERT_TRUE(settle(client(), connect()));
    const auto deletion = std::ranges::find(slot().events, OX_MOM_CMD_DELETED, &Event::cmd);
    EXPECT_EQ(slot().count(OX_MOM_CMD_DELETED), 1);
    EXPECT_STREQ(deletion->as<CapTable>().index->url, "/a");
}

}  // namespace
}  // namespace mom_test
