// --output json.
#include <nlohmann/json.hpp>

#include "capctl_test.h"

namespace capctl_test {

namespace {

using nlohmann::json;

class Json : public ServerTest {
protected:
    Outcome run(Arguments arguments) const {
        arguments.insert(arguments.end(), {"--output", "json"});
        return ServerTest::run(arguments);
    }

    // Of an output of one line.
    json parsed(const Arguments &arguments) const {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.out.find('\n'), outcome.out.size() - 1) << outcome.out;
        return json::parse(outcome.out);
    }
};

TEST_F(Json, OfACapabilityHasTypeKeyAndThePresentFields) {
    EXPECT_THAT(
        run({"set", "/a", "--bool", "0"}),
        Prints("{\"type\":\"p_libpub.cap_table\",\"key\":{\"url\":\"/a\"},\"fields\":{\"bool_value\":false}}\n"));
    EXPECT_THAT(run({"set", "/a", "--int", "-5"}),
                Prints("{\"type\":\"p_libpub.cap_table\",\"key\":{\"url\":\"/a\"},\"fields\":{\"int32_value\":-5}}\n"));
    publish_string("/a", "t\"\n");
    run({"set", "/a", "--state", "1"});
    raw().must({"HSET", "p_libpub.cap_table:/a", "21", "\xa8\x01\x03"});
    EXPECT_THAT(run({"get", "/a"}),
                Prints("{\"type\":\"p_libpub.cap_table\",\"key\":{\"url\":\"/a\"},\"fields\":{\"bool_value\":false,"
                       "\"int32_value\":-5,\"str_value\":\"t\\\"\\n\",\"pri\":3,\"state\":true}}\n"));
}

TEST_F(Json, OfOneValueIsTheValue) {
    run({"set", "/a", "--int", "7"});
    publish_string("/a", "x");
    run({"set", "/a", "--bool", "1"});
    EXPECT_THAT(run({"get", "/a", "--int"}), Prints("7\n"));
    EXPECT_THAT(run({"get", "/a", "--str"}), Prints("\"x\"\n"));
    EXPECT_THAT(run({"get", "/a", "--bool"}), Prints("true\n"));
}

TEST_F(Json, OfNothingIsNothing) {
    EXPECT_THAT(run({"get", "/a"}), FailsWith(1, "no such capability"));
    run({"set", "/a", "--int", "7"});
    EXPECT_THAT(run({"get", "/a", "--bool"}), FailsWith(1, "never set"));
}

TEST_F(Json, OfACapabilityWithoutValuesHasNoFields) {
    run({"set", "/a", "--int", "1"});
    raw().must({"HDEL", "p_libpub.cap_table:/a", "7"});
    EXPECT_THAT(run({"get", "/a"}),
                Prints("{\"type\":\"p_libpub.cap_table\",\"key\":{\"url\":\"/a\"},\"fields\":{}}\n"));
}

TEST_F(Json, OfReadinessHasTheFieldWhenItWasPublished) {
    const Outcome unpublished = run({"ready", "fab"});
    EXPECT_EQ(unpublished.status, 1);
    EXPECT_EQ(unpublished.out, "{\"type\":\"s_frame.cap_fab_glb_state\",\"key\":{},\"fields\":{}}\n");
    EXPECT_THAT(run({"ready", "fab", "on"}),
                Prints("{\"type\":\"s_frame.cap_fab_glb_state\",\"key\":{},\"fields\":{\"ready\":true}}\n"));
    EXPECT_THAT(run({"ready", "fab"}),
                Prints("{\"type\":\"s_frame.cap_fab_glb_state\",\"key\":{},\"fields\":{\"ready\":true}}\n"));
    run({"ready", "fab", "off"});
    const Outcome off = run({"ready", "fab"});
    EXPECT_EQ(off.status, 1);
    EXPECT_EQ(off.out, "{\"type\":\"s_frame.cap_fab_glb_state\",\"key\":{},\"fields\":{\"ready\":false}}\n");
}

TEST_F(Json, IsValidWhateverTheUrl) {
    const auto key_of = [this](const std::string &url) { return parsed({"set", url, "--int", "1"})["key"]; };
    std::string url;
    for (int byte = 1; byte < 0x80; ++byte) {
        url += static_cast<char>(byte);
    }
    EXPECT_EQ(key_of(url), (json{{"url", url}}));
    // None of these bytes is a letter when a stroke follows it. All of them in one URL would be too long.
    for (const int first : {0x80, 0xc0}) {
        url.clear();
        std::string shown;
        std::string hex;
        for (int byte = first; byte < first + 0x40; ++byte) {
            char digits[8];
            snprintf(digits, sizeof digits, "%02x2f", static_cast<unsigned>(byte));
            url.append(1, static_cast<char>(byte)).append("/");
            shown += "\xef\xbf\xbd/";
            hex += digits;
        }
        EXPECT_EQ(key_of(url), (json{{"url", shown}, {"url_hex", hex}}));
    }
}

TEST_F(Json, KeepsTheBytesOfAStringThatIsNotUtf8) {
    publish_string("/a", "ok \xc3\xa4");
    EXPECT_EQ(parsed({"get", "/a"})["fields"], (json{{"str_value", "ok \xc3\xa4"}}));
    publish_string("/a", "\xc3(");
    EXPECT_EQ(parsed({"get", "/a"})["fields"], (json{{"str_value", "\xef\xbf\xbd("}, {"str_value_hex", "c328"}}));
    EXPECT_EQ(parsed({"get", "/a", "--str"}), json("\xef\xbf\xbd("));
}

}  // namespace

}  // namespace capctl_test
