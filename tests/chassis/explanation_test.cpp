// Judgements in words and as JSON.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "chassis/explanation.h"
#include "chassis/judgement_json.h"

namespace chassis_test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

// The records of one card of a class, and what is explained of it.
class Told {
public:
    explicit Told(const char *class_name) : card(usual_card(chassis::class_named(class_name), 3)) {
        snapshot.put(card_info(card));
    }

    chassis::Judgement judgement() const { return chassis::judge(snapshot, card.node); }
    std::string text() const { return chassis::explain(judgement()); }

    chassis::Card card;
    store::Snapshot snapshot;
};

TEST(Explanations, OfADeniedCard) {
    Told told("lc");
    told.snapshot.put(check_result(told.card, false));
    told.snapshot.put(node_ready(told.card, true, true));
    EXPECT_EQ(told.text(), "node 3, line card, slot 0/3/0, model 900: not ready\n"
                           "\n"
                           "  yes  installed    card_info:0:0:3:0\n"
                           "  yes  checked      app_df_card_deny_check_result:0:0:3:0\n"
                           "  NO   not denied   app_df_card_deny_check_result:0:0:3:0\n"
                           "  yes  ready        cap_fe_ready:3:900\n"
                           "  yes  real time    cap_fe_ready:3:900\n"
                           "  no   class ready  cap_glb_state  (not there)  (not asked as things are)\n"
                           "\n"
                           "Who has to act, and why:\n"
                           "  application's checker: app_df_card_deny_check_result:0:0:3:0 denies the card\n"
                           "      at a desk: trel_capctl check 3 pass\n"
                           "\n"
                           "An application that starts now and asks for every event is told:\n"
                           "  FE_NODE (1), not ready, to those of trel_cap_event_callback_reg, because of "
                           "app_df_card_deny_check_result:0:0:3:0\n");
}

TEST(Explanations, OfAReadyCardNameNobody) {
    Told told("cm");
    told.snapshot.put(node_ready(told.card, true, true));
    EXPECT_EQ(told.text(),
              "node 3, control module, slot 0/3/0, model 300: ready\n"
              "\n"
              "  yes  installed  card_info:0:0:3:0\n"
              "  yes  ready      cap_cm_ready:3:300\n"
              "\n"
              "An application that starts now and asks for every event is told:\n"
              "  CM_NODE (5), ready, to those of trel_cap_cm_event_callback_reg, because of cap_cm_ready:3:300\n");
}

TEST(Explanations, OfANodeThatNobodyNames) {
    EXPECT_EQ(chassis::explain(chassis::judge({}, 42)), "node 42: not ready\n\nNo record of the store names it.\n");
}

TEST(Explanations, NameARecordThatIsMissingOnce) {
    const std::string text = Told("lc").text();
    EXPECT_THAT(text, HasSubstr("  card's software: there is no cap_fe_ready:3:900\n"
                                "      at a desk: trel_capctl node 3 ready\n"));
    EXPECT_EQ(text.find("there is no cap_fe_ready"), text.rfind("there is no cap_fe_ready"));
    EXPECT_THAT(text, HasSubstr("is told:\n  nothing of this node\n"));
}

TEST(Explanations, NoteWhoIsToldLess) {
    Told fabric("fab");
    fabric.snapshot.put(node_ready(fabric.card, true, false));
    fabric.snapshot.put(chassis::scope_ready("fab", true));
    EXPECT_THAT(notes(fabric.judgement()),
                ElementsAre("fabric cards are announced in advance to those only who ask for CM_NODE (5) too."));

    Told hps("hps");
    chassis::Card other = hps.card;
    other.config_dev_type += 1;
    hps.snapshot.put(node_ready(other, true, true));
    EXPECT_THAT(notes(hps.judgement()), ElementsAre(HasSubstr("alone is not told: the card's model in card_info")));
}

TEST(Explanations, NoteThatAnAnnouncementInAdvanceAsksForNoCheck) {
    Told told("lc");
    told.snapshot.put(node_ready(told.card, true, false));
    told.snapshot.put(chassis::scope_ready("glb", true));
    EXPECT_THAT(told.text(), HasSubstr("in advance\n"));
    EXPECT_THAT(notes(told.judgement()), ElementsAre(HasSubstr("does not ask for the application's check")));
    told.snapshot.put(check_result(told.card, true));
    EXPECT_THAT(notes(told.judgement()), IsEmpty());
}

TEST(Explanations, NameContradictingRecords) {
    Told told("fab");
    chassis::Card other = told.card;
    other.config_dev_type = 501;
    told.snapshot.put(node_ready(told.card, true, true));
    told.snapshot.put(node_ready(other, false, true));
    EXPECT_THAT(told.text(), HasSubstr("  card's software: cap_fe_ready:3:501 and cap_fe_ready:3:500 contradict each "
                                       "other, and the one that is read last counts\n"
                                       "      at a desk: trel_capctl del cap_fe_ready:3:501\n"));
}

TEST(Explanations, TellTheTypeThatIsExpected) {
    Told told("fab");
    record::Record record = node_ready(told.card, true, true);
    record.set("node_type", int32_t{0});
    told.snapshot.put(record);
    EXPECT_THAT(told.text(), HasSubstr("cap_fe_ready:3:500 has a node_type that is not a fabric card's, and node_type "
                                       "5 is expected\n"
                                       "      at a desk: trel_capctl node 3 ready --class fab\n"));
}

TEST(Explanations, KeepNamesOnOneLine) {
    Told told("lc");
    told.card.name = "a\nb\x1b[31m";
    told.snapshot.put(card_info(told.card));
    EXPECT_THAT(told.text(), HasSubstr("model 900, \"a\\nb\\x1b[31m\": not ready"));
}

TEST(Explanations, AsJson) {
    Told told("fab");
    told.snapshot.put(node_ready(told.card, true, true));
    const auto json = to_json(told.judgement());
    EXPECT_EQ(json["node"], 3);
    EXPECT_EQ(json["class"], "fab");
    EXPECT_EQ(json["slot"], "0/3/0");
    EXPECT_EQ(json["verdict"], "ready");
    EXPECT_EQ(json["conditions"][0].dump(),
              R"({"condition":"installed","met":true,"asked":true,"record":"card_info:0:0:3:0","stored":true,)"
              R"("actor":"slot watcher"})");
    EXPECT_EQ(json["told"][1].dump(), R"({"event":4,"name":"FAB_NODE","list":"fab","ready":true,"in_advance":false,)"
                                      R"("record":"cap_fe_ready:3:500"})");

    told.snapshot.erase(card_info(told.card).key());
    EXPECT_EQ(to_json(told.judgement())["conditions"][0]["why"], "no card_info names node 3");
    EXPECT_TRUE(to_json(chassis::judge({}, 1))["class"].is_null());
}

}  // namespace

}  // namespace chassis_test
