// Children that are forked while other threads use the embedded store.
#include "mom_test.h"

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <string>
#include <thread>

namespace mom_test {
namespace {

// ThreadSanitizer does not follow threads into a child, and AddressSanitizer's allocator may be locked there for ever.
#if !defined(__SANITIZE_THREAD__) && !defined(__SANITIZE_ADDRESS__)

// Writes, follows and makes clients, until the end.
void use_the_store(const std::string &store, const std::atomic<bool> &done) {
    while (!done) {
        const ClientPtr client = test_support::connect_client(store, {kGlobalDb});
        EXPECT_EQ(follow<CapTable>(client), 0);
        for (int i = 0; i < 50; ++i) {
            EXPECT_EQ(put_int(client, "/" + std::to_string(i), i), 0);
            EXPECT_GE(ox_mom_client_process(client.get(), 0), 0);
        }
    }
}

// What a child does with the store; 0 when all of it works.
int in_child(const std::string &store, MomClient *of_parent) {
    alarm(20);  // one that waits for a thread that it does not have waits for ever
    const ClientPtr client = test_support::connect_client(store, {kGlobalDb});
    if (ox_mom_client_process(of_parent, 0) != OX_MOM_E_FORK) {
        return 1;
    }
    if (stored_int(client, "/before") != 7) {
        return 2;  // it goes on with what there was
    }
    if (follow<CapTable>(client, on_notification<1>) != 0 || put_int(client, "/child", 1) != 0) {
        return 3;
    }
    if (ox_mom_client_process(client.get(), 0) != 2 || slot(1).commands() != std::vector<int32_t>{29, 4}) {
        return 4;
    }
    return 0;
}

TEST(ForkTest, AChildMayUseTheStoreWhateverOtherThreadsDid) {
    const std::string store = "mem:forked";
    const ClientPtr client = test_support::connect_client(store, {kGlobalDb});
    ASSERT_EQ(put_int(client, "/before", 7), 0);
    ASSERT_EQ(follow<CapTable>(client), 0);
    std::atomic<bool> done = false;
    std::thread one([&] { use_the_store(store, done); });
    std::thread two([&] { use_the_store(store, done); });
    for (int times = 0; times < 60 && !testing::Test::HasFailure(); ++times) {
        const pid_t child = fork();
        if (child == 0) {
            _exit(in_child(store, client.get()));
        }
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0) << "child " << times;
        EXPECT_GE(ox_mom_client_process(client.get(), 0), 0);
    }
    done = true;
    one.join();
    two.join();
    EXPECT_EQ(stored_int(client, "/child"), -1) << "the child's store is its own";
}

#endif

}  // namespace
}  // namespace mom_test
