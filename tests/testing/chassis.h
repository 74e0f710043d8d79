// A chassis of the testing library, and an application that follows it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include <trel_cap/trel_cap.h>

#include "trel_cap_testing.h"

namespace testing_test {

// What an application was told since it was last asked: "fe_node 17 ready", "system".
inline std::vector<std::string> &events() {
    static std::vector<std::string> all;
    return all;
}

inline int32_t note(int32_t event, void *argument) {
    static constexpr const char *kNames[] = {"system",  "fe_node",  "cm",  "fab",       "fab_node",
                                             "cm_node", "hps_node", "hps", "lc_and_hps"};
    std::string text = kNames[event];
    if (const auto *node = static_cast<const CapNodeReady *>(argument)) {
        text += " " + std::to_string(node->node) + (node->ready != 0 ? " ready" : " not ready");
    }
    events().push_back(text);
    return 0;
}

class ChassisTest : public testing::Test {
protected:
    ChassisTest() : chassis(trel_cap_testing_start()), client(ox_mom_client_create(trel_cap_testing_store(chassis))) {}
    ~ChassisTest() override {
        ox_mom_client_destroy(client);
        trel_cap_testing_stop(chassis);
    }
    ChassisTest(const ChassisTest &) = delete;
    ChassisTest &operator=(const ChassisTest &) = delete;

    // Follows line cards and the device, fabric cards, and control modules.
    void start_application() {
        const auto bits = [](int first, int second) { return TREL_CAP_EVENT_BIT(first) | TREL_CAP_EVENT_BIT(second); };
        ASSERT_EQ(trel_cap_event_callback_reg("test", note, bits(TREL_CAP_EVENT_SYSTEM, TREL_CAP_EVENT_FE_NODE)), 0);
        ASSERT_EQ(trel_cap_fab_event_callback_reg("test", note, bits(TREL_CAP_EVENT_FAB, TREL_CAP_EVENT_FAB_NODE)), 0);
        ASSERT_EQ(trel_cap_cm_event_callback_reg("test", note, bits(TREL_CAP_EVENT_CM, TREL_CAP_EVENT_CM_NODE)), 0);
        ASSERT_EQ(trel_cap_init(client, "test"), 0);
        EXPECT_GE(trel_cap_testing_deliver(client), 0);
        events().clear();
    }
    std::vector<std::string> told() {
        EXPECT_GE(trel_cap_testing_deliver(client), 0);
        return std::exchange(events(), {});
    }
    std::string error() const { return trel_cap_testing_error(chassis); }

    TrelCapTesting *chassis;
    MomClient *client;
};

}  // namespace testing_test
