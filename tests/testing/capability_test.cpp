// Capabilities that a test sets, and an application reads.
#include <array>

#include "chassis.h"

namespace testing_test {

namespace {

class Capabilities : public ChassisTest {};

TEST_F(Capabilities, OfTheDeviceAreRead) {
    start_application();
    uint8_t flag = 0;
    int32_t number = 0;
    ASSERT_EQ(trel_cap_testing_set_bool(chassis, "/l3/arp/enabled", 1), 0);
    ASSERT_EQ(trel_cap_ce_get_g_cap_bool(client, "/l3/arp/enabled", &flag), 0);
    EXPECT_EQ(flag, 1);
    ASSERT_EQ(trel_cap_testing_set_bool(chassis, "/l3/arp/enabled", 0), 0);
    ASSERT_EQ(trel_cap_ce_get_g_cap_bool(client, "/l3/arp/enabled", &flag), 0);
    EXPECT_EQ(flag, 0);
    for (const int32_t value : {INT32_MIN, -1, 4096, INT32_MAX}) {
        ASSERT_EQ(trel_cap_testing_set_int(chassis, "/l3/arp/capacity", value), 0);
        ASSERT_EQ(trel_cap_ce_get_g_cap_int32(client, "/l3/arp/capacity", &number), 0);
        EXPECT_EQ(number, value);
    }
}

// By the reader of its class; of each other class it is that of line cards.
TEST_F(Capabilities, OfNodesAreStringsThatAreRead) {
    start_application();
    const auto read = [&](auto getter) {
        std::array<char, 64> text = {};
        uint32_t length = 0;
        EXPECT_EQ(getter(client, 17, "/ports/mode", text.size(), text.data(), &length), 0);
        return std::string(text.data(), length);
    };
    ASSERT_EQ(trel_cap_testing_set_node_str(chassis, TREL_CAP_TESTING_CM, 17, "/ports/mode", "active"), 0);
    EXPECT_EQ(read(trel_cap_ce_get_cm_cap_str), "active");
    ASSERT_EQ(trel_cap_testing_set_node_str(chassis, TREL_CAP_TESTING_LC, 17, "/ports/mode", "wide"), 0);
    EXPECT_EQ(read(trel_cap_ce_get_fe_cap_str), "wide");
    EXPECT_EQ(read(trel_cap_ce_get_cm_cap_str), "active");
    ASSERT_EQ(trel_cap_testing_set_node_str(chassis, TREL_CAP_TESTING_FAB, 17, "/ports/mode", "split"), 0);
    EXPECT_EQ(read(trel_cap_ce_get_fab_cap_str), "split");
    ASSERT_EQ(trel_cap_testing_set_node_str(chassis, TREL_CAP_TESTING_HPS, 17, "/ports/mode", ""), 0);
    EXPECT_EQ(read(trel_cap_ce_get_hps_cap_str), "");
}

}  // namespace

}  // namespace testing_test
