// The announcement of the nodes installed in advance: what it waits for, and whom it tells of which nodes.

#include "card_classes.h"
#include "messages.h"

namespace trel_cap_tests::processors {
namespace {

int32_t no_processor(MomClient *, MomMsg *) { return -1; }

class Announcement : public ProcessorTest, public ::testing::WithParamInterface<const CardClass *> {
protected:
    Announcement() : ProcessorTest(GetParam()->announcement, no_processor) {}

    const CardClass &card_class = *GetParam();
    const std::vector<CapNodeRecord> entries = preinstalled_entries();

    uint32_t &flag_word() { return *card_class.flag_word(); }
    Log all_read() const { return progress("all fe_ready info validate"); }
};

INSTANTIATE_TEST_SUITE_P(Classes, Announcement, ::testing::ValuesIn(kCardClasses), class_name);

TEST_P(Announcement, TellsOfEachNodeOfItsClass) {
    at_every_log_level([this] {
        start_with(entries);
        allow_announcement(card_class);
        EXPECT_EQ(card_class.announce(), 0);
        expect_events(announced(card_class, entries));
    });
}

TEST_P(Announcement, OfAnEmptyListTellsNothing) {
    allow_announcement(card_class);
    EXPECT_EQ(card_class.announce(), 0);
    expect_events({all_read()});
}

// All sources of the class have been read, and no other's matters.
TEST_P(Announcement, WaitsForAllSourcesOfItsClass) {
    for (unsigned chosen = 0; chosen < 256; ++chosen) {
        SCOPED_TRACE(chosen);
        start_with(entries);
        allow_announcement(card_class);
        for (size_t i = 0; i < kValidated.size(); ++i) {
            *kValidated[i].address() = (chosen >> i & 1) != 0 ? 1 : 0;
        }
        bool all = true;
        for (const auto source : card_class.sources) {
            all = all && *source() != 0;
        }
        const auto before = state();
        EXPECT_EQ(card_class.announce(), 0);
        expect_events(all ? announced(card_class, entries) : Events{});
        EXPECT_EQ(state(), before);
    }
}

TEST_P(Announcement, WaitsForItsClassToBeReady) {
    at_every_log_level([this] {
        start_with(entries);
        allow_everything();
        *card_class.calc_ready() = 0;
        EXPECT_EQ(card_class.announce(), 0);
        expect_events({all_read()});

        start_with(entries);
        allow_announcement(card_class);
        for (const Variable &other : kCalcReady) {
            if (other.address() != card_class.calc_ready()) {
                *other.address() = 0;
            }
        }
        EXPECT_EQ(card_class.announce(), 0);
        expect_events(announced(card_class, entries));
    });
}

TEST_P(Announcement, IsForThoseWhoAskedForIt) {
    at_every_log_level([this] {
        start_with(entries);
        allow_everything();
        flag_word() = ~card_class.announcement_bit;
        EXPECT_EQ(card_class.announce(), 0);
        expect_events({all_read()});

        start_with(entries);
        allow_announcement(card_class);
        flag_word() = card_class.announcement_bit;
        EXPECT_EQ(card_class.announce(), 0);
        expect_events(announced(card_class, entries));
    });
}

// Ready and installed but not in real time, whatever the check of the card says.
TEST_P(Announcement, OfEveryKindOfNode) {
    g_trel_cap_zlog_level = 0;
    for (int32_t node_type = 0; node_type <= 8; ++node_type) {
        for (unsigned flags = 0; flags < 64; ++flags) {
            const auto flag = [flags](unsigned n) { return static_cast<uint8_t>(flags >> n & 1); };
            const CapNodeRecord node = entry({.node_type = node_type,
                                              .ready = flag(0),
                                              .real_time = flag(1),
                                              .dm_install = flag(2),
                                              .app_df_chk = flag(3),
                                              .cns = flag(4),
                                              .is_online = flag(5)});
            start_with({node});
            allow_everything();
            EXPECT_EQ(card_class.announce(), 0);
            const bool expected =
                node_type == card_class.node_type && node.ready != 0 && node.real_time == 0 && node.dm_install != 0;
            expect_told(expected ? std::vector<Call>{told(card_class.list, card_class.node_event, kNode, 1)}
                                 : std::vector<Call>{});
            expect_listed({node});
        }
    }
}

TEST_P(Announcement, TellsAgainWheneverItIsMade) {
    start_with(entries);
    allow_announcement(card_class);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(card_class.announce(), 0);
        expect_events(announced(card_class, entries));
    }
}

}  // namespace
}  // namespace trel_cap_tests::processors
