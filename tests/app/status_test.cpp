// The statuses in words.

#include <set>
#include <string>

#include <gtest/gtest.h>

#include "trel_cap/trel_cap.h"

namespace {

// Numbers that programs have been compiled with.
TEST(Status, HasTheNumbersOfTheContract) {
    EXPECT_EQ(TREL_CAP_OK, 0);
    EXPECT_EQ(TREL_CAP_E_MEMORY, -2);
    EXPECT_EQ(TREL_CAP_E_ARGUMENT, -4);
    EXPECT_EQ(TREL_CAP_E_NO_NODE, -11);
    EXPECT_EQ(TREL_CAP_E_REFUSED, -11);
    EXPECT_EQ(TREL_CAP_E_NO_ANSWER, -21);
    EXPECT_EQ(TREL_CAP_E_NO_RECORD, -22);
    EXPECT_EQ(TREL_CAP_E_NO_INDEX, -23);
    EXPECT_EQ(TREL_CAP_E_NO_VALUE, -24);
}

TEST(Status, HasATextOfItsOwn) {
    const std::string unknown = ox_mom_strerror(-9999);
    std::set<std::string> texts = {unknown, ox_mom_strerror(0)};
#define EXPECT_TEXT(name, code, text)                                                                                  \
    EXPECT_STREQ(trel_cap_strerror(TREL_CAP_E_##name), text);                                                          \
    EXPECT_TRUE(texts.insert(trel_cap_strerror(code)).second) << #name;
    TREL_CAP_ERRORS(EXPECT_TEXT)
#undef EXPECT_TEXT
    EXPECT_STREQ(trel_cap_strerror(-22), "there is no such record");
}

TEST(Status, OfTheClientIsNamedByTheClient) {
    for (const int32_t code :
         {0, static_cast<int32_t>(OX_MOM_E_LOST), static_cast<int32_t>(OX_MOM_E_DESTROYED), -9999, 7}) {
        EXPECT_STREQ(trel_cap_strerror(code), ox_mom_strerror(code));
    }
}

// A reader prints what has become of his request, whoever refused it.
TEST(Status, TellsWhatBecameOfARead) {
    MomClient *client = ox_mom_client_create("mem:status");
    ASSERT_NE(client, nullptr);
    ASSERT_EQ(trel_cap_init(client, "status"), 0);
    int32_t value = 0;
    EXPECT_STREQ(trel_cap_strerror(trel_cap_ce_get_g_cap_int32(client, nullptr, &value)), "invalid argument");
    EXPECT_STREQ(trel_cap_strerror(trel_cap_ce_get_g_cap_int32(client, "/a", &value)), "there is no such record");
    ASSERT_EQ(trel_cap_ce_set_g_cap_bool(client, "/a", 1), 0);
    EXPECT_STREQ(trel_cap_strerror(trel_cap_ce_get_g_cap_int32(client, "/a", &value)),
                 "the record has no value of this type");
    ASSERT_EQ(trel_cap_ce_set_g_cap_int32(client, "/a", 4), 0);
    EXPECT_STREQ(trel_cap_strerror(trel_cap_ce_get_g_cap_int32(client, "/a", &value)), "success");
    ox_mom_client_destroy(client);
}

}  // namespace
