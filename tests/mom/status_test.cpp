// Statuses and their texts.
#include "records.h"

#include <gtest/gtest.h>

#include <climits>
#include <set>
#include <string>

extern "C" int32_t boundary_test_cmd_of(const MomMsg *msg);

namespace mom_test {
namespace {

TEST(StatusTest, EveryCodeHasItsNumberAndText) {
    EXPECT_STREQ(ox_mom_strerror(-101), "invalid argument");
    EXPECT_STREQ(ox_mom_strerror(-102), "out of memory");
    EXPECT_STREQ(ox_mom_strerror(-103), "called from a thread that does not own the client");
    EXPECT_STREQ(ox_mom_strerror(-104), "called from a forked child of the client's process");
    EXPECT_STREQ(ox_mom_strerror(-105), "the store's name is not understood");
    EXPECT_STREQ(ox_mom_strerror(-106), "the database has not been connected");
    EXPECT_STREQ(ox_mom_strerror(-107), "cannot connect to the store");
    EXPECT_STREQ(ox_mom_strerror(-108), "the connection to the store is lost");
    EXPECT_STREQ(ox_mom_strerror(-109), "the store did not answer in time");
    EXPECT_STREQ(ox_mom_strerror(-110), "the store refused the request");
    EXPECT_STREQ(ox_mom_strerror(-111), "the stored value is of another kind");
    EXPECT_STREQ(ox_mom_strerror(-112), "the stored record does not decode");
    EXPECT_STREQ(ox_mom_strerror(-113), "the client has been destroyed");
}

TEST(StatusTest, EveryCodeHasATextOfItsOwn) {
    std::set<std::string> texts;
    int codes = 0;
#define COLLECT(name, code, text)                                                                                      \
    ++codes;                                                                                                           \
    texts.insert(ox_mom_strerror(OX_MOM_E_##name));
    OX_MOM_ERRORS(COLLECT)
#undef COLLECT
    EXPECT_EQ(texts.size(), static_cast<size_t>(codes));
    EXPECT_EQ(texts.count("unknown error"), 0u);
}

TEST(StatusTest, ANumberThatIsNoCodeIsUnknown) {
    for (const int32_t code : {-1, 1, -100, -114, INT_MIN, INT_MAX}) {
        EXPECT_STREQ(ox_mom_strerror(code), "unknown error") << code;
    }
}

TEST(StatusTest, ReleasingNothingIsAllowed) {
    ox_mom_hash_res_free(nullptr);
    EXPECT_EQ(ox_mom_ox_obj_free(nullptr), 0);
    ox_mom_client_destroy(nullptr);
}

TEST(StatusTest, CAndCppAgreeOnTheMessage) {
    MomMsg msg = {nullptr, kGlobalDb, OX_MOM_CMD_SUBSCRIBED, nullptr};
    EXPECT_EQ(boundary_test_cmd_of(&msg), 29);
    EXPECT_EQ(OX_MOM_CMD_WRITTEN, 1);
    EXPECT_EQ(OX_MOM_CMD_DELETED, 3);
    EXPECT_EQ(OX_MOM_CMD_DELIVERED, 4);
    EXPECT_EQ(OX_MOM_REQUEST_TIMEOUT_MS, 3000);
}

}  // namespace
}  // namespace mom_test
