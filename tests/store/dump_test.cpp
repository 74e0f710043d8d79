// Dumps as text: read whole, or refused with the line.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "failure_of.h"
#include "record/dump.h"

namespace store_test {

namespace {

const std::string kReady = R"({"type":"cap_glb_state","key":{},"fields":{"ready":true}})";
const std::string kUrl = R"({"type":"cap_table","key":{"url":"/a"},"fields":{"int32_value":3}})";

std::string dump_refusal(const std::string &text) {
    return failure_of([&] { record::parse_dump("f", text); });
}

std::string keys_of(const std::string &text) {
    std::string keys;
    for (const record::Record &record : record::parse_dump("f", text)) {
        keys += record.key() + " ";
    }
    return keys;
}

TEST(ADump, IsLinesOrAnArray) {
    EXPECT_EQ(keys_of(kReady + "\n" + kUrl + "\n"), "cap_glb_state cap_table:/a ");
    EXPECT_EQ(keys_of("\n \n" + kReady + "\r\n\n" + kUrl), "cap_glb_state cap_table:/a ");
    EXPECT_EQ(keys_of(" [" + kReady + ",\n" + kUrl + "]\n"), "cap_glb_state cap_table:/a ");
    EXPECT_EQ(keys_of(""), "");
    EXPECT_EQ(keys_of("[]"), "");
}

TEST(ADump, ThatIsBrokenNamesTheLine) {
    EXPECT_EQ(dump_refusal(kReady + "\n" + kUrl.substr(0, 20)), "6 f:2: no JSON, byte 21");
    EXPECT_EQ(dump_refusal(kReady + "\n\n{}\n" + kUrl), "6 f:3: \"type\" is missing");
    EXPECT_EQ(dump_refusal(kReady + "\n" + kUrl + "\n" + kReady),
              "6 f:3: \"cap_glb_state\": the same record as at f:1");
    EXPECT_EQ(dump_refusal("[" + kReady + ",{}]"), "6 f: record 2: \"type\" is missing");
    EXPECT_EQ(dump_refusal("[" + kReady), "6 f: no JSON, byte " + std::to_string(kReady.size() + 2));
    EXPECT_EQ(dump_refusal(kReady + "\n1e999"), "6 f:2: a number in it is larger than any that JSON is read with");
}

// The line of a record is that on which it begins; what stands in strings is no matter.
TEST(ADump, ThatIsABrokenArrayOverLinesNamesTheLine) {
    const std::string odd = R"({"type":"p_libpub.cap_table","key":{"url":"/[{,\"]"},"fields":{"bool_value":true}})";
    EXPECT_EQ(keys_of("[\n" + odd + ",\n" + kReady + "\n]\n").substr(0, 10), "cap_table:");
    EXPECT_EQ(dump_refusal("[\n" + kReady + ",\n" + odd + ",\n\n  {\"type\":\n  3}\n]\n"),
              "6 f:5: record 3: type: a string expected, not 3");
    EXPECT_EQ(dump_refusal("[" + odd + ",\n" + kReady + ", " + kReady + "\n]"),
              "6 f:2: record 3: \"cap_glb_state\": the same record as at f:2: record 2");
    EXPECT_EQ(dump_refusal("[\n" + kReady + ",\n{\"type\" 3}\n]\n"), "6 f:3: no JSON, byte 9");
    EXPECT_EQ(dump_refusal("[\n" + kReady + "\n"), "6 f:3: no JSON, byte 1");
}

// As jq prints it unless it is told otherwise.
TEST(ADump, OfRecordsOverLinesIsTold) {
    EXPECT_EQ(dump_refusal("{\n  \"type\": \"s_frame.cap_glb_state\"\n}\n"),
              "6 f:1: no JSON, byte 2; a record on each line is wanted, or an array of them: jq -c keeps a record on "
              "its line");
    EXPECT_EQ(dump_refusal("{\"type\":"), "6 f:1: no JSON, byte 9");
}

}  // namespace

}  // namespace store_test
