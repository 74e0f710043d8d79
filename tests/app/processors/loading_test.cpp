// The confirmation of a subscription to records of nodes: what the store already holds is read through the processor.

#include "allocations.h"
#include "card_classes.h"
#include "messages.h"
#include "parameter_name.h"
#include "thread_stack.h"

namespace trel_cap_tests::processors {
namespace {

Record fabric_ready(int32_t node) { return fe_ready({.node = node, .node_type = 5}); }
Record hps_ready(int32_t node) { return fe_ready({.node = node, .node_type = 7}); }

struct Loader {
    const char *name;
    MomMsgCb process;
    int32_t db;
    const ProtobufCMessageDescriptor *type;
    uint8_t *(*validated)();
    const CardClass &announced;
    bool logs_command;
    Record (*record)(int32_t node);
};

const Loader kLoaders[] = {
    {"trel_cap_fe_node_pmsg_f", trel_cap_fe_node_pmsg_f, 28, &cap_fe_ready__descriptor,
     [] { return &g_trel_cap_fe_node_validated; }, kLineCardClass, false,
     [](int32_t node) { return fe_ready({.node = node}); }},
    {"trel_cap_fab_node_pmsg_f", trel_cap_fab_node_pmsg_f, 28, &cap_fe_ready__descriptor,
     [] { return &g_trel_cap_fe_node_validated; }, kFabricClass, false, fabric_ready},
    {"trel_cap_cm_node_pmsg_f", trel_cap_cm_node_pmsg_f, 28, &cap_cm_ready__descriptor,
     [] { return &g_trel_cap_cm_node_validated; }, kControlModuleClass, false,
     [](int32_t node) { return cm_ready({.node = node}); }},
    {"trel_cap_hps_node_pmsg_f", trel_cap_hps_node_pmsg_f, 28, &cap_fe_ready__descriptor,
     [] { return &g_trel_cap_fe_node_validated; }, kHpsClass, false, hps_ready},
    {"trel_cap_install_node_pmsg_f", trel_cap_install_node_pmsg_f, 1, &card_info__descriptor,
     [] { return &g_trel_cap_install_validated; }, kLineCardClass, true,
     [](int32_t node) { return card_info({.node = node}); }},
    {"trel_cap_app_df_pmsg_f", trel_cap_app_df_pmsg_f, 28, &app_df_card_deny_check_result__descriptor,
     [] { return &g_trel_cap_rec_disable_validated; }, kLineCardClass, true,
     [](int32_t node) { return check_result({.node = node}); }},
};

class Loading : public ProcessorTest, public ::testing::WithParamInterface<Loader> {
protected:
    Loading() : ProcessorTest(GetParam().name, GetParam().process) {}

    const Loader &loader = GetParam();

    int32_t confirm() { return process(Message(29)); }
    uint8_t &validated() { return *loader.validated(); }
    // Everything is there for the announcement of all classes, but for this source.
    void lack_only_this() {
        start_with(preinstalled_entries());
        allow_everything();
        validated() = 0;
    }

    Events confirmed() const {
        const Events command = loader.logs_command ? Events{detail("pmsg->cmd 29")} : Events{};
        return in_order(command, progress("subscribe ok"));
    }
    Call scan() const {
        return call::scan_sync(client, loader.db, Record::of(*loader.type).with_index({}), 0, loader.process, nullptr);
    }
    // What a scan that fails leads to, with what each attempt delivered.
    Events failed(int32_t logged, const Events &delivered_each_time = {}) const {
        const Events attempt = in_order(scan(), delivered_each_time);
        const Events first = in_order(confirmed(), attempt);
        return log_is_open() ? in_order(first, attempt, error(text("failed,rv %d", logged)), attempt)
                             : in_order(first, attempt);
    }
    // The codes of the attempts that are made, the last of which is the result.
    void let_scans_answer(int32_t first, int32_t second, int32_t last, const std::vector<Message> &messages = {}) {
        platform.scan_sync.then({first, messages});
        if (log_is_open()) {
            platform.scan_sync.then({second, messages});
        }
        platform.scan_sync.then({last, messages});
    }
};

INSTANTIATE_TEST_SUITE_P(Loaders, Loading, ::testing::ValuesIn(kLoaders), test_support::name_of);

TEST_P(Loading, ScansForItsRecordsAndIsValidated) {
    at_every_log_level([this] {
        start_with();
        EXPECT_EQ(confirm(), 0);
        expect_events(in_order(confirmed(), scan()));
        EXPECT_EQ(validated(), 1);
        validated() = 0;
        for (const Variable &other : kValidated) {
            EXPECT_EQ(*other.address(), 0) << other.name;
        }
    });
}

TEST_P(Loading, AsksTheClientThatIsConfirmed) {
    g_trel_cap_global = client;
    EXPECT_EQ(processor(other_client, Message(29).to(other_client, 28)), 0);
    const Call other =
        call::scan_sync(other_client, loader.db, Record::of(*loader.type).with_index({}), 0, loader.process, nullptr);
    EXPECT_THAT(platform.calls(), ::testing::ElementsAre(other));
}

TEST_P(Loading, BuildsItsRequestOnTheStack) {
    int looked_at = 0;
    platform.on_call = [&](const Call &, const ProtobufCMessage *request) {
        ++looked_at;
        EXPECT_TRUE(test_support::is_on_this_stack(request));
    };
    Message confirmation(29);
    MomMsg *const msg = confirmation.to(client, loader.db);
    const test_support::AllocationCount allocations;
    EXPECT_EQ(processor(client, msg), 0);
    EXPECT_EQ(allocations.count(), 0);
    EXPECT_EQ(looked_at, 1);
}

// Only the class's own: the others are announced by their own sources.
TEST_P(Loading, RunsTheAnnouncementOnceItIsValidated) {
    at_every_log_level([this] {
        lack_only_this();
        EXPECT_EQ(confirm(), 0);
        expect_events(in_order(confirmed(), scan(), announced(loader.announced, preinstalled_entries())));
    });
}

TEST_P(Loading, IsConfirmedAnewAsOftenAsTheStoreSays) {
    lack_only_this();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(confirm(), 0);
        expect_events(in_order(confirmed(), scan(), announced(loader.announced, preinstalled_entries())));
        EXPECT_EQ(validated(), 1);
    }
}

TEST_P(Loading, AFailureIsReportedByTryingAgain) {
    at_every_log_level([this] {
        lack_only_this();
        let_scans_answer(-101, -102, -103);
        const auto before = state();
        EXPECT_EQ(confirm(), -103);
        expect_events(failed(-102));
        EXPECT_EQ(state(), before);
    });
}

TEST_P(Loading, APositiveCodeIsAFailureToo) {
    let_scans_answer(1, 2, 3);
    EXPECT_EQ(confirm(), 3);
    expect_events(failed(2));
    EXPECT_EQ(validated(), 0);
}

// What was read is kept, but neither is the source validated nor anything announced.
TEST_P(Loading, ARepetitionThatSucceedsIsStillAFailure) {
    at_every_log_level([this] {
        for (const auto &[second, last] : {std::pair{-102, 0}, {0, 0}, {0, -103}}) {
            lack_only_this();
            let_scans_answer(-101, second, last);
            EXPECT_EQ(confirm(), last);
            expect_events(failed(second));
            EXPECT_EQ(validated(), 0);
        }
    });
}

TEST_P(Loading, AFailureLeavesAnEarlierValidation) {
    lack_only_this();
    validated() = 1;
    let_scans_answer(-101, -102, -103);
    EXPECT_EQ(confirm(), -103);
    EXPECT_EQ(validated(), 1);
    expect_events(failed(-102));
}

// The scan's callback is the processor: what it does with each record is what it does with a later write.
class LoadingRecords : public Loading {
protected:
    const std::vector<CapNodeRecord> entries = {ready_entry({.node = 1}), ready_entry({.node = 2}),
                                                ready_entry({.node = 9})};
    const std::vector<Message> messages = {delivered(loader.record(2)), Message(4), delivered(loader.record(5)),
                                           delivered(loader.record(1)), Message(30)};

    void start() {
        start_with(entries);
        g_trel_cap_flag = g_trel_fab_cm_cap_flag = g_trel_hps_cap_flag = UINT32_MAX;
    }
    Events one_by_one() {
        for (const Message &message : messages) {
            process(message);
        }
        Events events = platform.events();
        platform.forget();
        return events;
    }
};

INSTANTIATE_TEST_SUITE_P(Loaders, LoadingRecords, ::testing::ValuesIn(kLoaders), test_support::name_of);

TEST_P(LoadingRecords, TakesThemAsIfTheyWereWritten) {
    at_every_log_level([this] {
        start();
        const Events each = one_by_one();
        const auto after = lines(listed());
        EXPECT_THAT(after, ::testing::SizeIs(4));

        start();
        platform.scan_sync.then({0, messages});
        EXPECT_EQ(confirm(), 0);
        expect_events(in_order(confirmed(), scan(), each));
        EXPECT_EQ(lines(listed()), after);
        EXPECT_EQ(validated(), 1);
    });
}

TEST_P(LoadingRecords, TellsOfThemBeforeItIsValidated) {
    start();
    std::vector<int> seen;
    platform.on_call = [&](const Call &call, const ProtobufCMessage *) {
        if (call.function == loader.announced.list.callback) {
            seen.push_back(validated());
        }
    };
    platform.scan_sync.then({0, messages});
    EXPECT_EQ(confirm(), 0);
    EXPECT_THAT(seen, ::testing::ElementsAre(0, 0));
    EXPECT_EQ(validated(), 1);
}

TEST_P(LoadingRecords, EveryRepetitionDeliversThemAgain) {
    at_every_log_level([this] {
        start();
        const Events first = one_by_one();
        const Events again = one_by_one();

        start();
        let_scans_answer(-101, -102, -103, messages);
        EXPECT_EQ(confirm(), -103);
        const Events rest =
            log_is_open() ? in_order(scan(), again, error("failed,rv -102"), scan(), again) : in_order(scan(), again);
        expect_events(in_order(confirmed(), scan(), first, rest));
        EXPECT_EQ(validated(), 0);
    });
}

}  // namespace
}  // namespace trel_cap_tests::processors
