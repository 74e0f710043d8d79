// What the tests begin with whose follower loses the store, and is back.
#pragma once

#include "mom_test.h"

#include <functional>
#include <utility>
#include <vector>

namespace mom_test {

using Commands = std::vector<int32_t>;

class LossTest : public StoreTest {
protected:
    void SetUp() override {
        StoreTest::SetUp();
        client_ = connect({kCardDb, kGlobalDb});
        writer_ = connect({kCardDb, kGlobalDb});
        recorder().reconnect_hook = [this](MomClient *, int32_t) {
            if (follow_again_) {
                follow_again_();
            }
        };
        EXPECT_EQ(ox_mom_client_set_reconnect_cb(client_.get(), kGlobalDb, on_reconnect, nullptr), 0);
    }

    const ClientPtr &client() { return client_; }
    const ClientPtr &writer() { return writer_; }

    // What is done in the reconnection callback.
    void set_follow_again(std::function<void()> follow_again) { follow_again_ = std::move(follow_again); }

    // Follows the type, reads what is there, and does so again after each loss.
    template <typename Record>
    void follow_for_good(MomMsgCb cb, int number) {
        slot(number).hook = [cb](MomClient *running, MomMsg *msg) {
            if (msg->cmd == OX_MOM_CMD_SUBSCRIBED) {
                Record request;
                protobuf_c_message_init(descriptor<Record>(), &request);
                EXPECT_EQ(ox_mom_scan_sync(running, msg->db, &request.base, 0, cb, nullptr), 0);
            }
        };
        const auto follow_it = [this, cb] { EXPECT_EQ(follow<Record>(client(), cb), 0); };
        set_follow_again([before = follow_again_, follow_it] {
            if (before) {
                before();
            }
            follow_it();
        });
        follow_it();
        ASSERT_TRUE(pump_until(client(), [number] { return slot(number).count(29) == 1; }));
    }

    // From here on until the client runs it is told nothing.
    void lose() {
        if (has_server()) {
            server().connection().must({"CLIENT", "KILL", "TYPE", "pubsub"});
            return;
        }
        // The embedded store loses those who fall behind.
        for (int i = 0; i <= 65536; ++i) {
            ASSERT_EQ(set<CapHpsGlbState>(writer(), true), 0);
        }
    }
    // For that it has to follow something that much is written of.
    void may_be_lost() {
        if (!has_server()) {
            ASSERT_EQ(follow<CapHpsGlbState>(client(), ignore), 0);
            set_follow_again([this, before = follow_again_] {
                before();
                EXPECT_EQ(follow<CapHpsGlbState>(client(), ignore), 0);
            });
        }
    }
    static int32_t ignore(MomClient *, MomMsg *) { return 0; }

    // Runs the client until the store is back and everything has been told.
    bool comes_back() {
        const size_t before = recorder().reconnections.size();
        return pump_until(client(), [before] { return recorder().reconnections.size() > before; }) &&
               settle(client(), writer());
    }

    static std::vector<Event> take_events(int number = 0) { return std::exchange(slot(number).events, {}); }
    static Commands commands_of(const std::vector<Event> &events) {
        Slot slot;
        slot.events = events;
        return slot.commands();
    }

private:
    ClientPtr client_;
    ClientPtr writer_;
    std::function<void()> follow_again_;
};

}  // namespace mom_test
