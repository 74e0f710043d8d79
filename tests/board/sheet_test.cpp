#include "board/sheet.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace board {

namespace {

using Json = nlohmann::json;

Json whole(const Sheet &sheet) { return Json::parse(sheet.whole()); }
Json since(const Sheet &sheet, uint64_t version) { return Json::parse(sheet.since(version)); }

TEST(Sheet, WholeHasEverySectionAlsoWhereItIsEmpty) {
    Sheet sheet;
    sheet.publish();
    EXPECT_EQ(whole(sheet), Json::parse(R"({"version": 1, "whole": true, "store": {}, "scopes": {}, "cards": {},
                                            "capabilities": {}, "events": []})"));
}

TEST(Sheet, ADifferenceHasTheLastStateOfWhatIsNewAlone) {
    Sheet sheet;
    sheet.put(Sheet::kCards, "1", "1");
    sheet.put(Sheet::kCards, "2", "1");
    sheet.put(Sheet::kScopes, "glb", "1");
    sheet.publish();
    sheet.put(Sheet::kCards, "2", "2");
    sheet.publish();
    sheet.put(Sheet::kCards, "2", "3");
    sheet.put(Sheet::kCards, "3", "1");
    sheet.publish();
    EXPECT_EQ(since(sheet, 1), Json::parse(R"({"version": 3, "cards": {"2": 3, "3": 1}})"));
    EXPECT_EQ(since(sheet, 3), Json::parse(R"({"version": 3})"));
}

TEST(Sheet, WhatStaysAsItWasIsNoNews) {
    Sheet sheet;
    sheet.put(Sheet::kCards, "1", "1");
    EXPECT_TRUE(sheet.has_news());
    sheet.publish();
    sheet.put(Sheet::kCards, "1", "1");
    EXPECT_FALSE(sheet.has_news());
    sheet.publish();
    EXPECT_EQ(since(sheet, 1), Json::parse(R"({"version": 2})"));
}

TEST(Sheet, WhatHasGoneIsNullInADifferenceAndNotInTheWhole) {
    Sheet sheet;
    sheet.put(Sheet::kCards, "1", "1");
    sheet.publish();
    sheet.erase(Sheet::kCards, "1");
    sheet.erase(Sheet::kCards, "2");
    sheet.publish();
    EXPECT_EQ(since(sheet, 1), Json::parse(R"({"version": 2, "cards": {"1": null}})"));
    EXPECT_EQ(whole(sheet)["cards"], Json::object());
    sheet.put(Sheet::kCards, "1", "2");
    sheet.publish();
    EXPECT_EQ(since(sheet, 2)["cards"], Json::parse(R"({"1": 2})"));
}

// What has gone is not remembered for ever: whoever has seen too little of it gets everything.
TEST(Sheet, AVersionOfLongAgoIsAnsweredWithTheWhole) {
    Sheet sheet;
    sheet.put(Sheet::kCards, "stays", "1");
    sheet.publish();
    for (int i = 0; i < 3000; ++i) {
        sheet.put(Sheet::kCards, std::to_string(i), "1");
        sheet.publish();
        sheet.erase(Sheet::kCards, std::to_string(i));
        sheet.publish();
    }
    EXPECT_EQ(since(sheet, 1)["whole"], true);
    EXPECT_EQ(since(sheet, 1)["cards"], Json::parse(R"({"stays": 1})"));
    const Json late = since(sheet, sheet.version() - 2);
    EXPECT_FALSE(late.contains("whole"));
    EXPECT_EQ(late["cards"], Json::parse(R"({"2999": null})"));
}

TEST(Sheet, KeepsTheLatestTwoHundredEvents) {
    Sheet sheet;
    for (int i = 1; i <= 250; ++i) {
        sheet.add_event(std::to_string(i));
    }
    sheet.publish();
    const Json events = whole(sheet)["events"];
    ASSERT_EQ(events.size(), 200);
    EXPECT_EQ(events.front(), 51);
    EXPECT_EQ(events.back(), 250);
    sheet.add_event("251");
    sheet.publish();
    EXPECT_EQ(since(sheet, 1)["events"], Json::parse("[251]"));
}

TEST(Sheet, AnyKeyIsValidJson) {
    Sheet sheet;
    sheet.put(Sheet::kCapabilities, "a\"\n\xff", "1");
    sheet.publish();
    EXPECT_EQ(whole(sheet)["capabilities"], Json::parse("{\"a\\\"\\n\xef\xbf\xbd\": 1}"));
}

}  // namespace

}  // namespace board
