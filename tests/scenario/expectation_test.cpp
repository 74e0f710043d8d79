// What a scenario expects, against what was told.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "scenario/expectation.h"
#include "scenario/scenario.h"

namespace scenario {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Lines = std::vector<std::string>;

Expectation expecting(Lines items, bool any_order = false, bool others = false) {
    return {.line = 1, .items = std::move(items), .any_order = any_order, .others = others};
}

TEST(Events, AreNamedOrNumberedAndOfNodesByCardOrNumber) {
    const Scenario scenario = read_text("cards: {lc1: {class: lc, node: 3}}\n"
                                        "steps:\n"
                                        "expect:\n"
                                        "  - system\n"
                                        "  - 3\n"
                                        "  - {event: fe_node, node: lc1}\n"
                                        "  - {event: 1, node: 0x3, ready: no}\n"
                                        "  - {event: cm_node, node: 9}\n",
                                        "file");
    const Moment &last = scenario.steps.moments.back();
    EXPECT_THAT(last.expected->items,
                ElementsAre("system", "fab", "{event: fe_node, node: lc1, ready: yes}",
                            "{event: fe_node, node: lc1, ready: no}", "{event: cm_node, node: 9, ready: yes}"));
    EXPECT_EQ(last.expected->line, 4);
    EXPECT_FALSE(last.expected->any_order || last.expected->others);
}

// A name would not tell which of the two cards was meant.
TEST(Events, OfANodeThatTwoCardsHaveAreNumbered) {
    const Scenario scenario = read_text("cards: {a: {class: lc, node: 3}, b: {class: lc, node: 3}}\n"
                                        "steps:\n"
                                        "expect: [{event: fe_node, node: b}]\n",
                                        "file");
    EXPECT_THAT(scenario.steps.moments.back().expected->items, ElementsAre("{event: fe_node, node: 3, ready: yes}"));
}

TEST(Comparison, IsOfAllInOrderUnlessToldOtherwise) {
    EXPECT_THAT(differences(expecting({"a", "b"}), {"a", "b"}), IsEmpty());
    EXPECT_THAT(differences(expecting({}), {}), IsEmpty());
    EXPECT_THAT(differences(expecting({"a", "b", "c"}), {"a", "c", "d"}), ElementsAre("  a", "- b", "  c", "+ d"));
    EXPECT_THAT(differences(expecting({"a", "b"}), {"b", "a"}), ElementsAre("- a", "  b", "+ a"));
    EXPECT_THAT(differences(expecting({"a"}), {"a", "a"}), ElementsAre("  a", "+ a"));
}

TEST(Comparison, InAnyOrderCounts) {
    EXPECT_THAT(differences(expecting({"a", "b", "a"}, true), {"a", "a", "b"}), IsEmpty());
    EXPECT_THAT(differences(expecting({"a", "b"}, true), {"b", "b"}), ElementsAre("- a", "  b", "+ b"));
}

TEST(Comparison, LetsOthersBetweenWhenAllowed) {
    EXPECT_THAT(differences(expecting({"a", "b"}, false, true), {"x", "a", "y", "b", "z"}), IsEmpty());
    EXPECT_THAT(differences(expecting({"a", "b"}, false, true), {"b", "a"}), ElementsAre("- a", "  b", "+ a"));
    EXPECT_THAT(differences(expecting({"a", "b"}, true, true), {"b", "x", "a"}), IsEmpty());
    EXPECT_THAT(differences(expecting({"a", "a"}, true, true), {"a", "x"}), ElementsAre("  a", "- a", "+ x"));
}

// Where the comparison itself would take too long, all of both is shown.
TEST(Comparison, OfVeryMuchEnds) {
    const Lines told(5000, "b");
    EXPECT_EQ(differences(expecting(Lines(5000, "a")), told).size(), 10000U);
    EXPECT_THAT(differences(expecting(told), told), IsEmpty());
}

TEST(Output, MayHaveOtherLinesUnlessToldOtherwise) {
    const Scenario loose = read_text("steps:\nexpect_output: [a line]\n", "file");
    EXPECT_TRUE(loose.expected_output->others);
    const Scenario strict = read_text("steps:\nexpect_output: {lines: [a line], others: no, order: any}\n"
                                      "expect_status: 3\n",
                                      "file");
    EXPECT_FALSE(strict.expected_output->others);
    EXPECT_TRUE(strict.expected_output->any_order);
    EXPECT_THAT(strict.expected_output->items, ElementsAre("a line"));
    EXPECT_EQ(strict.expected_status, 3);
}

}  // namespace

}  // namespace scenario
