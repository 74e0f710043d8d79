// System calls that fail, at each call in turn: a module is made whole or not at all, an operator is answered or let
// go, and nothing is left when it ends.
#include "console.h"
#include "handlers.h"
#include "system_calls.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quib_test {
namespace {

using test_support::a_system_call_failed;
using test_support::every_fault;
using test_support::FailingSystemCall;
using test_support::Fault;
using test_support::system_calls_made;
using test_support::UncountedSystemCalls;

constexpr int kMostTurns = 500;         // of one call that fails
constexpr int kMostSystemCalls = 3000;  // more is a loop that nothing ends

class SystemCallsTest : public SpeakingTest {
protected:
    // Calls prepare(), then what() with the 1st, 2nd, 3rd … call of each name failing, then check().
    static void at_each_call(const std::function<void()> &prepare, const std::function<int32_t()> &what,
                             const std::function<void(int32_t code, const Fault &)> &check) {
        int failed = 0;
        for (const Fault &fault : every_fault()) {
            int nth = 0;
            do {
                ++nth;
                ASSERT_LT(nth, kMostTurns) << fault;
                SCOPED_TRACE(testing::Message() << fault << ", call " << nth);
                prepare();
                int32_t code = 0;
                {
                    const FailingSystemCall failing(fault, nth);
                    code = what();
                }
                failed += a_system_call_failed() ? 1 : 0;
                EXPECT_LT(system_calls_made(), kMostSystemCalls);
                EXPECT_TRUE(code == 0 || a_system_call_failed());
                const bool again = a_system_call_failed();
                check(code, fault);
                if (!again) {
                    break;
                }
            } while (!HasFailure());
        }
        EXPECT_GT(failed, 0);
    }

    // What is in the sockets' directory, but for the lock, which stays.
    std::vector<std::filesystem::path> files() const {
        std::vector<std::filesystem::path> found;
        for (const auto &entry : std::filesystem::directory_iterator(directory())) {
            if (!entry.path().filename().string().starts_with(".lock-")) {
                found.push_back(entry.path());
            }
        }
        return found;
    }

    // As a poll loop does, until there is nothing more to do.
    static void run(MomClient *client) {
        const auto has_work = [client] {
            const UncountedSystemCalls not_the_modules;
            return readable(ox_mom_client_fd(client));
        };
        while (has_work() && system_calls_made() < kMostSystemCalls) {
            ox_mom_client_process(client, 0);
        }
    }
};

TEST_F(SystemCallsTest, AModuleIsMadeWholeOrNotAtAll) {
    const std::ptrdiff_t descriptors_before = descriptors();
    const size_t files_before = files().size();
    ClientPtr another;
    at_each_call([&] { another = make_client(); }, [&] { return quib_lib_init(another.get(), "n"); },
                 [&](int32_t code, const Fault &fault) {
                     EXPECT_TRUE(code == 0 || code == QUIB_E_MEMORY || code == QUIB_E_SOCKET) << code;
                     EXPECT_EQ(exists(path("n")), code == 0);
                     const bool can_remove = std::string_view(fault.call) != "unlinkat";
                     EXPECT_TRUE(!can_remove || files().size() == files_before + (code == 0 ? 1 : 0)) << "left a file";
                     EXPECT_EQ(quib_lib_init(another.get(), "n"), 0) << "without the fault";
                     EXPECT_EQ(register_command("say", "%s", say, "n"), 0);
                     {
                         Operator mine = connect("n");
                         ASSERT_TRUE(mine.send("say hello\n"));
                         run(another.get());
                         mine.receive();
                         EXPECT_EQ(mine.take_answer(), printed("hello\n"));
                     }
                     another.reset();
                     EXPECT_EQ(descriptors(), descriptors_before);
                     for (const auto &file : files()) {
                         if (!can_remove && file.filename().string().starts_with(".new-")) {
                             std::filesystem::remove(file);
                         }
                     }
                     EXPECT_EQ(files().size(), files_before);
                 });
}

TEST_F(SystemCallsTest, AnOperatorIsAnsweredOrLetGo) {
    const std::ptrdiff_t before = descriptors();
    for (const std::string line : {"say hello", "much 1", "help", "store"}) {
        std::optional<Operator> mine;
        at_each_call(
            [&] {
                mine.emplace(connect());
                ASSERT_TRUE(mine->send(line + "\n"));
            },
            [&] {
                run(client());
                return 0;
            },
            [&](int32_t, const Fault &) {
                const Answer answer = answer_to(*mine);
                EXPECT_TRUE(!answer.code || *answer.code != 0 || !answer.output.empty())
                    << "success, and nothing shown";
                EXPECT_TRUE(line != "much 1" || answer.code != 0 || answer.output.size() == kMegabyte) << "cut";
                mine.reset();
                settle();
                EXPECT_EQ(descriptors(), before);
                EXPECT_EQ(ask("say hello"), printed("hello\n"));
                settle();
            });
    }
}

TEST_F(SystemCallsTest, AModuleEndsWithItsClient) {
    const std::ptrdiff_t descriptors_before = descriptors();
    const size_t files_before = files().size();
    ClientPtr another;
    std::optional<Operator> mine;
    at_each_call(
        [&] {
            another = make_client();
            ASSERT_EQ(quib_lib_init(another.get(), "n"), 0);
            mine.emplace(connect("n"));
            run(another.get());
        },
        [&] {
            another.reset();
            return 0;
        },
        [&](int32_t, const Fault &fault) {
            EXPECT_FALSE(mine->receive()) << "let go";
            mine.reset();
            EXPECT_EQ(descriptors(), descriptors_before);
            if (std::string_view(fault.call) == "unlinkat" && exists(path("n"))) {
                another = make_client();  // the next one clears away what could not be removed
                EXPECT_EQ(quib_lib_init(another.get(), "n"), 0);
                another.reset();
            }
            EXPECT_EQ(files().size(), files_before);
        });
}

}  // namespace
}  // namespace quib_test
