// The list of what leads to which event: each line of it happens to an application.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "application.h"
#include "chassis/events.h"
#include "chassis/start_up.h"
#include "store/store.h"

namespace chassis_test {

using chassis::Card;
using chassis::CardClass;
using chassis::EventRule;

namespace {

constexpr int32_t kNode = 3;

// What happens to one card of a class, and to its class.
class Happening {
public:
    Happening(const std::string &store, CardClass card_class)
        : store_(store), card_(usual_card(card_class, kNode)), scope_(rules_of(card_class).scope) {}

    // All that the change needs to lead to its events.
    void prepare(std::string_view record, std::string_view change) {
        const bool is_state = record.ends_with("_state");
        if (change != "inserted") {
            store_.write(card_info(card_));
        }
        if (change != "pass") {
            store_.write(check_result(card_, true));
        }
        const bool is_of_node = record.ends_with("_ready");
        if (!is_of_node || change == "unready" || change == "deleted") {
            store_.write(node_ready(card_, true, change != "on"));
        }
        if (is_state && change != "on") {
            store_.write(chassis::scope_ready(scope_, true));
        }
    }

    void happen(std::string_view record, std::string_view change) {
        if (record == "card_info") {
            put(card_info(card_), change == "inserted");
        } else if (record == "app_df_card_deny_check_result") {
            put(check_result(card_, change == "pass"), change != "withdrawn");
        } else if (record.ends_with("_ready")) {
            put(node_ready(card_, change != "unready", change == "ready"), change != "deleted");
        } else {
            put(chassis::scope_ready(scope_, change == "on"), change != "deleted");
        }
    }

private:
    void put(const record::Record &record, bool is_written) {
        if (is_written) {
            store_.write(record);
        } else {
            store_.remove(record);
        }
    }

    store::Store store_;
    Card card_;
    std::string_view scope_;
};

bool is_of_node(int32_t event) {
    return event == TREL_CAP_EVENT_FE_NODE || event == TREL_CAP_EVENT_FAB_NODE || event == TREL_CAP_EVENT_CM_NODE ||
           event == TREL_CAP_EVENT_HPS_NODE;
}

std::vector<Heard> expected_of(const EventRule &like) {
    std::vector<Heard> expected;
    for (const EventRule &rule : chassis::event_rules()) {
        if (rule.card_class == like.card_class && rule.record == like.record && rule.change == like.change &&
            rule.event) {
            expected.push_back({.list = rule.list,
                                .event = *rule.event,
                                .node = is_of_node(*rule.event) ? std::optional(kNode) : std::nullopt,
                                .ready = rule.ready});
        }
    }
    return expected;
}

TEST(EventRules, AreWhatApplicationsHear) {
    for (const EventRule &rule : chassis::event_rules()) {
        const std::string name =
            "mem:" + std::string(name_of(rule.card_class)) + std::string(rule.record) + std::string(rule.change);
        on_own_thread([&] {
            Happening happening(name, rule.card_class);
            Application application(name, chassis::kAllEvents);
            happening.prepare(rule.record, rule.change);
            application.heard();
            happening.happen(rule.record, rule.change);
            EXPECT_EQ(application.heard(), expected_of(rule)) << name;
        });
    }
}

TEST(EventRules, TellOfADeniedCardBeforeItIsKnownWhatItIs) {
    on_own_thread([] {
        store::Store store("mem:denied before known");
        Application application("mem:denied before known", chassis::kAllEvents);
        store.write(check_result(usual_card(CardClass::kFabric, kNode), false));
        EXPECT_THAT(
            application.heard(),
            testing::ElementsAre(Heard{
                .list = chassis::List::kLineCards, .event = TREL_CAP_EVENT_FE_NODE, .node = kNode, .ready = false}));
    });
}

// Each class has its own readiness, the application's check, its cards and its nodes, and what becomes of each.
TEST(EventRules, LeaveNothingOut) {
    for (const char *name : {"lc", "fab", "cm", "hps"}) {
        const chassis::ClassRules &rules = rules_of(chassis::class_named(name));
        const auto has = [&](std::string_view record, std::string_view change) {
            const auto all = chassis::event_rules();
            return std::any_of(all.begin(), all.end(), [&](const EventRule &rule) {
                return rule.card_class == rules.card_class && rule.record == record && rule.change == change;
            });
        };
        for (const char *change : {"inserted", "removed"}) {
            EXPECT_TRUE(has("card_info", change)) << name << change;
        }
        for (const char *change : {"pass", "deny", "withdrawn"}) {
            EXPECT_TRUE(has("app_df_card_deny_check_result", change)) << name << change;
        }
        for (const char *change : {"ready", "ready in advance", "unready", "deleted"}) {
            EXPECT_TRUE(has(rules.node_type, change)) << name << change;
        }
        for (const char *change : {"on", "off", "deleted"}) {
            EXPECT_TRUE(has(rules.state_type, change)) << name << change;
        }
    }
}

}  // namespace

}  // namespace chassis_test
