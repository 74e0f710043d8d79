// The types of the records in the store, as the library exports them, and the two structures that the store hands out.

#include <cstddef>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ox_mom.h"
#include "trel_cap/records.h"

namespace trel_cap_tests {
namespace {

struct ExpectedField {
    std::string name;
    uint32_t number;
    ProtobufCType type;
    const void *refers_to = nullptr;  // the type of a message or an enum
};

struct RecordType {
    const char *name;
    const char *full_name;
    const ProtobufCMessageDescriptor *descriptor;
    std::vector<ExpectedField> fields;
};

constexpr auto kInt32 = PROTOBUF_C_TYPE_INT32;
constexpr auto kBool = PROTOBUF_C_TYPE_BOOL;
constexpr auto kString = PROTOBUF_C_TYPE_STRING;
constexpr auto kBytes = PROTOBUF_C_TYPE_BYTES;
constexpr auto kMessage = PROTOBUF_C_TYPE_MESSAGE;
constexpr auto kEnum = PROTOBUF_C_TYPE_ENUM;

std::vector<RecordType> record_types() {  // NOLINT(readability-function-size): a table
    const std::vector<ExpectedField> state = {{"ready", 5, kBool}};
    const std::vector<ExpectedField> ready_index = {{"node", 1, kInt32}, {"config_dev_type", 2, kInt32}};
    const auto ready = [](const ProtobufCMessageDescriptor &index) {
        return std::vector<ExpectedField>{{"index", 5, kMessage, &index}, {"ready", 6, kBool},
                                          {"config_dev_type", 7, kInt32}, {"devid", 8, kInt32},
                                          {"slotid", 9, kInt32},          {"sslotid", 10, kInt32},
                                          {"node_type", 11, kInt32},      {"real_time", 12, kBool}};
    };
    const std::vector<ExpectedField> class_table = {{"index", 5, kMessage, &cap_table_index__descriptor},
                                                    {"bool_value", 6, kBool},
                                                    {"int32_value", 7, kInt32},
                                                    {"str_value", 8, kString},
                                                    {"pri", 21, kInt32},
                                                    {"state", 22, kBool}};
    const std::vector<ExpectedField> node_table = {{"index", 5, kMessage, &cap_glb_table_index__descriptor},
                                                   {"bool_value", 6, kBool},
                                                   {"int32_value", 7, kInt32},
                                                   {"str_value", 8, kString}};
    return {
        {"CapGlbState", "s_frame.cap_glb_state", &cap_glb_state__descriptor, state},
        {"CapCmGlbState", "s_frame.cap_cm_glb_state", &cap_cm_glb_state__descriptor, state},
        {"CapFabGlbState", "s_frame.cap_fab_glb_state", &cap_fab_glb_state__descriptor, state},
        {"CapHpsGlbState", "s_frame.cap_hps_glb_state", &cap_hps_glb_state__descriptor, state},
        {"CapFeReadyIndex", "s_frame.cap_fe_ready_index", &cap_fe_ready_index__descriptor, ready_index},
        {"CapFeReady", "s_frame.cap_fe_ready", &cap_fe_ready__descriptor, ready(cap_fe_ready_index__descriptor)},
        {"CapCmReadyIndex", "p_libpub.cap_cm_ready_index", &cap_cm_ready_index__descriptor, ready_index},
        {"CapCmReady", "p_libpub.cap_cm_ready", &cap_cm_ready__descriptor, ready(cap_cm_ready_index__descriptor)},
        {"CardInfoIndex",
         "p_dev.card_info_index",
         &card_info_index__descriptor,
         {{"t_mod", 1, kInt32}, {"devid", 2, kInt32}, {"slotid", 3, kInt32}, {"sslotid", 4, kInt32}}},
        {"CardStaticInfoIndex",
         "p_dev.card_static_info_index",
         &card_static_info_index__descriptor,
         {{"type", 1, kInt32}}},
        {"CardInfo",
         "p_dev.card_info",
         &card_info__descriptor,
         {{"index", 5, kMessage, &card_info_index__descriptor},
          {"config_dev_type", 6, kInt32},
          {"is_online", 7, kBool},
          {"cpu_num", 8, kInt32},
          {"is_mboard", 9, kBool},
          {"sw_status", 11, kInt32},
          {"name", 12, kString},
          {"ex_sw_st_is_cns", 13, kBool},
          {"static_info", 14, kMessage, &card_static_info__descriptor},
          {"user_slot", 15, kInt32},
          {"user_sslot", 16, kInt32},
          {"card_nodeid", 17, kInt32},
          {"port_num", 18, kInt32},
          {"is_pre_insl", 19, kBool},
          {"serial", 20, kBytes},
          {"mac_addr", 21, kBytes},
          {"card_tipc_nodeid", 22, kInt32}}},
        {"AppDfCardDenyCheckResult",
         "p_libpub.app_df_card_deny_check_result",
         &app_df_card_deny_check_result__descriptor,
         {{"index", 5, kMessage, &card_info_index__descriptor},
          {"stat", 6, kEnum, &app_df_card_check_stat__descriptor},
          {"config_dev_type", 7, kInt32},
          {"card_nodeid", 8, kInt32}}},
        {"CardStaticInfo",
         "p_dev.card_static_info",
         &card_static_info__descriptor,
         {{"index", 5, kMessage, &card_static_info_index__descriptor},
          {"node_type", 6, kInt32},
          {"sub_slot_num", 7, kInt32},
          {"name", 8, kString}}},
        {"CapFabTable", "p_libpub.cap_fab_table", &cap_fab_table__descriptor, class_table},
        {"CapCmTable", "p_libpub.cap_cm_table", &cap_cm_table__descriptor, class_table},
        {"CapHpsTable", "p_libpub.cap_hps_table", &cap_hps_table__descriptor, class_table},
        {"CapTable", "p_libpub.cap_table", &cap_table__descriptor, class_table},
        {"CapTableIndex", "p_libpub.cap_table_index", &cap_table_index__descriptor, {{"url", 1, kString}}},
        {"CapCmGlbTable", "s_frame.cap_cm_glb_table", &cap_cm_glb_table__descriptor, node_table},
        {"CapGlbTable", "s_frame.cap_glb_table", &cap_glb_table__descriptor, node_table},
        {"CapGlbTableIndex",
         "s_frame.cap_glb_table_index",
         &cap_glb_table_index__descriptor,
         {{"node", 1, kInt32}, {"url", 2, kString}}},
    };
}

class RecordTypes : public ::testing::TestWithParam<RecordType> {};

INSTANTIATE_TEST_SUITE_P(All, RecordTypes, ::testing::ValuesIn(record_types()),
                         [](const auto &type) { return type.param.name; });

TEST_P(RecordTypes, HasItsNames) {
    EXPECT_STREQ(GetParam().descriptor->name, GetParam().full_name);
    EXPECT_STREQ(GetParam().descriptor->c_name, GetParam().name);
    EXPECT_STREQ(GetParam().descriptor->short_name, GetParam().name);
}

TEST_P(RecordTypes, HasItsFieldsInOrder) {
    const ProtobufCMessageDescriptor &type = *GetParam().descriptor;
    const std::vector<ExpectedField> &expected = GetParam().fields;
    ASSERT_EQ(type.n_fields, expected.size());
    for (unsigned i = 0; i < type.n_fields; ++i) {
        const ProtobufCFieldDescriptor &field = type.fields[i];
        SCOPED_TRACE(field.name);
        EXPECT_EQ(field.name, expected[i].name);
        EXPECT_EQ(field.id, expected[i].number);
        EXPECT_EQ(field.type, expected[i].type);
        EXPECT_EQ(field.descriptor, expected[i].refers_to);
        // Singular, without a mark whether it is present.
        EXPECT_EQ(field.label, PROTOBUF_C_LABEL_NONE);
        EXPECT_EQ(field.quantifier_offset, 0U);
        EXPECT_TRUE(i == 0 || field.offset > type.fields[i - 1].offset) << "members in order of declaration";
    }
}

TEST(RecordTypes, CardCheckResultsAreDeniedOrPassed) {
    const ProtobufCEnumDescriptor &type = app_df_card_check_stat__descriptor;
    EXPECT_STREQ(type.name, "p_libpub.app_df_card_check_stat");
    ASSERT_EQ(type.n_values, 2U);
    EXPECT_STREQ(type.values[0].name, "APP_DF_CHECK_DENY");
    EXPECT_EQ(type.values[0].value, 0);
    EXPECT_STREQ(type.values[1].name, "APP_DF_CHECK_PASS");
    EXPECT_EQ(type.values[1].value, 1);
}

// The short names are those of the C types, and their members those of the fields.
TEST(RecordTypes, HaveTheMembersThatTheirFieldsSay) {
    CapTable table;
    cap_table__init(&table);
    CapTableIndex index;
    cap_table_index__init(&index);
    table.index = &index;
    EXPECT_EQ(table.base.descriptor, &cap_table__descriptor);
    EXPECT_EQ(cap_table__descriptor.fields[1].offset, offsetof(CapTable, bool_value));
    EXPECT_EQ(cap_table__descriptor.fields[2].offset, offsetof(CapTable, int32_value));
    EXPECT_EQ(cap_table__descriptor.fields[5].offset, offsetof(CapTable, state));
    EXPECT_EQ(cap_glb_state__descriptor.fields[0].offset, offsetof(CapGlbState, ready));
    EXPECT_EQ(cap_fe_ready__descriptor.fields[7].offset, offsetof(CapFeReady, real_time));
    EXPECT_EQ(card_info__descriptor.fields[8].offset, offsetof(CardInfo, static_info));
}

TEST(RecordNumbers, AreThoseOfTheStore) {
    EXPECT_EQ(TREL_CAP_DB_CARDS, 1);
    EXPECT_EQ(TREL_CAP_DB_CAPABILITIES, 28);
    EXPECT_EQ(TREL_CAP_FIELD_BOOL, 6);
    EXPECT_EQ(TREL_CAP_FIELD_INT32, 7);
    EXPECT_EQ(TREL_CAP_FIELD_STR, 8);
    EXPECT_EQ(TREL_CAP_FIELD_STATE, 22);
}

TEST(StoreStructures, LieAsTheClientLaysThem) {
    constexpr size_t kPointer = sizeof(void *);
    EXPECT_EQ(offsetof(MomHashResult, record), 0U);
    EXPECT_EQ(offsetof(MomHashResult, field_ids), kPointer);
    EXPECT_EQ(offsetof(MomHashResult, n_field_ids), 2 * kPointer);
    EXPECT_EQ(offsetof(MomHashResult, error_code), 2 * kPointer + 3 * sizeof(uint32_t));
    // The result follows the command, with no more between them than its alignment needs.
    EXPECT_EQ(offsetof(MomMsg, result) / kPointer, (offsetof(MomMsg, cmd) + sizeof(int32_t) - 1) / kPointer + 1);
}

}  // namespace
}  // namespace trel_cap_tests
