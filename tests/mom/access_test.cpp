// Who may come in, and what for: logins from the environment, and the rights that docs/security.md gives to users.
#include "mom_test.h"
#include "standard_error.h"

#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/stat.h>

namespace mom_test {
namespace {

constexpr char kSecret[] = "a-long-secret";

// A server on a Unix socket, whose name has no place for a password.
class EnvironmentLoginTest : public ServerTest {
protected:
    RedisOptions server_options() const override {
        RedisOptions options;
        options.password = kSecret;
        options.arguments = {"--requirepass", kSecret, "--user", "app", "on", ">for the app", "~*", "&*", "+@all"};
        return options;
    }

    ~EnvironmentLoginTest() override {
        for (const char *name : {"OX_MOM_USER", "OX_MOM_PASSWORD", "OX_MOM_PASSWORD_FILE"}) {
            unsetenv(name);
        }
    }

    static void set(const char *name, const std::string &value) { setenv(name, value.c_str(), 1); }

    std::string file(const std::string &content) {
        const std::string path = directory_.file("password");
        std::ofstream(path, std::ios::binary) << content;
        set("OX_MOM_PASSWORD_FILE", path);
        return path;
    }

    int32_t connect_status() {
        const ClientPtr client(ox_mom_client_create(store().c_str()));
        return client == nullptr ? OX_MOM_E_STORE : ox_mom_client_connect_sync(client.get(), kGlobalDb);
    }
    // What is wrong with the variables.
    std::string refusal() {
        const ClientPtr client(ox_mom_client_create(store().c_str()));
        return client == nullptr ? ox_mom_last_error() : "none";
    }

private:
    test_support::PrivateDirectory directory_;
};
INSTANTIATE_OVER_SERVERS(EnvironmentLoginTest);

TEST_P(EnvironmentLoginTest, WithoutAPasswordIsRefused) { EXPECT_EQ(connect_status(), OX_MOM_E_REFUSED); }

TEST_P(EnvironmentLoginTest, APasswordOpens) {
    set("OX_MOM_PASSWORD", kSecret);
    EXPECT_EQ(connect_status(), 0);
    set("OX_MOM_USER", "app");
    EXPECT_EQ(connect_status(), OX_MOM_E_REFUSED);
    set("OX_MOM_PASSWORD", "for the app");
    EXPECT_EQ(connect_status(), 0);
}

TEST_P(EnvironmentLoginTest, TheFirstLineOfAFileOpens) {
    for (const char *end : {"", "\n", "\r\n", "\nmore\n"}) {
        file(kSecret + std::string(end));
        EXPECT_EQ(connect_status(), 0) << end;
    }
    file("another");
    EXPECT_EQ(connect_status(), OX_MOM_E_REFUSED);
}

TEST_P(EnvironmentLoginTest, EmptyVariablesAreNone) {
    set("OX_MOM_USER", "");
    set("OX_MOM_PASSWORD", "");
    file(kSecret);
    EXPECT_EQ(connect_status(), 0);
}

TEST_P(EnvironmentLoginTest, VariablesThatMakeNoSenseAreNamed) {
    set("OX_MOM_USER", "app");
    EXPECT_EQ(refusal(), "OX_MOM_USER is set, but neither OX_MOM_PASSWORD nor OX_MOM_PASSWORD_FILE");
    const std::string path = file("\nsecond line");
    EXPECT_EQ(refusal(), "OX_MOM_PASSWORD_FILE: " + path + ": its first line, which is to be the password, is empty");
    set("OX_MOM_PASSWORD", kSecret);
    EXPECT_EQ(refusal(), "OX_MOM_PASSWORD and OX_MOM_PASSWORD_FILE are both set; one expected");
    unsetenv("OX_MOM_PASSWORD");
    set("OX_MOM_PASSWORD_FILE", path + ".not");
    EXPECT_EQ(refusal(), "OX_MOM_PASSWORD_FILE: " + path + ".not: No such file or directory");
    set("OX_MOM_PASSWORD_FILE", "/tmp");
    EXPECT_EQ(refusal(), "OX_MOM_PASSWORD_FILE: /tmp: not a regular file");
    ASSERT_EQ(mkfifo((path + ".pipe").c_str(), 0600), 0);
    set("OX_MOM_PASSWORD_FILE", path + ".pipe");
    EXPECT_EQ(refusal(), "OX_MOM_PASSWORD_FILE: " + path + ".pipe: not a regular file");
}

TEST_P(EnvironmentLoginTest, AnEmbeddedStoreAsksNobody) {
    set("OX_MOM_USER", "app");
    const ClientPtr client(ox_mom_client_create("mem:"));
    ASSERT_NE(client, nullptr);
    EXPECT_EQ(ox_mom_client_connect_sync(client.get(), kGlobalDb), 0);
}

// Neither of one that fits nor of one that does not, however the store is lost and asked after.
TEST_P(EnvironmentLoginTest, ThePasswordIsNowhereToBeRead) {
    set("OX_MOM_PASSWORD", kSecret);
    StandardError errors;
    const ClientPtr client = connect();
    server().kill();
    EXPECT_EQ(put_int(client, "/a", 1), OX_MOM_E_LOST);
    std::string seen = ox_mom_last_error();
    MomClientStatus status = {};
    status.size = sizeof status;
    ASSERT_EQ(ox_mom_client_status(client.get(), &status), 0);
    seen += status.store + std::string(status.reason);
    EXPECT_NE(seen.find(server().socket_path()), std::string::npos) << seen;
    seen += errors.text();
    EXPECT_EQ(seen.find(kSecret), std::string::npos) << seen;
}

// The users of docs/security.md, by the very lines that stand there.
class AccessTest : public ServerTest {
protected:
    RedisOptions server_options() const override {
        RedisOptions options;
        options.tcp = true;
        return options;
    }

    void SetUp() override {
        ServerTest::SetUp();
        std::ifstream page(PROJECT_SOURCE_DIR "/docs/security.md");
        int users = 0;
        for (std::string line; std::getline(page, line);) {
            // The test itself is the default user.
            if (line.starts_with("user ") && !line.starts_with("user default ")) {
                std::istringstream words(line.substr(sizeof "user"));
                std::vector<std::string> command = {"ACL", "SETUSER"};
                for (std::string word; words >> word;) {
                    command.push_back(word);
                }
                server().connection().must(command);
                ++users;
            }
        }
        ASSERT_EQ(users, 3) << "have been read from docs/security.md";
    }

    ClientPtr login(const std::string &user) {
        const std::string port = std::to_string(server().port());
        return test_support::connect_client("redis://" + user + ":secret@127.0.0.1:" + port, {kCardDb, kGlobalDb});
    }
};
INSTANTIATE_OVER_SERVERS(AccessTest);

TEST_P(AccessTest, AReaderReadsAndFollowsAndWritesNothing) {
    const ClientPtr application = login("application");
    const ClientPtr reader = login("reader");
    EXPECT_EQ(follow<CapTable>(reader), 0);
    EXPECT_EQ(follow_field(reader, Cap("/a").message(), kInt), 0);
    EXPECT_EQ(put_int(application, "/a", 5), 0);
    EXPECT_TRUE(settle(reader, application));
    EXPECT_EQ(stored_int(reader, "/a"), 5);
    slot().events.clear();
    EXPECT_EQ(ox_mom_scan_sync(reader.get(), kGlobalDb, Cap("").message(), 0, on_notification<0>, nullptr), 0);
    EXPECT_EQ(slot().commands(), (std::vector<int32_t>{OX_MOM_CMD_DELIVERED}));
    EXPECT_EQ(put_int(reader, "/a", 6), OX_MOM_E_REFUSED);
    EXPECT_EQ(set<CapGlbState>(reader, true), OX_MOM_E_REFUSED);
    EXPECT_EQ(del(reader, Cap("/a").message()), OX_MOM_E_REFUSED);
    EXPECT_EQ(stored_int(application, "/a"), 5);
}

TEST_P(AccessTest, AnApplicationWritesDeletesAndFollows) {
    const ClientPtr application = login("application");
    EXPECT_EQ(follow<CapTable>(application), 0);
    EXPECT_EQ(put_int(application, "/a", 5), 0);
    EXPECT_EQ(set<CapGlbState>(application, true), 0);
    EXPECT_EQ(del(application, Cap("/a").message()), 0);
    EXPECT_TRUE(settle(application, application));
    EXPECT_EQ(stored_int(application, "/a"), -1);
}

TEST_P(AccessTest, WhoWatchesTheSlotsWritesCardsAlone) {
    const ClientPtr cards = login("cards");
    const ClientPtr reader = login("reader");
    EXPECT_EQ(follow<CardInfo>(reader, on_notification<0>, kCardDb), 0);
    constexpr int32_t kConfigDevType = 6;
    Card card(1, 2, 3, 4);
    EXPECT_EQ(put(cards, card.message(), {kConfigDevType}, kCardDb), 0);
    EXPECT_TRUE(pump_until(reader, [] { return slot().commands().size() == 2; }));
    EXPECT_EQ(del(cards, card.message(), kCardDb), 0);
    EXPECT_EQ(put_int(cards, "/a", 6), OX_MOM_E_REFUSED);
    EXPECT_EQ(error_of_read(cards, "/a"), OX_MOM_E_REFUSED);
}

}  // namespace
}  // namespace mom_test
