// The four readiness queries.

#include "allocations.h"
#include "library_test.h"
#include "parameter_name.h"
#include "thread_stack.h"

namespace trel_cap_tests {
namespace {

struct Query {
    const char *name;
    int32_t (*ask)(MomClient *client, uint8_t *ready);
    const ProtobufCMessageDescriptor *type;
};

const Query kQueries[] = {
    {"trel_cap_ce_get_glb_ready", trel_cap_ce_get_glb_ready, &cap_glb_state__descriptor},
    {"trel_cap_ce_get_hps_glb_ready", trel_cap_ce_get_hps_glb_ready, &cap_hps_glb_state__descriptor},
    {"trel_cap_ce_get_cm_glb_ready", trel_cap_ce_get_cm_glb_ready, &cap_cm_glb_state__descriptor},
    {"trel_cap_ce_get_fab_glb_ready", trel_cap_ce_get_fab_glb_ready, &cap_fab_glb_state__descriptor},
};

class Readiness : public LibraryTest, public ::testing::WithParamInterface<Query> {
protected:
    const Query &query = GetParam();

    // Asks; what is not written stays 0x2a.
    int32_t ask() {
        std::array<uint8_t, 3> bytes = {0x55, 0x2a, 0x55};
        const int32_t status = query.ask(client, &bytes[1]);
        EXPECT_EQ(bytes[0], 0x55);
        EXPECT_EQ(bytes[2], 0x55);
        ready = bytes[1];
        return status;
    }
    ObjectAnswer state(int32_t stored) const { return {Record::of(*query.type, {{5, stored}}), 0}; }

    Log error(const std::string &message) const { return {100, query.name, message}; }
    Log detail(const std::string &message) const { return {40, query.name, message}; }
    Log enter() const { return detail(text("enter %p", static_cast<void *>(client))); }
    Call request() const { return call::get_sync(client, 28, Record::of(*query.type)); }

    uint8_t ready = 0x2a;
};

INSTANTIATE_TEST_SUITE_P(Queries, Readiness, ::testing::ValuesIn(kQueries), test_support::name_of);

TEST_P(Readiness, IsWhatTheStateRecordSays) {
    for (const int32_t stored : {0, 1}) {
        platform.get_sync.always(state(stored));
        at_every_log_level([this, stored] {
            EXPECT_EQ(ask(), 0);
            EXPECT_EQ(ready, stored);
            expect_events(
                {enter(), request(), error(text("ready is %d", stored)), call::ox_obj_free(), detail("leave")});
        });
    }
}

TEST_P(Readiness, EveryStoredNumberButZeroIsReadyAndLoggedAsItIs) {
    for (const int32_t stored : {2, 5, 256, -1}) {
        platform.get_sync.always(state(stored));
        EXPECT_EQ(ask(), 0);
        EXPECT_EQ(ready, 1) << stored;
        EXPECT_THAT(platform.logs(), ::testing::Contains(error(text("ready is %d", stored))));
        platform.forget();
    }
}

TEST_P(Readiness, NobodyHavingPublishedAStateIsNotReadyWithSuccess) {
    platform.get_sync.always({});
    at_every_log_level([this] {
        EXPECT_EQ(ask(), 0);
        EXPECT_EQ(ready, 0);
        expect_events({enter(), request(), error("tmp_state is NULL")});
    });
}

TEST_P(Readiness, AnErrorIsNotReadyWithoutSuccess) {
    for (const int32_t code : {-108, 9}) {
        platform.get_sync.always({Record(), code});
        at_every_log_level([this, code] {
            EXPECT_EQ(ask(), -21);
            EXPECT_EQ(ready, 0);
            expect_events({enter(), request(), error(text("errorcode %d", code))});
        });
    }
}

TEST_P(Readiness, ARecordThatComesWithAnErrorIsFreedAndNotBelieved) {
    platform.get_sync.always({Record::of(*query.type, {{5, 1}}), -112});
    at_every_log_level([this] {
        EXPECT_EQ(ask(), -21);
        EXPECT_EQ(ready, 0);
        expect_events({enter(), request(), error("errorcode -112"), call::ox_obj_free()});
    });
}

TEST_P(Readiness, WhatFreeingAnswersDoesNotMatter) {
    platform.get_sync.always(state(1));
    platform.ox_obj_free.always(-3);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(ready, 1);
}

TEST_P(Readiness, ReportsTheFirstBadArgumentOnly) {
    at_every_log_level([this] {
        uint8_t untouched = 0x2a;
        EXPECT_EQ(query.ask(nullptr, nullptr), -4);
        expect_events({error("global NULL pointer, addr error!\n")});
        EXPECT_EQ(query.ask(nullptr, &untouched), -4);
        EXPECT_EQ(untouched, 0x2a);
        expect_events({error("global NULL pointer, addr error!\n")});
        EXPECT_EQ(query.ask(client, nullptr), -4);
        expect_events({error("ready NULL pointer, addr error!\n")});
    });
}

TEST_P(Readiness, AsksTheClientItIsGivenAndTheStoreEveryTime) {
    g_trel_cap_global = other_client;
    platform.get_sync.then(state(1)).then(state(0));
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(ready, 1);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(ready, 0);
    EXPECT_THAT(platform.calls("ox_mom_get_sync"), ::testing::ElementsAre(request(), request()));
}

TEST_P(Readiness, BuildsItsRequestOnTheStackAndAllocatesNothing) {
    platform.on_call = [](const Call &, const ProtobufCMessage *request) {
        EXPECT_TRUE(request == nullptr || test_support::is_on_this_stack(request));
    };
    platform.get_sync.then(state(1)).then({}).then({Record(), -108});
    const test_support::AllocationCount allocations;
    for (int i = 0; i < 3; ++i) {
        query.ask(client, &ready);
    }
    EXPECT_EQ(allocations.count(), 0);
    EXPECT_EQ(platform.calls("ox_mom_get_sync").size(), 3U);
}

// Releasing what a state query was given.

using ObjectFree = LibraryTest;

TEST_F(ObjectFree, NothingIsIgnored) {
    platform.ox_obj_free.always(-3);
    at_every_log_level([this] {
        EXPECT_EQ(trel_cap_ox_obj_free(nullptr), 0);
        expect_events({});
    });
}

TEST_F(ObjectFree, ARecordGoesToTheClientAndItsAnswerComesBack) {
    for (const int32_t answer : {0, -3, 4}) {
        platform.ox_obj_free.always(answer);
        at_every_log_level([this, answer] {
            EXPECT_EQ(trel_cap_ox_obj_free(platform.give_object(Record::of(cap_glb_state__descriptor))), answer);
            EXPECT_EQ(platform.held(), 0U);
            expect_events({call::ox_obj_free()});
        });
    }
}

}  // namespace
}  // namespace trel_cap_tests
