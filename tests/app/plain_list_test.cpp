// The node list is a plain list, whoever has linked or changed its entries: random histories of all that an application
// may do to it, against a walk from its beginning.

#include <algorithm>
#include <random>
#include <set>

#include "allocations.h"
#include "nodes.h"

namespace trel_cap_tests {
namespace {

struct History {
    const char *name;
    size_t longest;
    bool has_duplicates;  // numbers may be listed more than once, in any order
    int32_t range;
};

class PlainList : public NodeListTest, public ::testing::WithParamInterface<std::tuple<History, unsigned>> {
protected:
    const History &history = std::get<0>(GetParam());
    std::mt19937 random{std::get<1>(GetParam())};
    std::vector<CapNode *> model;

    PlainList() { g_trel_cap_zlog_level = 0; }

    size_t any_below(size_t end) { return std::uniform_int_distribution<size_t>(0, end - 1)(random); }
    int32_t any_node() { return std::uniform_int_distribution<int32_t>(-history.range, history.range)(random); }
    // One that may be given to an entry.
    int32_t any_new_node() {
        for (;;) {
            const int32_t node = any_node();
            if (history.has_duplicates ||
                first([=](const CapNodeRecord &listed) { return listed.node == node; }) == nullptr) {
                return node;
            }
        }
    }
    CapNodeRecord any_record() {
        CapNodeRecord record = node_record(any_new_node(), static_cast<int32_t>(any_below(3)));
        record.ready = record.dm_install = record.app_df_chk = 1;
        record.real_time = static_cast<uint8_t>(any_below(2));
        return record;
    }

    CapNode *first(const auto &wanted) const {
        for (CapNode *node : model) {
            if (wanted(node->record)) {
                return node;
            }
        }
        return nullptr;
    }

    // As the processors do: they search before they add.
    void add() {
        const CapNodeRecord record = any_record();
        expect_found(record.node, record.config_dev_type);
        const auto behind = std::find_if(model.begin(), model.end(),
                                         [&](const CapNode *listed) { return listed->record.node > record.node; });
        model.insert(behind, trel_cap_sw_node_init_cur(record));
    }
    // An entry of the application's own, wherever it likes.
    void link_by_hand() {
        static CapNodeList nowhere;
        nowhere = {};
        CapNode *const entry = trel_cap_sw_node_init(any_record(), &nowhere);
        const size_t place = any_below(model.size() + 1);
        auto *const head = reinterpret_cast<CapNode *>(&cap_nodes_list);
        CapNode *const previous = place == 0 ? head : model[place - 1];
        CapNode *const next = place == model.size() ? head : model[place];
        entry->prev = previous;
        entry->next = next;
        (previous == head ? cap_nodes_list.next : previous->next) = entry;
        (next == head ? cap_nodes_list.prev : next->prev) = entry;
        model.insert(model.begin() + static_cast<std::ptrdiff_t>(place), entry);
    }
    void change() {
        CapNodeRecord &record = model[any_below(model.size())]->record;
        switch (any_below(4)) {
            case 0:
                record.node = any_new_node();
                break;
            case 1:
                record.config_dev_type = static_cast<int32_t>(any_below(3));
                break;
            default:
                record.real_time = static_cast<uint8_t>(any_below(2));
        }
    }
    void del() {
        const CapNodeRecord record = model[any_below(model.size())]->record;
        CapNode *const gone = first([&](const CapNodeRecord &listed) {
            return listed.node == record.node && listed.config_dev_type == record.config_dev_type;
        });
        EXPECT_EQ(trel_cap_sw_node_del(record.node, record.config_dev_type), 0);
        std::erase(model, gone);
    }
    void step() {
        if (model.size() < 2 || (model.size() < history.longest && any_below(2) == 0)) {
            any_below(4) == 0 && !model.empty() ? link_by_hand() : add();
        } else if (any_below(2) == 0) {
            del();
        } else {
            change();
        }
    }

    void expect_found(int32_t node, int32_t type) {
        ASSERT_EQ(trel_cap_sw_node_search(node),
                  first([=](const CapNodeRecord &record) { return record.node == node; }))
            << node;
        ASSERT_EQ(trel_cap_sw_node_and_type_search(node, type), first([=](const CapNodeRecord &record) {
                      return record.node == node && record.config_dev_type == type;
                  }))
            << node;
    }
    // Whatever the log shows: at level 4 it shows every entry, which is most of what a step costs.
    void expect_judged(int32_t node) {
        const CapNode *const in_advance =
            first([=](const CapNodeRecord &record) { return record.node == node && record.real_time == 0; });
        g_trel_cap_zlog_level = any_below(4) == 0 ? 4 : 0;
        ASSERT_EQ(trel_cap_is_preinstall_card(node), in_advance != nullptr ? 1 : 0)
            << node << " at level " << g_trel_cap_zlog_level;
        g_trel_cap_zlog_level = 0;
        platform.forget();
    }
    void expect_as_modelled() {
        ASSERT_EQ(entries(), std::vector<const CapNode *>(model.begin(), model.end()));
        const CapNodeRecord any_listed = model[any_below(model.size())]->record;
        for (const int32_t node : {any_listed.node, any_node()}) {
            ASSERT_NO_FATAL_FAILURE(expect_found(node, any_listed.config_dev_type));
            ASSERT_NO_FATAL_FAILURE(expect_judged(node));
        }
    }
};

INSTANTIATE_TEST_SUITE_P(
    Histories, PlainList,
    ::testing::Combine(::testing::Values(History{"Few", 12, true, 6}, History{"AsManyAsAreWalked", 64, true, 40},
                                         History{"AFewMore", 70, false, 100'000}, History{"Many", 300, false, 100'000}),
                       ::testing::Range(1U, 5U)),
    [](const auto &each) {
        return std::string(std::get<0>(each.param).name) + std::to_string(std::get<1>(each.param));
    });

TEST_P(PlainList, IsSearchedAndJudgedAsOne) {
    for (int i = 0; i < 1500; ++i) {
        step();
        ASSERT_NO_FATAL_FAILURE(expect_as_modelled()) << "step " << i;
    }
}

// The faults that were seen, at any length.
class ChangedNumber : public NodeListTest, public ::testing::WithParamInterface<int32_t> {
protected:
    std::vector<CapNode *> added;

    ChangedNumber() {
        std::vector<CapNodeRecord> records;
        for (int32_t node = 0; node < GetParam(); ++node) {
            records.push_back(node_record(node));
        }
        added = add_nodes(records);
        g_trel_cap_zlog_level = 1;
    }
};

INSTANTIATE_TEST_SUITE_P(Lengths, ChangedNumber, ::testing::Values(3, 64, 65, 66, 200));

TEST_P(ChangedNumber, IsFoundAndSoAreItsNeighbours) {
    for (size_t i = 0; i < added.size(); ++i) {
        const int32_t number = added[i]->record.node;
        added[i]->record.node = 1'000'000;
        EXPECT_EQ(trel_cap_sw_node_search(1'000'000), added[i]);
        EXPECT_EQ(trel_cap_sw_node_search(number), nullptr);
        for (size_t near = i == 0 ? 0 : i - 1; near < std::min(added.size(), i + 2); ++near) {
            EXPECT_EQ(trel_cap_sw_node_search(added[near]->record.node), added[near]);
        }
        added[i]->record.node = number;
    }
}

TEST_P(ChangedNumber, DoesNotOutliveItsEntry) {
    for (size_t i = 0; i < added.size(); i += 2) {
        added[i]->record.node = 1'000'000;
        EXPECT_EQ(trel_cap_sw_node_del(1'000'000, 0), 0);
    }
    for (size_t i = 0; i < added.size(); ++i) {
        EXPECT_EQ(trel_cap_sw_node_search(static_cast<int32_t>(i)), i % 2 == 0 ? nullptr : added[i]);
    }
}

// What is added goes before the first entry of a higher number, wherever the search for that begins.
TEST_P(ChangedNumber, StandsBehindWhatIsAddedBeforeIt) {
    for (const size_t i : std::set<size_t>{0, added.size() / 2, added.size() - 2}) {
        const int32_t number = added[i]->record.node;
        added[i]->record.node = 1'000'000;
        const CapNode *next = trel_cap_sw_node_init_cur(node_record(number + 1, 7));
        EXPECT_EQ(next->next, added[i]);
        EXPECT_EQ(trel_cap_sw_node_and_type_search(number + 1, 7), next);
        added[i]->record.node = number;
    }
}

// The list needs no more memory than its entries.
class LongList : public NodeListTest {};

TEST_F(LongList, IsSearchedWithoutMemoryForMore) {
    for (int32_t node = 0; node < 200; ++node) {
        // The entry itself is the first allocation.
        const test_support::FailingAllocations no_more(2);
        ASSERT_NE(trel_cap_sw_node_init_cur(node_record(node)), nullptr);
    }
    for (int32_t node = 0; node < 200; ++node) {
        const CapNode *found = trel_cap_sw_node_search(node);
        ASSERT_NE(found, nullptr);
        EXPECT_EQ(found->record.node, node);
    }
}

// One entry of the node is in its place, another is not.
TEST_P(ChangedNumber, IsJudgedWhateverTheLogLevel) {
    for (CapNode *entry : added) {
        entry->record.real_time = 1;
    }
    added.back()->record.node = -5;
    added.back()->record.real_time = 0;
    for (const int32_t level : {0, 1, 4}) {
        g_trel_cap_zlog_level = level;
        EXPECT_EQ(trel_cap_is_preinstall_card(-5), 1);
        EXPECT_EQ(trel_cap_is_preinstall_card(0), 0);
    }
}

}  // namespace
}  // namespace trel_cap_tests
