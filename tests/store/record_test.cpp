// One record: its fields by name, its key, copies, comparison.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <trel_cap/records.h>

#include "failure_of.h"
#include "random_record.h"
#include "record/record_text.h"

namespace store_test {

namespace {

using record::Record;
using record::record_at;
using testing::ElementsAre;
using testing::HasSubstr;

TEST(RecordTypes, AreThoseThatTheStoreHolds) {
    EXPECT_EQ(record::record_types().size(), 15U);
    for (const record::RecordType &type : record::record_types()) {
        const bool is_of_cards = type.full_name().starts_with("p_dev.");
        EXPECT_EQ(type.db, is_of_cards ? TREL_CAP_DB_CARDS : TREL_CAP_DB_CAPABILITIES) << type.full_name();
        EXPECT_EQ(record::find_type(type.name()), &type);
        EXPECT_EQ(record::find_type(type.full_name()), &type);
        EXPECT_EQ(record::find_type(type.descriptor->c_name), &type);
        EXPECT_EQ(type.index() == nullptr, type.full_name().ends_with("_state")) << type.full_name();
    }
    EXPECT_EQ(record::find_type("card_info_index"), nullptr);
    EXPECT_THAT(failure_of([] { record::type_named("cap_fe_redy"); }), HasSubstr("did you mean cap_fe_ready"));
}

TEST(ARecord, BeginsWithoutFields) {
    for (const record::RecordType &type : record::record_types()) {
        const Record record(type);
        EXPECT_TRUE(record.fields().empty());
        EXPECT_EQ(record, Record(record));
    }
}

TEST(ARecord, HasTheFieldsThatWereSet) {
    Record record(record::type_named("card_info"));
    record.set("is_online", true);
    record.set("card_nodeid", 17);
    record.set("static_info.node_type", 3);
    record.set("index.slotid", 2);
    record.set("serial", std::string("\0\xff", 2));
    EXPECT_THAT(record.fields(), ElementsAre(7, 14, 17, 20));
    const auto &card = record.as<CardInfo>();
    EXPECT_EQ(card.is_online, 1);
    EXPECT_EQ(card.card_nodeid, 17);
    EXPECT_EQ(card.static_info->node_type, 3);
    EXPECT_EQ(card.static_info->index, nullptr);
    EXPECT_EQ(card.index->slotid, 2);
    EXPECT_EQ(card.serial.len, 2U);
    EXPECT_EQ(std::get<int32_t>(record.get("static_info.index.type")), 0) << "what is not there is a default";
    record.set("serial", std::string());
    EXPECT_EQ(card.serial.len, 0U);
    EXPECT_TRUE(record.has(20));
    EXPECT_FALSE(record.has(21));
}

TEST(ARecord, TakesTextAsACommandLineHasIt) {
    Record record(record::type_named("app_df_card_deny_check_result"));
    record.set_text("stat", "APP_DF_CHECK_PASS");
    EXPECT_EQ(std::get<int32_t>(record.get("stat")), APP_DF_CHECK_PASS);
    record.set_text("stat", "0");
    EXPECT_EQ(std::get<int32_t>(record.get("stat")), APP_DF_CHECK_DENY);
    for (const auto &[text, number] : std::map<std::string, int32_t>{
             {"0x11", 17}, {"-2147483648", INT32_MIN}, {"2147483647", INT32_MAX}, {"0xffffffff", -1}, {"0XfF", 255}}) {
        record.set_text("card_nodeid", text);
        EXPECT_EQ(std::get<int32_t>(record.get("card_nodeid")), number) << text;
    }
    Record card(record::type_named("card_info"));
    for (const auto &[text, flag] :
         std::map<std::string, bool>{{"0", false}, {"1", true}, {"false", false}, {"true", true}}) {
        card.set_text("is_online", text);
        EXPECT_EQ(std::get<bool>(card.get("is_online")), flag) << text;
    }
    card.set_text("mac_addr", "00Ff7f");
    EXPECT_EQ(std::get<std::string>(card.get("mac_addr")), std::string("\0\xff\x7f", 3));
}

TEST(ARecord, RefusesWhatItsTypeDoesNotHave) {
    Record record(record::type_named("card_info"));
    const auto set = [&](const char *path, const char *text) {
        return failure_of([&] { record.set_text(path, text); });
    };
    EXPECT_EQ(set("is_onlin", "1"), "2 \"is_onlin\": p_dev.card_info has no such field; did you mean is_online?");
    EXPECT_THAT(set("zzz", "1"), HasSubstr("it has index, config_dev_type, is_online"));
    EXPECT_EQ(set("is_online.x", "1"), "2 \"is_online.x\": is_online has no fields");
    EXPECT_THAT(set("static_info", "1"),
                HasSubstr("2 \"static_info\": it has fields of its own; name one of them, as in "));
    EXPECT_THAT(set("static_info.x", "1"), HasSubstr("p_dev.card_static_info has no such field"));
    EXPECT_EQ(set("is_online", "2"), "2 is_online: 0, 1, false or true expected, not \"2\"");
    for (const char *bad : {"", "x", "1x", " 1", "0x", "0x1g", "0x100000000", "2147483648", "1.0"}) {
        EXPECT_THAT(set("card_nodeid", bad), HasSubstr("2 card_nodeid: a whole number from -2147483648")) << bad;
    }
    EXPECT_EQ(set("serial", "123"), "2 serial: pairs of hexadecimal digits expected, not \"123\"");
    EXPECT_EQ(set("serial", "0g"), "2 serial: pairs of hexadecimal digits expected, not \"0g\"");
    EXPECT_EQ(failure_of([&] { record.set("card_nodeid", true); }), "2 card_nodeid: a number expected");
    EXPECT_EQ(failure_of([&] { record.set("serial", 1); }), "2 serial: bytes expected");
    Record check(record::type_named("app_df_card_deny_check_result"));
    EXPECT_EQ(failure_of([&] { check.set_text("stat", "PASS"); }),
              "2 stat: APP_DF_CHECK_DENY, APP_DF_CHECK_PASS or a number expected, not \"PASS\"");
    EXPECT_TRUE(record.fields().empty()) << "what was refused has left nothing";
}

TEST(AKey, AddressesARecordOfEachType) {
    std::mt19937 random(1);
    for (const record::RecordType &type : record::record_types()) {
        for (int i = 0; i < 50; ++i) {
            const Record record = random_record(type, random);
            EXPECT_TRUE(record::is_key(record.key()));
            EXPECT_EQ(record_at(record.key()).key(), record.key());
        }
    }
    EXPECT_EQ(record_at("cap_fe_ready:0x11:900").key(), "cap_fe_ready:17:900");
    EXPECT_EQ(record_at("s_frame.cap_fe_ready:17:900").key(), "cap_fe_ready:17:900");
    EXPECT_EQ(record_at("cap_table:a:b:").key(), "cap_table:a:b:") << "an address may have colons";
    EXPECT_EQ(record_at("cap_glb_table:3:a:b").key(), "cap_glb_table:3:a:b");
    EXPECT_EQ(record_at("cap_glb_state").key(), "cap_glb_state");
}

TEST(AKey, ThatIsWrongSaysWhatIsExpected) {
    const auto at = [](const char *key) { return failure_of([&] { record_at(key); }); };
    EXPECT_EQ(at("cap_fe_ready"), "2 \"cap_fe_ready\": cap_fe_ready:node:config_dev_type expected");
    EXPECT_EQ(at("cap_fe_ready:3"), "2 \"cap_fe_ready:3\": cap_fe_ready:node:config_dev_type expected");
    EXPECT_EQ(at("cap_fe_ready:3:4:5"), "2 \"cap_fe_ready:3:4:5\": cap_fe_ready:node:config_dev_type expected");
    EXPECT_THAT(at("cap_fe_ready:x:4"), HasSubstr("\"cap_fe_ready:x:4\": node: a whole number"));
    EXPECT_EQ(at("cap_glb_state:1"), "2 \"cap_glb_state:1\": cap_glb_state expected");
    EXPECT_EQ(at("cap_table"), "2 \"cap_table\": cap_table:url expected");
    EXPECT_THAT(at("nothing:1"), HasSubstr("no such record type"));
    EXPECT_FALSE(record::is_key("/cap_table:x"));
    EXPECT_FALSE(record::is_key("cap_table_x"));
}

TEST(ARecord, IsComparedByItsFields) {
    Record a = record_at("cap_fe_ready:17:900");
    Record b = a;
    EXPECT_EQ(a, b);
    b.set("ready", false);
    EXPECT_THAT(differing_fields(a, b), ElementsAre(6)) << "a default that is there is not nothing";
    a.set("ready", true);
    EXPECT_THAT(differing_fields(a, b), ElementsAre(6));
    b.set("ready", true);
    EXPECT_EQ(a, b);
    EXPECT_FALSE(a == record_at("cap_fe_ready:18:900"));
    Record card = record_at("card_info:0:0:1:0");
    Record other = card;
    card.set_message("static_info", false);
    other.set_message("static_info", true);
    EXPECT_THAT(differing_fields(card, other), ElementsAre(14));
    card.set("static_info.node_type", 3);
    other.set("static_info.node_type", 3);
    EXPECT_EQ(card, other);
}

TEST(Records, AreOrderedByTypeAndIndex) {
    const auto precedes = [](const char *a, const char *b) { return record::precedes(record_at(a), record_at(b)); };
    EXPECT_TRUE(precedes("cap_fe_ready:2:0", "cap_fe_ready:10:0"));
    EXPECT_FALSE(precedes("cap_fe_ready:10:0", "cap_fe_ready:2:0"));
    EXPECT_FALSE(precedes("cap_fe_ready:2:0", "cap_fe_ready:2:0"));
    EXPECT_TRUE(precedes("card_info:9:9:9:9", "cap_fe_ready:2:0"));
    EXPECT_TRUE(precedes("cap_table:/a", "cap_table:/b"));
    EXPECT_TRUE(precedes("cap_fe_ready:-2147483648:0", "cap_fe_ready:-1:0"));
    EXPECT_TRUE(precedes("cap_fe_ready:-1:0", "cap_fe_ready:0:0"));
    EXPECT_TRUE(precedes("cap_fe_ready:255:0", "cap_fe_ready:256:-1"));
    EXPECT_TRUE(precedes("cap_table:/a", "cap_table:/a/"));
    EXPECT_TRUE(precedes("cap_table:/a/z", "cap_table:/b"));
    EXPECT_TRUE(precedes("cap_table:/z", "cap_table:/\xff"));
    EXPECT_TRUE(precedes("cap_glb_table:2:/z", "cap_glb_table:10:/a"));
}

TEST(AView, HasTheFieldsOfItsTypeThatAreThere) {
    Record record = record_at("cap_fe_ready:17:900");
    record.set("ready", true);
    record.set("slotid", 3);
    const auto numbers = [](const record::View &view) {
        std::vector<uint32_t> found;
        view.each_field([&](const ProtobufCFieldDescriptor &field) { found.push_back(field.id); });
        return found;
    };
    EXPECT_THAT(numbers(record), ElementsAre(6, 9));
    constexpr int32_t kOthersToo[] = {1, 5, 6, 6, 9, 1000};
    const record::View view(record.type(), record.message(), kOthersToo);
    EXPECT_THAT(numbers(view), ElementsAre(6, 9));
    EXPECT_EQ(view.key(), "cap_fe_ready:17:900");
    EXPECT_EQ(Record(view), record);
    const Record object = record_at("cap_glb_state");
    EXPECT_THAT(numbers(record::View::whole(object.message())), ElementsAre(5)) << "which is no index there";
    EXPECT_EQ(record::View(object).index(), nullptr);
}

TEST(Records, AreTextOnALine) {
    Record record = record_at("card_info:0:0:1:0");
    record.set("name", std::string("a\n\"b\""));
    record.set("static_info.node_type", 5);
    record.set("serial", std::string("\x01\x02"));
    EXPECT_EQ(assignments(record, record.fields()),
              "name=\"a\\n\\\"b\\\"\" static_info.node_type=5 static_info.sub_slot_num=0 static_info.name=\"\" "
              "serial=0102");
    constexpr int32_t kSerial[] = {20};
    EXPECT_EQ(assignments(record, kSerial), "serial=0102");
}

}  // namespace

}  // namespace store_test
