// Announcing the cards that are installed in advance: the visitors of the node list that send their node events.

#include "callbacks.h"
#include "nodes.h"
#include "thread_stack.h"

namespace trel_cap_tests {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Bytes = std::initializer_list<uint8_t>;

struct Notifier {
    const char *name;
    int32_t (*notify)(CapNode *, void *);
    const char *function;
    int32_t node_type;
    uint8_t &(*calc_ready)();
    int32_t event;
    const Kind &kind;
    const char *mismatch;      // the beginnings of its messages
    const char *announcement;  // the HPS cards' are those of the line cards
};

uint8_t &fe_ready() { return g_trel_g_cap_calc_ready; }
uint8_t &fab_ready() { return g_trel_g_fab_cap_calc_ready; }
uint8_t &cm_ready() { return g_trel_g_cm_cap_calc_ready; }
uint8_t &hps_ready() { return g_trel_g_hps_cap_calc_ready; }

const Notifier kNotifiers[] = {
    {"Fe", trel_cap_notify_pre_install_node_ready, "trel_cap_notify_pre_install_node_ready", 3, fe_ready, 1, kKinds[0],
     "node lc node", "trel_cap_callback_hander, event"},
    {"Fab", trel_cap_notify_pre_fab_install_node_ready, "trel_cap_notify_pre_fab_install_node_ready", 5, fab_ready, 4,
     kKinds[1], "node fab node", "trel_cap_fab_callback_hander, event"},
    {"Cm", trel_cap_notify_pre_cm_install_node_ready, "trel_cap_notify_pre_cm_install_node_ready", 2, cm_ready, 5,
     kKinds[2], "node cm node", "trel_cap_cm_callback_hander, event"},
    {"Hps", trel_cap_notify_pre_hps_install_node_ready, "trel_cap_notify_pre_hps_install_node_ready", 7, hps_ready, 6,
     kKinds[3], "node lc node", "trel_cap_callback_hander, event"},
};

class PreInstall : public CallbacksTest, public ::testing::WithParamInterface<Notifier> {
protected:
    const Notifier &notifier = GetParam();
    CapNode entry{};
    std::vector<CapNodeReady> announced;  // by the callbacks, each of which is called for all events

    PreInstall() {
        make_ready();
        for (const Kind &kind : kKinds) {
            register_quietly(kind, "router", Callbacks::number<1>, 0xffffffff);
        }
        callbacks.on_event = [this](const Received &received) {
            EXPECT_TRUE(test_support::is_on_this_stack(received.arg));
            announced.push_back(*static_cast<const CapNodeReady *>(received.arg));
            return 0;
        };
    }
    // The entry that is announced.
    void make_ready() {
        entry.record = node_record(0x2a);
        entry.record.node_type = notifier.node_type;
        entry.record.ready = 1;
        entry.record.dm_install = 1;
        fe_ready() = fab_ready() = cm_ready() = hps_ready() = 0;
        notifier.calc_ready() = 1;
    }
    Log detail(const std::string &message) const { return {40, notifier.function, message}; }
    Log progress(const std::string &message) const { return {80, notifier.function, message}; }

    std::vector<Event> announcement(int32_t node, int32_t result = 0) const {
        std::vector<Event> expected = {detail("enter"),
                                       progress(text("%s %d, node %d|0x%x, ready 1", notifier.announcement,
                                                     notifier.event, node, static_cast<unsigned>(node)))};
        const char *const dispatcher = notifier.kind.dispatch_name;
        if (is_fe(notifier.kind)) {
            expected.emplace_back(Log{80, dispatcher, text("event:%d", notifier.event)});
        } else {
            expected.emplace_back(Log{80, dispatcher, text("pos->flag:-1, event:%d", notifier.event)});
        }
        expected.emplace_back(Log{40, dispatcher, text("rv:%d, name:router", result)});
        expected.emplace_back(detail("leave"));
        return expected;
    }
};

INSTANTIATE_TEST_SUITE_P(Classes, PreInstall, ::testing::ValuesIn(kNotifiers),
                         [](const auto &each) { return each.param.name; });

TEST_P(PreInstall, AnnouncesANodeOfItsClass) {
    for (const int32_t node : {0x2a, 0, -1, INT32_MIN}) {
        entry.record.node = node;
        at_every_log_level([&] {
            announced.clear();
            EXPECT_EQ(notifier.notify(&entry, nullptr), 0);
            expect_events(announcement(node));
            const auto received = callbacks.take();
            ASSERT_THAT(received, ::testing::SizeIs(1));
            EXPECT_EQ(received[0].event, notifier.event);
            EXPECT_EQ(announced[0].node, static_cast<uint32_t>(node));
            EXPECT_EQ(announced[0].ready, 1);
        });
    }
}

TEST_P(PreInstall, AnnouncesToItsOwnListOnly) {
    std::string names;
    platform.on_log = [&](const Log &log, const char *) { names += log.text.starts_with("rv:") ? log.function : ""; };
    notifier.notify(&entry, nullptr);
    EXPECT_EQ(names, notifier.kind.dispatch_name);
    EXPECT_EQ(callbacks.take().size(), 1U);
}

TEST_P(PreInstall, IgnoresItsArgument) {
    for (void *argument : {static_cast<void *>(nullptr), static_cast<void *>(this), static_cast<void *>(&entry)}) {
        EXPECT_EQ(notifier.notify(&entry, argument), 0);
        expect_events(announcement(0x2a));
    }
}

TEST_P(PreInstall, IgnoresWhatTheCallbacksReturn) {
    for (const int32_t result : {1, -4}) {
        callbacks.on_event = [result](const Received &) { return result; };
        EXPECT_EQ(notifier.notify(&entry, nullptr), 0);
        expect_events(announcement(0x2a, result));
    }
}

// Every combination of the four conditions, with values other than 1 for what is set.
TEST_P(PreInstall, NeedsEachOfItsConditions) {
    for (const uint8_t set : Bytes{1, 2, 255}) {
        for (unsigned combination = 0; combination < 16; ++combination) {
            const auto bit = [&](unsigned n) { return static_cast<uint8_t>((combination >> n & 1) != 0 ? set : 0); };
            entry.record.ready = bit(0);
            entry.record.real_time = bit(1);
            notifier.calc_ready() = bit(2);
            entry.record.dm_install = bit(3);
            const bool expected = combination == 0xd;
            EXPECT_EQ(notifier.notify(&entry, nullptr), 0);
            EXPECT_EQ(callbacks.take().size(), expected ? 1U : 0U) << combination;
            expect_events(expected ? announcement(0x2a) : std::vector<Event>{detail("enter"), detail("leave")});
        }
    }
}

TEST_P(PreInstall, DoesNotLookAtTheCheckOrAnythingElse) {
    for (const uint8_t value : Bytes{0, 1, 255}) {
        entry.record.cns = entry.record.app_df_chk = entry.record.is_online = value;
        entry.record.config_dev_type = entry.record.devid = entry.record.slotid = entry.record.sslotid = value;
        EXPECT_EQ(notifier.notify(&entry, nullptr), 0);
        EXPECT_EQ(callbacks.take().size(), 1U);
    }
}

TEST_P(PreInstall, LooksAtItsOwnClassesReadinessOnly) {
    fe_ready() = fab_ready() = cm_ready() = hps_ready() = 1;
    notifier.calc_ready() = 0;
    EXPECT_EQ(notifier.notify(&entry, nullptr), 0);
    EXPECT_THAT(callbacks.take(), IsEmpty());
}

// Whether anybody has asked for the event, or what has been read, is not looked at here.
TEST_P(PreInstall, DoesNotLookAtTheThreadsFlags) {
    notifier.kind.flags() = 0;
    trel_cap_fe_ready_clear_all_validated_flag();
    EXPECT_EQ(notifier.notify(&entry, nullptr), 0);
    EXPECT_EQ(callbacks.take().size(), 1U);
}

TEST_P(PreInstall, PassesOverOtherClasses) {
    fe_ready() = fab_ready() = cm_ready() = hps_ready() = 1;
    for (const int32_t type : {0, 1, 2, 3, 4, 5, 6, 7, 8, -1, 3 + 256}) {
        if (type == notifier.node_type) {
            continue;
        }
        entry.record.node_type = type;
        entry.record.node = -7;
        at_every_log_level([&] {
            EXPECT_EQ(notifier.notify(&entry, nullptr), 0);
            expect_events({detail("enter"), progress(text("%s -7 node_type %d", notifier.mismatch, type))});
        });
    }
    EXPECT_THAT(callbacks.take(), IsEmpty());
}

TEST_P(PreInstall, NeedsAnEntry) {
    at_every_log_level([this] {
        EXPECT_EQ(notifier.notify(nullptr, &entry), -4);
        expect_events({Log{100, notifier.function, "pos NULL pointer, addr error!\n"}});
    });
    EXPECT_THAT(callbacks.take(), IsEmpty());
}

TEST_P(PreInstall, ChangesNoEntry) {
    const std::string before = dump_line(entry.record);
    notifier.notify(&entry, nullptr);
    EXPECT_EQ(dump_line(entry.record), before);
    EXPECT_EQ(notifier.calc_ready(), 1);
}

TEST_P(PreInstall, AnnouncesAllNodesOfAList) {
    CapNodeRecord other = entry.record;
    other.node_type = 4;
    CapNodeRecord later = entry.record;
    later.node = 0x2b;
    add_nodes({entry.record, other, later, entry.record});
    trel_cap_sw_node_walk_cur(notifier.notify, nullptr);
    std::vector<uint32_t> nodes;
    for (const CapNodeReady &each : announced) {
        nodes.push_back(each.node);
    }
    EXPECT_THAT(nodes, ElementsAre(0x2aU, 0x2aU, 0x2bU));
    delete_all_nodes();
}

}  // namespace
}  // namespace trel_cap_tests
