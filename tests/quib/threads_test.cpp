// Modules of several threads of one process.
#include "console.h"
#include "handlers.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <semaphore>
#include <thread>

namespace quib_test {
namespace {

thread_local int state = 0;

int32_t show() {
    printf("state %d\n", state);
    return 0;
}

// Prints in small steps, so that another's output would come between.
int32_t show_slowly() {
    for (int i = 0; i < 20; ++i) {
        printf("%d", state);
        fflush(stdout);
        std::this_thread::yield();
    }
    return 0;
}

// A thread that serves a module "m" of its own.
class ServingThread {
public:
    explicit ServingThread(int its_state) : thread_([this, its_state] { run(its_state); }) { ready_.acquire(); }
    ServingThread(const ServingThread &) = delete;
    ServingThread &operator=(const ServingThread &) = delete;
    ~ServingThread() { stop(); }

    void stop() {
        stopped_ = true;
        if (thread_.joinable()) {
            thread_.join();
        }
    }
    int32_t code() const { return code_; }

private:
    void run(int its_state) {
        state = its_state;
        const ClientPtr client = make_client();
        code_ = quib_lib_init(client.get(), "m");
        register_command("show", "void", show);
        register_command("slowly", "void", show_slowly);
        ready_.release();
        while (!stopped_ && ox_mom_client_process(client.get(), 5) >= 0) {
        }
    }

    std::atomic<bool> stopped_ = false;
    std::atomic<int32_t> code_ = 1;
    std::binary_semaphore ready_{0};
    std::thread thread_;
};

class ThreadsTest : public ConsoleTest {
protected:
    void SetUp() override {
        ConsoleTest::SetUp();
        state = 1;
        ASSERT_EQ(register_command("show", "void", show), 0);
        ASSERT_EQ(register_command("slowly", "void", show_slowly), 0);
    }

    Answer ask_module(const std::string &module, const std::string &line) const {
        Operator mine = connect(module);
        return ask(mine, line);
    }
};

TEST_F(ThreadsTest, EachHasAnInstanceOfItsOwnAndShowsItsOwnState) {
    const ServingThread second(2);
    const ServingThread third(3);
    EXPECT_EQ(second.code(), 0);
    EXPECT_EQ(third.code(), 0);
    EXPECT_EQ(ask_module("m", "show"), printed("state 1\n"));
    EXPECT_EQ(ask_module("m.2", "show"), printed("state 2\n"));
    EXPECT_EQ(ask_module("m.3", "show"), printed("state 3\n"));
}

TEST_F(ThreadsTest, AFreeNameIsTakenAgain) {
    {
        const ServingThread second(2);
        EXPECT_TRUE(exists(path("m.2")));
    }
    EXPECT_FALSE(exists(path("m.2")));
    const ServingThread second(4);
    EXPECT_EQ(ask_module("m.2", "show"), printed("state 4\n"));
    destroy_client();
    EXPECT_FALSE(exists(path("m")));
    const ClientPtr another = make_client();
    ASSERT_EQ(quib_lib_init(another.get(), "m"), 0);
    EXPECT_TRUE(exists(path("m")));
    EXPECT_FALSE(exists(path("m.3")));
}

TEST_F(ThreadsTest, AThreadThatEndsWithoutDestroyingItsClientTakesItsModulesAlong) {
    static MomClient *abandoned = nullptr;
    std::thread([] {
        abandoned = make_client().release();
        EXPECT_EQ(quib_lib_init(abandoned, "m"), 0);
    }).join();
    EXPECT_FALSE(exists(path("m.2")));
    EXPECT_TRUE(exists(path("m")));
}

TEST_F(ThreadsTest, ASecondClientOfAThreadHasAnInstanceToo) {
    const ClientPtr another = make_client();
    ASSERT_EQ(quib_lib_init(another.get(), "m"), 0);
    ASSERT_EQ(register_command("only-here", "void", nothing), 0);
    EXPECT_EQ(ask("only-here").code, 2);
    Operator mine = connect("m.2");
    ASSERT_TRUE(mine.send("only-here\n"));
    std::optional<Answer> answer;
    while (!answer && ox_mom_client_process(another.get(), 1000) > 0) {
        mine.receive();
        answer = mine.take_answer();
    }
    EXPECT_EQ(answer, printed("")) << "commands go to the module that was made last";
}

TEST_F(ThreadsTest, CommandsAtOnceDoNotMixTheirOutput) {
    constexpr int kRounds = 25;
    struct stat before {};
    ASSERT_EQ(fstat(STDOUT_FILENO, &before), 0);
    const ServingThread second(2);
    std::thread their_operator([this] {
        Operator theirs = connect("m.2");
        for (int i = 0; i < kRounds; ++i) {
            ASSERT_TRUE(theirs.send("slowly\n"));
            std::optional<Answer> answer;
            while (!answer && readable(theirs.fd(), kLongEnough) && theirs.receive()) {
                answer = theirs.take_answer();
            }
            ASSERT_EQ(answer, printed(std::string(20, '2')));
        }
    });
    Operator mine = connect();
    for (int i = 0; i < kRounds; ++i) {
        EXPECT_EQ(ask(mine, "slowly"), printed(std::string(20, '1')));
    }
    their_operator.join();
    struct stat after {};
    ASSERT_EQ(fstat(STDOUT_FILENO, &after), 0);
    EXPECT_TRUE(before.st_dev == after.st_dev && before.st_ino == after.st_ino) << "descriptor 1 is what it was";
}

TEST_F(ThreadsTest, ManyBeginAndEndAtOnce) {
    std::atomic<int> failures = 0;
    std::vector<std::thread> all;
    for (int i = 0; i < 4; ++i) {
        all.emplace_back([&failures] {
            for (int times = 0; times < 20; ++times) {
                const ClientPtr client = make_client();
                failures += quib_lib_init(client.get(), "m") != 0 ? 1 : 0;
                failures += register_command("show", "void", show) != 0 ? 1 : 0;
                ox_mom_client_process(client.get(), 0);
            }
        });
    }
    for (std::thread &each : all) {
        each.join();
    }
    EXPECT_EQ(failures, 0);
    for (const char *name : {"m.2", "m.3", "m.4", "m.5"}) {
        EXPECT_FALSE(exists(path(name))) << name;
    }
}

}  // namespace
}  // namespace quib_test
