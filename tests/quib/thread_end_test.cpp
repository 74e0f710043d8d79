// Threads that begin and end when the process has no memory or no descriptors left: nothing aborts, nothing is left.
#include "allocations.h"
#include "console.h"
#include "handlers.h"

#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <thread>

namespace quib_test {
namespace {

// Longer than what a string holds itself, so that a copy of it takes memory.
constexpr const char *kModule = "a_module_with_a_name_of_some_length";

int32_t end_thread() {
    pthread_exit(nullptr);
    return 0;
}

class ThreadEndTest : public ConsoleTest {
protected:
    // Runs a thread that has a module; what() is the last that it does.
    void end_thread_after(const std::function<void()> &what) const {
        std::thread([&] {
            static MomClient *abandoned = make_client().release();
            ASSERT_EQ(quib_lib_init(abandoned, kModule), 0);
            ASSERT_TRUE(exists(path(kModule)));
            what();
        }).join();
    }
};

TEST_F(ThreadEndTest, AFirstModuleThatFindsNoMemoryIsRefused) {
    std::thread([] {
        const ClientPtr client = make_client();
        {
            const test_support::FailingAllocations none;
            EXPECT_EQ(quib_lib_init(client.get(), kModule), QUIB_E_MEMORY);
            EXPECT_EQ(register_command("nothing", "void", nothing, kModule), QUIB_E_MODULE);
            EXPECT_EQ(quib_fail_mod_cmd(-1), QUIB_E_MODULE);
        }
        EXPECT_EQ(quib_lib_init(client.get(), kModule), 0);
    }).join();
    EXPECT_FALSE(exists(path(kModule)));
}

TEST_F(ThreadEndTest, WithoutMemoryTakesTheModulesAlong) {
    end_thread_after([] { new test_support::FailingAllocations; });
    EXPECT_FALSE(exists(path(kModule)));
}

TEST_F(ThreadEndTest, WithoutDescriptorsTakesTheModulesAlong) {
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    end_thread_after([&before] {
        const rlimit none{.rlim_cur = 0, .rlim_max = before.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    });
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_FALSE(exists(path(kModule)));
}

TEST_F(ThreadEndTest, ByACommandTakesTheModulesAlongAndItsOutputBack) {
    std::atomic<bool> ready = false;
    std::thread thread([&ready] {
        MomClient *abandoned = make_client().release();
        ASSERT_EQ(quib_lib_init(abandoned, kModule), 0);
        ASSERT_EQ(register_command("end", "void", end_thread, kModule), 0);
        ready = true;
        while (ox_mom_client_process(abandoned, -1) >= 0) {
        }
    });
    while (!ready) {
        std::this_thread::yield();
    }
    struct stat before {};
    ASSERT_EQ(fstat(STDOUT_FILENO, &before), 0);
    const Operator mine = connect(kModule);
    ASSERT_TRUE(mine.send("end\n"));
    thread.join();
    EXPECT_FALSE(exists(path(kModule)));
    struct stat after {};
    ASSERT_EQ(fstat(STDOUT_FILENO, &after), 0);
    EXPECT_TRUE(before.st_dev == after.st_dev && before.st_ino == after.st_ino) << "descriptor 1 is what it was";
    EXPECT_EQ(ask(".commands"), printed("")) << "others have their turn";
}

TEST_F(ThreadEndTest, ByExitTakesTheModulesAlong) {
    EXPECT_EXIT(
        {
            MomClient *abandoned = make_client().release();
            _exit(quib_lib_init(abandoned, kModule) == 0 && exists(path(kModule)) ? 3 : 1);
        },
        testing::ExitedWithCode(3), "");
    EXPECT_TRUE(exists(path(kModule)));
    EXPECT_EXIT(
        {
            MomClient *abandoned = make_client().release();
            std::exit(quib_lib_init(abandoned, kModule) == 0 && exists(path(kModule)) ? 3 : 1);
        },
        testing::ExitedWithCode(3), "");
    EXPECT_FALSE(exists(path(kModule)));
}

}  // namespace
}  // namespace quib_test
