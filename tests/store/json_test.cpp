// Records as JSON, and back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "failure_of.h"
#include "random_record.h"
#include "record/record_json.h"

namespace store_test {

namespace {

using record::Record;
using testing::HasSubstr;
using Json = nlohmann::ordered_json;

TEST(RecordJson, GivesEveryRecordBack) {
    std::mt19937 random(2);
    for (const record::RecordType &type : record::record_types()) {
        for (int i = 0; i < 200; ++i) {
            const Record record = random_record(type, random);
            const std::string line = record::json_line(to_json(record));
            const Record again = record::from_json(Json::parse(line));
            EXPECT_EQ(again, record) << line;
            EXPECT_EQ(record::json_line(to_json(again)), line);
        }
    }
}

TEST(RecordJson, HasTheFieldsThatAreThere) {
    Record record = record::record_at("app_df_card_deny_check_result:0:0:1:0");
    record.set("stat", 1);
    record.set("card_nodeid", 17);
    EXPECT_EQ(record::json_line(to_json(record)),
              "{\"type\":\"p_libpub.app_df_card_deny_check_result\",\"key\":{\"t_mod\":0,\"devid\":0,\"slotid\":1,"
              "\"sslotid\":0},\"fields\":{\"stat\":\"APP_DF_CHECK_PASS\",\"card_nodeid\":17}}\n");
    record.set("stat", 9);
    EXPECT_EQ(field_json(record, 6), Json(9)) << "a number without a name";
}

std::string refusal_of(const std::string &text) {
    return failure_of([&] { record::from_json(Json::parse(text)); });
}

std::string with_fields(const std::string &fields) {
    return R"({"type":"cap_fe_ready","key":{"node":3,"config_dev_type":900},"fields":)" + fields + "}";
}

TEST(RecordJson, IsReadStrictly) {
    EXPECT_EQ(refusal_of(with_fields(R"({"ready":true})")), "none");
    EXPECT_EQ(refusal_of("[]"), "6 a record: an object expected, not []");
    EXPECT_EQ(refusal_of("{}"), "6 \"type\" is missing");
    EXPECT_EQ(refusal_of(R"({"type":3})"), "6 type: a string expected, not 3");
    EXPECT_THAT(refusal_of(R"({"type":"cap_fe_redy"})"), HasSubstr("did you mean cap_fe_ready?"));
    EXPECT_EQ(refusal_of(R"({"type":"cap_fe_ready"})"), "6 \"key\" is missing");
    EXPECT_EQ(refusal_of(R"({"type":"cap_fe_ready","key":{"node":3},"fields":{}})"),
              "6 key: \"config_dev_type\" is missing");
    EXPECT_THAT(refusal_of(R"({"type":"cap_fe_ready","key":{"node":3,"config_dev_type":1,"x":1},"fields":{}})"),
                HasSubstr("key: s_frame.cap_fe_ready_index has no field \"x\""));
    EXPECT_EQ(refusal_of(R"({"type":"cap_fe_ready","key":{"node":3,"config_dev_type":1}})"), "6 \"fields\" is missing");
    EXPECT_THAT(refusal_of(R"({"type":"cap_glb_state","key":{},"fields":{},"time":1})"), HasSubstr("\"time\""));
    EXPECT_EQ(refusal_of(R"({"type":"cap_glb_state","key":{"x":1},"fields":{}})"), "6 key: {} expected, not {\"x\":1}");
    EXPECT_EQ(refusal_of(with_fields(R"({"ready":1})")), "6 fields.ready: true or false expected, not 1");
    EXPECT_THAT(refusal_of(with_fields(R"({"redy":true})")), HasSubstr("has no field \"redy\""));
    EXPECT_THAT(refusal_of(with_fields(R"({"index":{}})")), HasSubstr("has no field \"index\""));
    for (const char *bad : {"2147483648", "-2147483649", "1.5", "\"1\"", "true", "null", "1e30"}) {
        EXPECT_THAT(refusal_of(with_fields(R"({"slotid":)" + std::string(bad) + "}")),
                    HasSubstr("6 fields.slotid: a whole number"))
            << bad;
    }
    const auto card = [](const std::string &fields) {
        return refusal_of(R"({"type":"card_info","key":{"t_mod":0,"devid":0,"slotid":1,"sslotid":0},"fields":)" +
                          fields + "}");
    };
    EXPECT_EQ(card(R"({"static_info":null})"), "none");
    EXPECT_EQ(card(R"({"static_info":{"node_type":3}})"), "none");
    EXPECT_EQ(card(R"({"static_info":3})"), "6 fields.static_info: an object or null expected, not 3");
    EXPECT_EQ(card(R"({"static_info":{"node_type":"x"}})"),
              "6 fields.static_info.node_type: a whole number from -2147483648 to 2147483647 expected, not \"x\"");
    EXPECT_THAT(card(R"({"serial":"0"})"), HasSubstr("6 fields.serial: pairs of hexadecimal digits"));
    EXPECT_THAT(card(R"({"name":"a\u0000b"})"), HasSubstr("6 fields.name: text without a NUL byte"));
    EXPECT_THAT(card(R"({"name":"x","name_hex":"c3zz"})"), HasSubstr("fields.name_hex: pairs"));
}

}  // namespace

}  // namespace store_test
