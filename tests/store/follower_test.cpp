// Following a store: what is there, every change, and what an outage has hidden.
#include "store/follower.h"

#include <gmock/gmock.h>

#include "record/record_text.h"
#include "store_fixture.h"

namespace store_test {

namespace {

using record::Record;
using record::record_at;
using store::Change;
using store::Follower;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr std::chrono::seconds kPatience(30);

// Keeps a line of each thing told.
class Told : public store::Listener {
public:
    void changed(const Change &change) override {
        const char *kinds[] = {"initial", "written", "deleted"};
        std::string line = std::string(kinds[static_cast<int>(change.kind)]) + " " + change.record.key();
        const std::string values = assignments(change.record, change.changed);
        lines.push_back(line + (values.empty() ? "" : " " + values));
        if (throws) {
            throw std::runtime_error("enough");
        }
    }
    void complete() override { lines.emplace_back("complete"); }
    void lost(const std::string &) override { lines.emplace_back("lost"); }
    void still_lost(const std::string &reason) override { reasons.push_back(reason); }
    void restored() override { lines.emplace_back("restored"); }

    bool has(const std::string &line) const { return std::find(lines.begin(), lines.end(), line) != lines.end(); }
    std::vector<std::string> take() { return std::exchange(lines, {}); }

    std::vector<std::string> lines;
    std::vector<std::string> reasons;  // why the store was still lost
    bool throws = false;
};

class Following : public test_support::StoreTest {
protected:
    void write(const char *key, const std::vector<std::pair<const char *, const char *>> &fields) {
        Record record = record_at(key);
        for (const auto &[name, text] : fields) {
            record.set_text(name, text);
        }
        writer().write(record);
    }
    void remove(const char *key) { writer().remove(record_at(key)); }

    store::Store &writer() {
        if (!writer_) {
            writer_.emplace(this->store());
        }
        return *writer_;
    }

    static testing::AssertionResult told(Follower &follower, const Told &listener, const std::string &line) {
        const auto end = std::chrono::steady_clock::now() + kPatience;
        while (!listener.has(line)) {
            if (std::chrono::steady_clock::now() > end) {
                return testing::AssertionFailure()
                       << line << " was not told, but " << testing::PrintToString(listener.lines);
            }
            follower.process(std::chrono::milliseconds(100));
        }
        return testing::AssertionSuccess();
    }

    Told listener_;

private:
    std::optional<store::Store> writer_;
};

TEST_P(Following, TellsThatAllIsToldWhenThereIsNothing) {
    store::Store store(this->store());
    Follower follower(store, store::all_types(), listener_);
    EXPECT_FALSE(follower.complete());
    EXPECT_TRUE(told(follower, listener_, "complete"));
    EXPECT_TRUE(follower.complete());
    EXPECT_THAT(listener_.lines, ElementsAre("complete"));
}

TEST_P(Following, TellsWhatIsThereAndThenEachChange) {
    write("cap_fe_ready:1:2", {{"ready", "1"}});
    write("cap_glb_state", {{"ready", "1"}});
    store::Store store(this->store());
    Follower follower(store, store::all_types(), listener_);
    ASSERT_TRUE(told(follower, listener_, "complete"));
    EXPECT_THAT(listener_.take(),
                UnorderedElementsAre("initial cap_fe_ready:1:2 ready=1", "initial cap_glb_state ready=1", "complete"));
    write("cap_fe_ready:1:2", {{"ready", "1"}, {"node_type", "3"}});
    write("cap_fe_ready:1:2", {{"ready", "1"}});
    write("cap_glb_state", {{"ready", "1"}});
    write("cap_glb_state", {{"ready", "0"}});
    remove("cap_fe_ready:1:2");
    remove("cap_fe_ready:1:2");
    write("card_info:0:0:1:0", {{"name", "x"}});
    ASSERT_TRUE(told(follower, listener_, "written card_info:0:0:1:0 name=\"x\""));
    ASSERT_TRUE(told(follower, listener_, "deleted cap_fe_ready:1:2 ready=1 node_type=3"));
    // A write that changes nothing is told, too: applications are told of it. Databases have an order of their own.
    std::vector<std::string> lines = listener_.take();
    std::erase(lines, "written card_info:0:0:1:0 name=\"x\"");
    EXPECT_THAT(lines,
                ElementsAre("written cap_fe_ready:1:2 node_type=3", "written cap_fe_ready:1:2", "written cap_glb_state",
                            "written cap_glb_state ready=0", "deleted cap_fe_ready:1:2 ready=1 node_type=3"));
    EXPECT_EQ(follower.snapshot().records().size(), 2U);
    EXPECT_EQ(follower.snapshot().find("cap_fe_ready:1:2"), nullptr);
}

TEST_P(Following, IsOfTheTypesAskedFor) {
    store::Store store(this->store());
    Follower follower(store, {&record::type_named("cap_table")}, listener_);
    ASSERT_TRUE(told(follower, listener_, "complete"));
    write("cap_glb_state", {{"ready", "1"}});
    write("cap_table:/a", {{"int32_value", "1"}});
    ASSERT_TRUE(told(follower, listener_, "written cap_table:/a int32_value=1"));
    EXPECT_THAT(listener_.lines, ElementsAre("complete", "written cap_table:/a int32_value=1"));
}

TEST_P(Following, PassesOnWhatAListenerThrows) {
    write("cap_table:/a", {{"int32_value", "1"}});
    write("cap_table:/b", {{"int32_value", "1"}});
    store::Store store(this->store());
    Follower follower(store, store::all_types(), listener_);
    listener_.throws = true;
    const auto end = std::chrono::steady_clock::now() + kPatience;
    EXPECT_THROW(
        while (std::chrono::steady_clock::now() < end) { follower.process(std::chrono::milliseconds(100)); },
        std::runtime_error);
    EXPECT_EQ(listener_.lines.size(), 1U);
}

TEST_P(Following, EndsWithItsFollower) {
    store::Store store(this->store());
    {
        Follower follower(store, store::all_types(), listener_);
        ASSERT_TRUE(told(follower, listener_, "complete"));
        write("cap_glb_state", {{"ready", "1"}});
    }
    listener_.lines.clear();
    EXPECT_GE(ox_mom_client_process(store.client(), 100), 0);
    EXPECT_THAT(listener_.lines, IsEmpty());
}

INSTANTIATE_OVER_STORES(Following);

using FollowingThroughAnOutage = Following;

TEST_P(FollowingThroughAnOutage, TellsWhatWasMissedOnce) {
    write("cap_table:/stays", {{"int32_value", "1"}});
    write("cap_table:/goes", {{"int32_value", "1"}});
    write("card_info:0:0:1:0", {{"name", "x"}});
    store::Store store(this->store());
    Follower follower(store, store::all_types(), listener_);
    ASSERT_TRUE(told(follower, listener_, "complete"));
    listener_.take();
    server().kill();
    ASSERT_TRUE(told(follower, listener_, "lost"));
    server().start();
    {
        store::Store meanwhile(this->store());
        for (const char *key : {"cap_table:/stays", "cap_table:/new"}) {
            Record record = record_at(key);
            record.set("int32_value", 1);
            meanwhile.write(record);
        }
    }
    ASSERT_TRUE(told(follower, listener_, "restored"));
    ASSERT_TRUE(told(follower, listener_, "deleted cap_table:/goes int32_value=1"));
    ASSERT_TRUE(told(follower, listener_, "deleted card_info:0:0:1:0 name=\"x\""));
    ASSERT_TRUE(told(follower, listener_, "written cap_table:/new int32_value=1"));
    std::vector<std::string> lines = listener_.take();
    EXPECT_EQ(lines.front(), "lost");
    EXPECT_THAT(lines,
                UnorderedElementsAre("lost", "restored", "deleted cap_table:/goes int32_value=1",
                                     "deleted card_info:0:0:1:0 name=\"x\"", "written cap_table:/new int32_value=1"));
    EXPECT_EQ(follower.snapshot().records().size(), 2U);
    store::Store after(this->store());
    Record record = record_at("cap_table:/after");
    record.set("int32_value", 2);
    after.write(record);
    EXPECT_TRUE(told(follower, listener_, "written cap_table:/after int32_value=2"));
}

TEST_P(FollowingThroughAnOutage, IsBackOnceWhatWasMissedIsTold) {
    write("cap_table:/goes", {{"int32_value", "1"}});
    store::Store store(this->store());
    Follower follower(store, {&record::type_named("cap_table")}, listener_);
    ASSERT_TRUE(told(follower, listener_, "complete"));
    listener_.take();
    server().kill();
    ASSERT_TRUE(told(follower, listener_, "lost"));
    server().start();
    ASSERT_TRUE(told(follower, listener_, "restored"));
    EXPECT_THAT(listener_.lines, ElementsAre("lost", "deleted cap_table:/goes int32_value=1", "restored"));
}

TEST_P(FollowingThroughAnOutage, TellsEachOtherReasonOnce) {
    store::Store store(this->store());
    Follower follower(store, {&record::type_named("cap_table")}, listener_);
    ASSERT_TRUE(told(follower, listener_, "complete"));
    server().kill();
    ASSERT_TRUE(told(follower, listener_, "lost"));
    MomClientStatus status = {};
    status.size = sizeof status;
    constexpr uint64_t kAfterSeveralAttempts = 200;  // each doubles the pause, from 50 ms on
    while (status.retry_ms <= kAfterSeveralAttempts) {
        follower.process(std::chrono::milliseconds(1000));
        ASSERT_EQ(ox_mom_client_status(store.client(), &status), 0);
    }
    EXPECT_THAT(listener_.reasons, ElementsAre(testing::HasSubstr("Connection refused")));
    server().start();
    ASSERT_TRUE(told(follower, listener_, "restored"));
    EXPECT_EQ(listener_.reasons.size(), 1U);
}

INSTANTIATE_OVER_SERVERS(FollowingThroughAnOutage);

}  // namespace

}  // namespace store_test
