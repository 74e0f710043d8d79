// Why this thread's latest call failed, in words.
#include "contract_test.h"

#include <functional>
#include <thread>

namespace mom_test {
namespace {

class LastErrorTest : public StoreTest {};
INSTANTIATE_OVER_STORES(LastErrorTest);

std::string last_error() { return ox_mom_last_error(); }

TEST_P(LastErrorTest, NothingHasFailedOnAFreshThread) {
    std::string before = "not asked";
    EXPECT_EQ(ox_mom_client_create("nonsense"), nullptr);
    std::thread([&before] { before = last_error(); }).join();
    EXPECT_EQ(before, "");
}

TEST_P(LastErrorTest, EveryThreadHasItsOwn) {
    ASSERT_EQ(ox_mom_client_create("first-nonsense://"), nullptr);
    std::string other;
    std::thread([&] {
        EXPECT_EQ(ox_mom_client_create("second-nonsense://"), nullptr);
        other = last_error();
        const ClientPtr client = connect();
    }).join();
    EXPECT_NE(other.find("second-nonsense"), std::string::npos) << other;
    EXPECT_NE(last_error().find("first-nonsense"), std::string::npos) << last_error();
}

TEST_P(LastErrorTest, EveryCallThatSucceedsLeavesNoOldStory) {
    const ClientPtr client = connect();
    const Cap cap("/a", 1);
    const Single<CapGlbState> state(true);
    const MomFieldCb field_cb = on_field<0>;
    MomClientStatus status{};
    status.size = sizeof status;
    const auto db = kGlobalDb;
    MomClient *const raw = client.get();
    const std::vector<std::pair<const char *, std::function<bool()>>> calls = {
        {"create", [&] { return ClientPtr(ox_mom_client_create(store().c_str())) != nullptr; }},
        {"connect", [&] { return ox_mom_client_connect_sync(raw, kCardDb) == 0; }},
        {"connect again", [&] { return ox_mom_client_connect_sync(raw, kCardDb) == 0; }},
        {"set_reconnect_cb", [&] { return ox_mom_client_set_reconnect_cb(raw, db, on_reconnect, nullptr) == 0; }},
        {"hmset", [&] { return ox_mom_hmset_sync(raw, db, cap.message(), &kInt, 1) == 0; }},
        {"hgetall", [&] { return error_of_read(client, "/a") == 0; }},
        {"hgetall of nothing", [&] { return error_of_read(client, "/none") == 0; }},
        {"set", [&] { return ox_mom_set_sync(raw, db, state.message()) == 0; }},
        {"get", [&] { return ObjectPtr(ox_mom_get_sync(raw, db, state.message(), nullptr)) != nullptr; }},
        {"subscribe", [&] { return follow<CapTable>(client) == 0; }},
        {"subscribe_field",
         [&] { return ox_mom_subscribe_field(raw, db, cap.message(), 1, &kInt, &field_cb, nullptr, 1) == 0; }},
        {"scan", [&] { return ox_mom_scan_sync(raw, db, cap.message(), 0, on_notification<1>, nullptr) == 0; }},
        {"del", [&] { return ox_mom_del_sync(raw, db, cap.message()) == 0; }},
        {"process", [&] { return ox_mom_client_process(raw, 0) >= 0; }},
        {"fd", [&] { return ox_mom_client_fd(raw) >= 0; }},
        {"status", [&] { return ox_mom_client_status(raw, &status) == 0; }},
    };
    for (const auto &[name, call] : calls) {
        ASSERT_EQ(ox_mom_client_connect_sync(raw, -1), OX_MOM_E_ARGUMENT);
        ASSERT_NE(last_error(), "");
        EXPECT_TRUE(call()) << name << ": " << last_error();
        EXPECT_EQ(last_error(), "") << name;
    }
}

TEST_P(LastErrorTest, WhatIsNoCallOfAClientKeepsIt) {
    const ClientPtr client = connect();
    ClientPtr other = connect();
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    HashResultPtr result = read(client, Cap("/a").message());
    EXPECT_EQ(ox_mom_client_connect_sync(client.get(), -1), OX_MOM_E_ARGUMENT);
    const std::string why = last_error();
    result.reset();
    other.reset();
    ox_mom_ox_obj_free(nullptr);
    ox_mom_strerror(0);
    ox_mom_client_destroy(nullptr);
    EXPECT_EQ(last_error(), why);
}

TEST_P(LastErrorTest, AResultsErrorAndTheWordsSayTheSame) {
    const ClientPtr client = connect();
    const HashResultPtr result = read(client, Cap("/a").message(), kCardDb);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->error_code, OX_MOM_E_NOT_CONNECTED);
    EXPECT_NE(last_error().find("has not been connected"), std::string::npos) << last_error();
    EXPECT_EQ(error_of_read(client), 0);
    EXPECT_EQ(last_error(), "");
}

TEST_P(LastErrorTest, AFailureInsideACallbackIsNotProcesss) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    std::string inside;
    slot().hook = [&inside](MomClient *running, MomMsg *) {
        EXPECT_EQ(ox_mom_client_connect_sync(running, -1), OX_MOM_E_ARGUMENT);
        inside = last_error();
    };
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 1);
    EXPECT_NE(inside, "");
    EXPECT_EQ(last_error(), "");
}

}  // namespace
}  // namespace mom_test
