// Recording, and playing what was recorded: the same store in the end, and the same changes in the same order.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "record/record_json.h"
#include "scenario/player.h"
#include "scenario/recorder.h"
#include "scenario/scenario.h"
#include "store/snapshot.h"
#include "store_fixture.h"
#include <nlohmann/json.hpp>

namespace scenario {

namespace {

using Lines = std::vector<std::string>;

std::vector<const record::RecordType *> every_type() {
    std::vector<const record::RecordType *> types;
    for (const record::RecordType &type : record::record_types()) {
        types.push_back(&type);
    }
    return types;
}

std::string dump(const std::string &store_name) {
    store::Store store(store_name);
    const store::Snapshot snapshot = store::Snapshot::of(store);
    std::string lines;
    for (const auto &[key, record] : snapshot.records()) {
        lines += record::json_line(to_json(record));
    }
    return lines;
}

// Each change as an application meets it: the whole record, whether anything is new in it or not.
class Witness : public store::Listener {
public:
    void changed(const store::Change &change) override {
        if (change.kind != store::Change::Kind::kInitial) {
            const bool deleted = change.kind == store::Change::Kind::kDeleted;
            changes.push_back((deleted ? "del " : "set ") + record::json_line(to_json(change.record)));
        }
    }

    Lines changes;
};

// Follows a store with a listener until it is sure to have heard all of it.
class Following {
public:
    Following(const std::string &store_name, store::Listener &listener)
        : store_(store_name), follower_(store_, every_type(), listener) {
        while (!follower_.complete()) {
            follower_.process(std::chrono::milliseconds(-1));
        }
    }

    // Up to a record that another client has written last.
    void until(const std::string &key) {
        while (follower_.snapshot().find(key) == nullptr) {
            follower_.process(std::chrono::milliseconds(-1));
        }
    }
    void take() { follower_.process(std::chrono::milliseconds(0)); }

private:
    store::Store store_;
    store::Follower follower_;
};

constexpr char kEnd[] = "cap_table:/the end";

class RecorderTest : public test_support::StoreTest {
protected:
    // Plays a scenario and follows it; what is waiting stays little.
    static void play_before(Following &following, const std::string &store_name, const Timeline &timeline) {
        store::Store writer(store_name);
        play(writer, timeline, {.speed = 0, .played = [&](const Moment &) { following.take(); }});
    }

    std::string record(const Scenario &scenario, Witness &witness) {
        store::Store writer(store());
        play(writer, scenario.before, {.speed = 0});
        std::string text;
        Recorder recorder("the store", [&](std::string_view piece) { text += piece; });
        Both both{recorder, witness};
        Following following(store(), both);
        play_before(following, store(), scenario.steps);
        following.until(kEnd);
        return text;
    }

private:
    struct Both : store::Listener {
        Both(store::Listener &a, store::Listener &b) : first(a), second(b) {}
        void changed(const store::Change &change) override {
            first.changed(change);
            second.changed(change);
        }
        void complete() override { first.complete(); }

        store::Listener &first;
        store::Listener &second;
    };
};

std::string churn(int changes) {
    return "cards:\n"
           "  lc1: {class: lc, node: 3}\n"
           "  lc2: {class: lc, node: 4, name: \"quoted \\\" and {flow}, \\u00e9\"}\n"
           "  cm1: {class: cm, node: 1}\n"
           "before:\n"
           "  - {random: 50, seed: 1}\n"
           "steps:\n"
           "  - {random: " +
           std::to_string(changes) +
           ", seed: 2}\n"
           "  - {repeat: 3, steps: [{scope_ready: glb}]}\n"
           "  - {set: 'app_df_card_deny_check_result:0:0:9:0', fields: {stat: 1}}\n"
           "  - {set: 'card_info:0:0:9:0', fields: {serial: 00ff10, mac_addr: '001122'}}\n"
           "  - {set: {type: cap_table, key: {url: /no/value}}}\n"
           "  - {capability: /the end, int: 1}\n";
}

TEST_P(RecorderTest, ARecordingPlaysTheSame) {
    constexpr int kChanges = 10'000;
    Witness first;
    const std::string recording = record(read_text(churn(kChanges), "file"), first);
    ASSERT_GT(first.changes.size(), kChanges * 8U / 10U);  // what deletes nothing is no change

    const Scenario again = read_text(recording, "recording");
    const std::string other = "mem:played again";
    store::Store writer(other);
    play(writer, again.before, {.speed = 0});
    Witness second;
    Following following(other, second);
    play_before(following, other, again.steps);
    following.until(kEnd);
    EXPECT_EQ(dump(store()), dump(other));
    EXPECT_EQ(first.changes, second.changes);
}

INSTANTIATE_OVER_STORES(RecorderTest);

TEST(Recording, IsReadableAndWholeAtAnyTime) {
    std::string text;
    Recorder recorder("a store", [&](std::string_view piece) { text += piece; });
    const record::Record ready = [] {
        record::Record record(record::type_named("cap_glb_state"));
        record.set("ready", true);
        return record;
    }();
    recorder.changed({store::Change::Kind::kInitial, ready, {5}});
    read_text(text + "steps:\n", "recording");
    recorder.complete();
    recorder.changed({store::Change::Kind::kWritten, ready, {}});
    recorder.lost("the server\nhas gone");
    recorder.restored();
    recorder.changed({store::Change::Kind::kDeleted, ready, {5}});
    EXPECT_EQ(recorder.changes(), 2U);
    const Scenario scenario = read_text(text, "recording");
    EXPECT_EQ(scenario.before.moments.at(0).text, "set cap_glb_state");
    EXPECT_EQ(scenario.steps.moments.at(0).text, "set cap_glb_state");
    EXPECT_EQ(scenario.steps.moments.at(1).text, "del cap_glb_state");
    EXPECT_THAT(text, testing::ContainsRegex("\n# [0-9.]+s: the store is lost: the server.has gone\n# [0-9.]+s: the "
                                             "store is back"));
}

// Deleted and written anew while nobody could see it: the fields that are gone are gone in the recording, too.
TEST(Recording, DeletesWhatHasLostAField) {
    std::string text;
    Recorder recorder("a store", [&](std::string_view piece) { text += piece; });
    recorder.complete();
    record::Record record(record::type_named("cap_table"));
    record.set("index.url", std::string("/a"));
    record.set("int32_value", 1);
    recorder.changed({store::Change::Kind::kWritten, record, {6, 7}});
    const Timeline steps = read_text(text, "recording").steps;
    ASSERT_EQ(steps.moments.size(), 2U);
    EXPECT_EQ(steps.moments[0].text, "del cap_table:/a");
    EXPECT_EQ(steps.moments[1].text, "set cap_table:/a");
}

}  // namespace

}  // namespace scenario
