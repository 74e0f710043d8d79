// What the processors of node records do alike with a record that is delivered, or deleted: they refuse what is not
// whole, and add a node that is not listed.

#include <algorithm>

#include "allocations.h"
#include "messages.h"
#include "parameter_name.h"

namespace trel_cap_tests::processors {
namespace {

struct Taker {
    const char *name;
    MomMsgCb process;
    const char *noun;  // of the record, in messages
    std::vector<int32_t> deliveries;
    bool takes_deletions;
    bool logs_command;
    Record whole;
    Record without_index;
    Record without_static_info;  // none: the record has no such part
    std::string entering;        // what a whole record is logged with
    CapNodeRecord added;
};

const CapNodeRecord kAddedByReadiness = new_entry(kNode, kType, 11, 12, 13);
const Record kNoFeIndex = Record::of(cap_fe_ready__descriptor, {{6, 1}, {8, 11}, {9, 12}, {10, 13}, {12, 1}});
const Record kNoCmIndex = Record::of(cap_cm_ready__descriptor, {{6, 1}, {8, 11}, {9, 12}, {10, 13}, {12, 1}});

// Made when the tests are, which is after the constants above.
const std::vector<Taker> &takers() {  // NOLINT(readability-function-size): a table
    static const std::vector<Taker> all = {
        {"trel_cap_fe_node_pmsg_f",
         trel_cap_fe_node_pmsg_f,
         "fe_ready",
         {4},
         true,
         false,
         fe_ready(),
         kNoFeIndex,
         Record(),
         "",
         kAddedByReadiness},
        {"trel_cap_fab_node_pmsg_f",
         trel_cap_fab_node_pmsg_f,
         "fe_ready",
         {4},
         false,
         false,
         fe_ready(),
         kNoFeIndex,
         Record(),
         "",
         kAddedByReadiness},
        {"trel_cap_cm_node_pmsg_f",
         trel_cap_cm_node_pmsg_f,
         "cm_ready",
         {4},
         false,
         false,
         cm_ready(),
         kNoCmIndex,
         Record(),
         "",
         kAddedByReadiness},
        {"trel_cap_hps_node_pmsg_f",
         trel_cap_hps_node_pmsg_f,
         "fe_ready",
         {4},
         false,
         false,
         fe_ready(),
         kNoFeIndex,
         Record(),
         "",
         kAddedByReadiness},
        {"trel_cap_install_node_pmsg_f",
         trel_cap_install_node_pmsg_f,
         "card_info",
         {4, 6},
         true,
         true,
         card_info(),
         Record::of(card_info__descriptor, {{6, kType}, {17, kNode}}),
         card_info_without_static_info(),
         "enter ok, devid 21, slotid 22, sslotid 23 card_nodeid 0x2b config_dev_type 501,",
         new_entry(kNode, kType, 21, 22, 23)},
        {"trel_cap_app_df_pmsg_f",
         trel_cap_app_df_pmsg_f,
         "prec",
         {4, 6},
         true,
         true,
         check_result(),
         Record::of(app_df_card_deny_check_result__descriptor, {{6, 1}, {7, kType}, {8, kNode}}),
         Record(),
         "enter ok, devid 31, slotid 32, sslotid 33 card_nodeid 0x2b config_dev_type 501,",
         new_entry(kNode, kType, 31, 32, 33)},
    };
    return all;
}

class Delivery : public ProcessorTest, public ::testing::WithParamInterface<Taker> {
protected:
    Delivery() : ProcessorTest(GetParam().name, GetParam().process) {}

    const Taker &taker = GetParam();

    Events command(int32_t cmd) const {
        return taker.logs_command ? Events{detail(text("pmsg->cmd %d", cmd))} : Events{};
    }
    Log null_pointer(const char *part = "") const {
        return error(text("%s%s NULL pointer, addr error!\n", taker.noun, part));
    }
    void expect_refused(const Message &message, int32_t cmd, int32_t status, const Log &reason) {
        start_with(among_neighbours({marked_entry()}));
        g_trel_cap_flag = g_trel_fab_cm_cap_flag = g_trel_hps_cap_flag = UINT32_MAX;
        const auto before = state();
        at_every_log_level([&] {
            EXPECT_EQ(process(message), status);
            expect_events(in_order(command(cmd), reason));
            EXPECT_EQ(state(), before);
        });
    }
};

INSTANTIATE_TEST_SUITE_P(Takers, Delivery, ::testing::ValuesIn(takers()), test_support::name_of);

TEST_P(Delivery, NeedsAResult) {
    for (const int32_t cmd : taker.deliveries) {
        expect_refused(Message(cmd), cmd, -21, error("result NULL"));
    }
}

// Whatever else is wrong with it, or not.
TEST_P(Delivery, RefusesAnErrorCode) {
    for (const int32_t cmd : taker.deliveries) {
        for (const int32_t code : {-108, 1, INT32_MIN}) {
            for (const Record &record : {taker.whole, taker.without_index, taker.without_static_info, Record()}) {
                HashAnswer answer = HashAnswer::found(record, {5});
                answer.error_code = code;
                expect_refused(Message(cmd, answer), cmd, -21, error(text("result error_code %d", code)));
            }
        }
    }
}

TEST_P(Delivery, NeedsARecord) {
    for (const int32_t cmd : taker.deliveries) {
        expect_refused(Message(cmd, HashAnswer::no_record()), cmd, -4, null_pointer());
    }
}

// It is looked at before what else the record points to.
TEST_P(Delivery, NeedsAnIndex) {
    for (const int32_t cmd : taker.deliveries) {
        expect_refused(delivered(taker.without_index, cmd), cmd, -4, null_pointer("->index"));
    }
}

TEST_P(Delivery, OfACardNeedsItsStaticInfo) {
    if (taker.without_static_info.get() == nullptr) {
        return;
    }
    for (const int32_t cmd : taker.deliveries) {
        expect_refused(delivered(taker.without_static_info, cmd), cmd, -4, null_pointer("->static_info"));
    }
}

TEST_P(Delivery, ADeletionNeedsARecordAndItsIndex) {
    if (taker.takes_deletions) {
        expect_refused(Message(3), 3, -4, null_pointer());
        expect_refused(deleted(taker.without_index), 3, -4, null_pointer("->index"));
    }
}

// Only the node is named and placed; the rest is what the record itself says afterwards.
TEST_P(Delivery, AddsANodeThatIsNotListed) {
    for (const int32_t cmd : taker.deliveries) {
        start_with(neighbours());
        EXPECT_EQ(process(delivered(taker.whole, cmd)), 0);
        const Events entering = taker.entering.empty() ? Events{} : Events{progress(taker.entering)};
        const Events expected = in_order(command(cmd), entering, added(taker.added));
        Events seen = platform.events();
        seen.erase(seen.begin() + static_cast<std::ptrdiff_t>(std::min(seen.size(), expected.size())), seen.end());
        EXPECT_EQ(seen, expected);
        EXPECT_EQ(listed().size(), neighbours().size() + 1);
    }
}

TEST_P(Delivery, AddsANodeOnce) {
    for (const int32_t cmd : taker.deliveries) {
        start_with();
        EXPECT_EQ(process(delivered(taker.whole, cmd)), 0);
        EXPECT_EQ(process(delivered(taker.whole, cmd)), 0);
        ASSERT_EQ(listed().size(), 1U);
        EXPECT_EQ(listed()[0].node, kNode);
    }
}

TEST_P(Delivery, AllocatesTheNodesEntryOnly) {
    for (const int32_t cmd : taker.deliveries) {
        start_with();
        Message message = delivered(taker.whole, cmd);
        MomMsg *const msg = message.to(client, 28);
        const test_support::AllocationCount allocations;
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(processor(client, msg), 0);
            EXPECT_EQ(allocations.count(), 1);
            EXPECT_EQ(allocations.freed(), 0);
        }
    }
}

TEST_P(Delivery, WithoutMemoryForTheNodeIsReported) {
    for (const int32_t cmd : taker.deliveries) {
        at_every_log_level([&] {
            start_with(neighbours());
            g_trel_cap_flag = g_trel_fab_cm_cap_flag = g_trel_hps_cap_flag = UINT32_MAX;
            const auto before = state();
            Message message = delivered(taker.whole, cmd);
            MomMsg *const msg = message.to(client, 28);
            int32_t status = 0;
            {
                const test_support::FailingAllocations nothing_left;
                status = processor(client, msg);
            }
            EXPECT_EQ(status, -11);
            const Events entering = taker.entering.empty() ? Events{} : Events{progress(taker.entering)};
            expect_events(in_order(command(cmd), entering, not_added(),
                                   error(text("trel_cap_sw_node_init_cur failed, devid %d, slotid %d, sslotid %d",
                                              taker.added.devid, taker.added.slotid, taker.added.sslotid))));
            EXPECT_EQ(state(), before);
        });
    }
}

}  // namespace
}  // namespace trel_cap_tests::processors
