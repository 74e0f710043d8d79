// The node list over long seeded histories of few nodes, against what is said of its order and of what is found first.

#include <algorithm>
#include <functional>
#include <random>

#include "nodes.h"

namespace trel_cap_tests {
namespace {

// Numbers around 0 that lie so far apart, and the seed.
class NodeHistory : public NodeListTest, public ::testing::WithParamInterface<std::tuple<int32_t, unsigned>> {
protected:
    std::mt19937 random{std::get<1>(GetParam())};
    std::vector<CapNode *> model;

    int32_t any(std::initializer_list<int32_t> values) {
        return values.begin()[std::uniform_int_distribution<size_t>(0, values.size() - 1)(random)];
    }
    int32_t any_node() {
        const int32_t near = std::uniform_int_distribution<int32_t>(-20, 20)(random) * std::get<0>(GetParam());
        return any({near, near, near, near, INT32_MIN, INT32_MAX});
    }
    int32_t any_type() { return any({-1, 0, 1, 2}); }
    uint8_t any_real_time() { return static_cast<uint8_t>(any({0, 1, 1, 1})); }

    CapNode *first(const std::function<bool(const CapNodeRecord &)> &wanted) const {
        const auto found =
            std::find_if(model.begin(), model.end(), [&](const CapNode *node) { return wanted(node->record); });
        return found == model.end() ? nullptr : *found;
    }
    void add() {
        const int32_t node = any_node();
        const auto behind = std::find_if(model.begin(), model.end(),
                                         [node](const CapNode *listed) { return listed->record.node > node; });
        CapNodeRecord record = node_record(node, any_type());
        record.real_time = any_real_time();
        model.insert(behind, trel_cap_sw_node_init_cur(record));
    }
    void del() {
        const int32_t node = any_node();
        const int32_t type = any_type();
        CapNode *const gone =
            first([&](const CapNodeRecord &record) { return record.node == node && record.config_dev_type == type; });
        EXPECT_EQ(trel_cap_sw_node_del(node, type), 0);
        std::erase(model, gone);
    }
    // As the processors do.
    void change_in_place() {
        if (!model.empty()) {
            CapNodeRecord &record = model[random() % model.size()]->record;
            record.config_dev_type = any_type();
            record.real_time = any_real_time();
        }
    }
    void expect_as_modelled() {
        ASSERT_EQ(entries(), std::vector<const CapNode *>(model.begin(), model.end()));
        const int32_t node = any_node();
        const int32_t type = any_type();
        EXPECT_EQ(trel_cap_sw_node_search(node),
                  first([&](const CapNodeRecord &record) { return record.node == node; }));
        EXPECT_EQ(trel_cap_sw_node_and_type_search(node, type), first([&](const CapNodeRecord &record) {
                      return record.node == node && record.config_dev_type == type;
                  }));
        // Every entry of the node is asked, and no other.
        const bool in_advance =
            first([&](const CapNodeRecord &record) { return record.node == node && record.real_time == 0; }) != nullptr;
        EXPECT_EQ(trel_cap_is_preinstall_card(node), in_advance ? 1 : 0);
    }
};

INSTANTIATE_TEST_SUITE_P(DistancesAndSeeds, NodeHistory,
                         ::testing::Combine(::testing::Values(1, 4, 0x101, 0x10000), ::testing::Range(1U, 3U)));

TEST_P(NodeHistory, IsThatOfTheModel) {
    g_trel_cap_zlog_level = 0;
    for (int step = 0; step < 600; ++step) {
        switch (any({0, 0, 0, 1, 1, 2})) {
            case 0:
                add();
                break;
            case 1:
                del();
                break;
            default:
                change_in_place();
        }
        ASSERT_NO_FATAL_FAILURE(expect_as_modelled()) << "step " << step;
    }
}

}  // namespace
}  // namespace trel_cap_tests
