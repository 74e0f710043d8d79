// The readiness of the device and of the three classes: what the four processors of state records do alike, and in what
// order each of them tells of it.

#include "allocations.h"
#include "card_classes.h"
#include "messages.h"
#include "thread_stack.h"

namespace trel_cap_tests::processors {
namespace {

class StateReadiness : public ProcessorTest, public ::testing::WithParamInterface<const CardClass *> {
protected:
    StateReadiness() : ProcessorTest(GetParam()->state_processor, GetParam()->process_state) {}

    const CardClass &card_class = *GetParam();

    uint8_t &calc_ready() { return *card_class.calc_ready(); }
    uint8_t &validated() { return *card_class.state_validated(); }
    uint32_t &flag_word() { return *card_class.flag_word(); }
    const char *word() const { return card_class.calc_word; }
    const std::vector<CapNodeRecord> entries = preinstalled_entries();

    Record state_record(int32_t ready) const { return Record::of(*card_class.state_type, {{5, ready}}); }
    int32_t write(int32_t ready) { return process(written(state_record(ready))); }
    int32_t confirm() { return process(Message(29)); }

    // The library's query, up to its answer.
    Events asked() const {
        const Log enter = {40, card_class.query, text("enter %p", static_cast<void *>(client))};
        return {enter, call::get_sync(client, 28, Record::of(*card_class.state_type))};
    }
    Events answered(int32_t ready) const {
        return in_order(asked(), Log{100, card_class.query, text("ready is %d", ready)}, call::ox_obj_free(),
                        Log{40, card_class.query, "leave"});
    }
    Events unanswered(int32_t code) const {
        return in_order(asked(), Log{100, card_class.query, text("errorcode %d", code)});
    }

    Events written_events(int old, int32_t record, int now) const {
        return {detail("enter"), progress(text("old, %s %d", word(), old)), progress(text("ready is %d", record)),
                progress(text("hset, %s %d ", word(), now))};
    }
    Events confirming_events(int old) const {
        return {detail("enter"), progress(text("subscribe ok, %s %d", word(), old))};
    }
    Log confirmed_event(int now, uint32_t flags) const {
        return progress(text("subscribe ok, %s %d, %s %d", word(), now, card_class.flag_name, static_cast<int>(flags)));
    }
    Events event_sent(const List &list, int event) const {
        return in_order(progress(text("trel_cap_callback_hander, event %d", event)), dispatched(list, event));
    }
    Events class_event_sent() const { return event_sent(card_class.list, card_class.class_event); }

    // A callback of the class's event that makes the class unready.
    void let_callback_clear(int event) {
        const Call cue = event == 8 ? told(kLineCardsAndHps, 8) : told(card_class.list, event);
        platform.on_call = [this, cue](const Call &call, const ProtobufCMessage *) {
            if (call == cue) {
                calc_ready() = 0;
            }
        };
    }
};

INSTANTIATE_TEST_SUITE_P(Classes, StateReadiness, ::testing::ValuesIn(kCardClasses), class_name);

TEST_P(StateReadiness, IsWhatIsWritten) {
    for (const int old : {0, 1}) {
        for (const int32_t record : {0, 1, 2, 256, -1}) {
            at_every_log_level([&] {
                start_with(entries);
                calc_ready() = static_cast<uint8_t>(old);
                EXPECT_EQ(write(record), 0);
                EXPECT_EQ(calc_ready(), record == 0 ? 0 : 1);
                expect_events(written_events(old, record, record == 0 ? 0 : 1));
            });
        }
    }
}

TEST_P(StateReadiness, AWriteWithoutARecordIsNotReady) {
    for (const int old : {0, 1}) {
        at_every_log_level([&] {
            start_with(entries);
            allow_everything();
            validated() = 0;
            calc_ready() = static_cast<uint8_t>(old);
            EXPECT_EQ(process(Message(1)), 0);
            EXPECT_EQ(calc_ready(), 0);
            expect_events({detail("enter"), progress(text("old, %s %d", word(), old)),
                           progress("tmp_state is NULL, just set ready false"), progress(text("hset, %s 0 ", word()))});
        });
    }
}

TEST_P(StateReadiness, IsWhatTheStoreSaysOnceSubscribed) {
    for (const int old : {0, 1}) {
        for (const int32_t record : {0, 1, 2, 256, -1}) {
            platform.get_sync.always({state_record(record), 0});
            at_every_log_level([&] {
                start_with(entries);
                calc_ready() = static_cast<uint8_t>(old);
                EXPECT_EQ(confirm(), 0);
                EXPECT_EQ(calc_ready(), record == 0 ? 0 : 1);
                expect_events(
                    in_order(confirming_events(old), answered(record), confirmed_event(record == 0 ? 0 : 1, 0)));
                EXPECT_EQ(validated(), 1);
            });
        }
    }
}

TEST_P(StateReadiness, NothingStoredIsNotReady) {
    calc_ready() = 1;
    EXPECT_EQ(confirm(), 0);
    EXPECT_EQ(calc_ready(), 0);
    EXPECT_EQ(validated(), 1);
    expect_events(in_order(confirming_events(1), asked(), Log{100, card_class.query, "tmp_state is NULL"},
                           confirmed_event(0, 0)));
}

TEST_P(StateReadiness, ShowsItsClasssFlags) {
    g_trel_cap_flag = 0x1000;
    g_trel_fab_cm_cap_flag = 0x2000;
    g_trel_hps_cap_flag = 0x4000;
    g_trel_lc_and_hps_cap_flag = 0x8000;
    EXPECT_EQ(confirm(), 0);
    EXPECT_THAT(platform.logs(processor_name), ::testing::Contains(confirmed_event(0, flag_word())));
    flag_word() = 0x80000000U;
    EXPECT_EQ(confirm(), 0);
    EXPECT_THAT(platform.logs(processor_name), ::testing::Contains(confirmed_event(0, 0x80000000U)));
}

TEST_P(StateReadiness, AsksTheClientThatIsConfirmed) {
    g_trel_cap_global = client;
    EXPECT_EQ(processor(other_client, Message(29).to(other_client, 28)), 0);
    EXPECT_THAT(platform.calls(),
                ::testing::ElementsAre(call::get_sync(other_client, 28, Record::of(*card_class.state_type))));
}

TEST_P(StateReadiness, AllocatesNothing) {
    start_with(entries);
    allow_everything();
    platform.get_sync.always({state_record(1), 0});
    Message news = written(state_record(1));
    Message confirmation(29);
    platform.on_call = [](const Call &call, const ProtobufCMessage *request) {
        EXPECT_TRUE(call.function != "ox_mom_get_sync" || test_support::is_on_this_stack(request));
    };
    const test_support::AllocationCount allocations;
    EXPECT_EQ(processor(client, news.to(client, 28)), 0);
    EXPECT_EQ(processor(client, confirmation.to(client, 28)), 0);
    EXPECT_EQ(allocations.count(), 0);
    EXPECT_EQ(platform.calls("ox_mom_get_sync").size(), 1U);
    EXPECT_EQ(platform.calls(card_class.list.callback).size(), 4U);  // twice of the class, twice of its node
}

// Nothing else of the thread's state changes, whatever comes.
TEST_P(StateReadiness, TouchesOnlyItsOwn) {
    start_with(entries);
    auto expected = state();
    EXPECT_EQ(write(1), 0);
    EXPECT_EQ(calc_ready(), 1);
    EXPECT_EQ(validated(), 0);
    calc_ready() = 0;
    EXPECT_EQ(state(), expected);

    platform.get_sync.always({state_record(1), 0});
    EXPECT_EQ(confirm(), 0);
    EXPECT_EQ(calc_ready(), 1);
    EXPECT_EQ(validated(), 1);
    calc_ready() = 0;
    validated() = 0;
    EXPECT_EQ(state(), expected);

    validated() = 1;
    expected = state();
    EXPECT_EQ(write(0), 0);
    EXPECT_EQ(state(), expected);
}

// A query that fails.

class StateFailure : public StateReadiness {
protected:
    Events failed(const Events &first, const Events &second, int32_t logged, const Events &last) const {
        const Events reported = in_order(second, error(text("failed,rv %d", logged)));
        return log_is_open() ? in_order(confirming_events(1), first, reported, last)
                             : in_order(confirming_events(1), first, last);
    }
    void let_queries_answer(const ObjectAnswer &first, const ObjectAnswer &second, const ObjectAnswer &last) {
        platform.get_sync.then(first);
        if (log_is_open()) {
            platform.get_sync.then(second);
        }
        platform.get_sync.then(last);
    }
    // Everything is there for events and announcements, but for this source.
    void start() {
        start_with(entries);
        allow_everything();
        validated() = 0;
    }
    ObjectAnswer failure(int32_t code) const { return {Record(), code}; }
};

INSTANTIATE_TEST_SUITE_P(Classes, StateFailure, ::testing::ValuesIn(kCardClasses), class_name);

TEST_P(StateFailure, IsReportedByAskingAgain) {
    at_every_log_level([this] {
        start();
        const auto before = state();
        let_queries_answer(failure(-5), failure(-6), failure(-7));
        EXPECT_EQ(confirm(), -21);
        expect_events(failed(unanswered(-5), unanswered(-6), -21, unanswered(-7)));
        EXPECT_EQ(state(), before);
    });
}

// The answer of a repetition is thrown away.
TEST_P(StateFailure, RemainsOneWhenARepetitionSucceeds) {
    at_every_log_level([this] {
        for (const int32_t ready : {0, 1}) {
            start();
            const auto before = state();
            let_queries_answer(failure(-5), {state_record(ready), 0}, {state_record(ready), 0});
            EXPECT_EQ(confirm(), 0);
            expect_events(failed(unanswered(-5), answered(ready), 0, answered(ready)));
            EXPECT_EQ(state(), before);
        }
        start();
        const auto before = state();
        let_queries_answer(failure(-5), {state_record(1), 0}, failure(-7));
        EXPECT_EQ(confirm(), -21);
        expect_events(failed(unanswered(-5), answered(1), 0, unanswered(-7)));
        EXPECT_EQ(state(), before);
    });
}

TEST_P(StateFailure, LeavesAnEarlierAnswer) {
    for (const int old : {0, 1}) {
        start();
        validated() = 1;
        calc_ready() = static_cast<uint8_t>(old);
        platform.get_sync.always(failure(-5));
        EXPECT_EQ(confirm(), -21);
        EXPECT_EQ(calc_ready(), old);
        EXPECT_EQ(validated(), 1);
    }
}

// What follows a new value.

class StateNews : public StateReadiness {
protected:
    struct Setting {
        bool confirmed;       // or written
        bool class_event;     // asked for
        bool event_8;         // asked for
        bool announcement;    // asked for
        bool all_validated;   // but for this source
        bool other_bits_set;  // in the flag words
    };

    static uint32_t bits(uint32_t wanted, uint32_t known, bool others) { return others ? wanted | ~known : wanted; }

    void start(const Setting &setting) {
        start_with(entries);
        if (setting.all_validated) {
            for (const auto source : card_class.sources) {
                *source() = 1;
            }
        }
        // A write finds its own source validated already.
        validated() = setting.confirmed ? 0 : 1;
        const uint32_t known = card_class.class_event_bit | card_class.announcement_bit;
        const uint32_t wanted = (setting.class_event ? card_class.class_event_bit : 0) |
                                (setting.announcement ? card_class.announcement_bit : 0);
        flag_word() = bits(wanted, known, setting.other_bits_set);
        g_trel_lc_and_hps_cap_flag = bits(setting.event_8 ? 0x100 : 0, 0x100, setting.other_bits_set);
        platform.get_sync.always({state_record(1), 0});
    }
    int32_t run(const Setting &setting) { return setting.confirmed ? confirm() : write(1); }

    Events beginning(const Setting &setting) {
        return setting.confirmed ? in_order(confirming_events(0), answered(1), confirmed_event(1, flag_word()))
                                 : written_events(0, 1, 1);
    }
    Events announcement(const Setting &setting, bool still_ready = true) const {
        if (!setting.all_validated) {
            return {};
        }
        if (!setting.announcement || !still_ready) {
            return {Log{80, card_class.announcement, "all fe_ready info validate"}};
        }
        return announced(card_class, entries);
    }
    Events class_event(const Setting &setting) const { return setting.class_event ? class_event_sent() : Events{}; }
    Events event_8(const Setting &setting) const {
        return setting.event_8 && card_class.sends_event_8 ? event_sent(kLineCardsAndHps, 8) : Events{};
    }

    template <class Body>
    void with_every_setting(Body body) {
        for (unsigned i = 0; i < 64; ++i) {
            SCOPED_TRACE("setting " + std::to_string(i));
            const auto bit = [i](unsigned n) { return (i >> n & 1) != 0; };
            const Setting setting = {.confirmed = bit(0),
                                     .class_event = bit(1),
                                     .event_8 = bit(2),
                                     .announcement = bit(3),
                                     .all_validated = bit(4),
                                     .other_bits_set = bit(5)};
            start(setting);
            body(setting);
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Classes, StateNews, ::testing::ValuesIn(kCardClasses), class_name);

// The device is announced first and told of then; the classes the other way round.
TEST_P(StateNews, IsToldOfAndAnnouncedInTheClasssOrder) {
    with_every_setting([this](const Setting &setting) {
        EXPECT_EQ(run(setting), 0);
        const Events news = in_order(class_event(setting), event_8(setting));
        expect_events(card_class.announces_first ? in_order(beginning(setting), announcement(setting), news)
                                                 : in_order(beginning(setting), news, announcement(setting)));
        EXPECT_EQ(validated(), 1);
        EXPECT_EQ(calc_ready(), 1);
    });
}

TEST_P(StateNews, GoesThroughTheGate) {
    const Setting setting = {.confirmed = true,
                             .class_event = true,
                             .event_8 = true,
                             .announcement = true,
                             .all_validated = true,
                             .other_bits_set = false};
    at_every_log_level([&] {
        start(setting);
        EXPECT_EQ(run(setting), 0);
        const Events news = in_order(class_event(setting), event_8(setting));
        expect_events(card_class.announces_first ? in_order(beginning(setting), announcement(setting), news)
                                                 : in_order(beginning(setting), news, announcement(setting)));
    });
}

// The value is read again after the callback.
TEST_P(StateNews, ACallbackMayMakeTheClassUnready) {
    with_every_setting([this](const Setting &setting) {
        let_callback_clear(card_class.class_event);
        EXPECT_EQ(run(setting), 0);
        const bool ready = !setting.class_event;
        const Events news = in_order(class_event(setting), ready ? event_8(setting) : Events{});
        expect_events(card_class.announces_first ? in_order(beginning(setting), announcement(setting), news)
                                                 : in_order(beginning(setting), news, announcement(setting, ready)));
        EXPECT_EQ(calc_ready(), ready ? 1 : 0);
        EXPECT_EQ(validated(), 1);
    });
}

TEST_P(StateNews, SoMayACallbackOfEvent8) {
    with_every_setting([this](const Setting &setting) {
        let_callback_clear(8);
        EXPECT_EQ(run(setting), 0);
        const bool ready = !(setting.event_8 && card_class.sends_event_8);
        const Events news = in_order(class_event(setting), event_8(setting));
        expect_events(card_class.announces_first ? in_order(beginning(setting), announcement(setting), news)
                                                 : in_order(beginning(setting), news, announcement(setting, ready)));
        EXPECT_EQ(validated(), 1);
    });
}

// The device's source is validated by the time of the callback, a class's only afterwards.
TEST_P(StateNews, IsValidatedByConfirmationsOnly) {
    with_every_setting([this](const Setting &setting) {
        validated() = 0;
        std::vector<int> seen;
        platform.on_call = [&](const Call &call, const ProtobufCMessage *) {
            if (call == told(card_class.list, card_class.class_event) || call == told(kLineCardsAndHps, 8)) {
                seen.push_back(validated());
            }
        };
        EXPECT_EQ(run(setting), 0);
        const int expected = setting.confirmed && card_class.announces_first ? 1 : 0;
        EXPECT_THAT(seen, ::testing::Each(expected));
        EXPECT_EQ(validated(), setting.confirmed ? 1 : 0);
    });
}

TEST_P(StateNews, OfBeingUnreadyIsNotTold) {
    with_every_setting([this](const Setting &setting) {
        platform.get_sync.always({state_record(0), 0});
        calc_ready() = 1;
        EXPECT_EQ(setting.confirmed ? confirm() : write(0), 0);
        const Events first = setting.confirmed
                                 ? in_order(confirming_events(1), answered(0), confirmed_event(0, flag_word()))
                                 : written_events(1, 0, 0);
        expect_events(in_order(first, announcement(setting, false)));
    });
}

// Nothing is compared with what was known before.
TEST_P(StateNews, IsToldEveryTime) {
    flag_word() = card_class.class_event_bit;
    platform.get_sync.always({state_record(1), 0});
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(write(1), 0);
        EXPECT_EQ(confirm(), 0);
    }
    EXPECT_EQ(platform.calls(card_class.list.callback).size(), 6U);
}

// What another class waits for, or is ready, does not matter.
TEST_P(StateNews, DependsOnItsOwnClassOnly) {
    start_with(entries);
    allow_everything();
    validated() = 0;
    calc_ready() = 0;
    flag_word() = 0;
    g_trel_lc_and_hps_cap_flag = 0;
    platform.get_sync.always({state_record(1), 0});
    EXPECT_EQ(confirm(), 0);
    EXPECT_EQ(write(1), 0);
    EXPECT_EQ(process(Message(1)), 0);
    for (const List *list : {&kLineCards, &kFabric, &kControlModules, &kHps, &kLineCardsAndHps}) {
        EXPECT_THAT(platform.calls(list->callback), ::testing::IsEmpty());
    }
}

class SystemReadiness : public ProcessorTest {
protected:
    SystemReadiness() : ProcessorTest("trel_cap_ce_glb_ready_pmsg_f", trel_cap_ce_glb_ready_pmsg_f) {}
};

// It comes before all else, and its callbacks may change what follows.
TEST_F(SystemReadiness, ACallbackOfTheAnnouncementMayMakeTheDeviceUnready) {
    start_with(preinstalled_entries());
    allow_everything();
    const Call announced_node = told(kLineCards, 1, 0x83, 1);
    platform.on_call = [&](const Call &call, const ProtobufCMessage *) {
        if (call == announced_node) {
            g_trel_g_cap_calc_ready = 0;
        }
    };
    EXPECT_EQ(process(written(Record::of(cap_glb_state__descriptor, {{5, 1}}))), 0);
    EXPECT_THAT(platform.calls(), ::testing::ElementsAre(announced_node));
}

}  // namespace
}  // namespace trel_cap_tests::processors
