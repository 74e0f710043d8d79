// Memory that runs out, at each allocation in turn.
#include "console.h"

#include <cstdio>
#include <cstdlib>
#include <new>

namespace {

thread_local int left = -1;  // allocations before the one that fails; -1: none fails
thread_local bool failed = false;

void *allocate(std::size_t size) {
    if (left == 0) {
        left = -1;
        failed = true;
        throw std::bad_alloc();
    }
    left -= left > 0 ? 1 : 0;
    void *memory = std::malloc(size);
    if (!memory) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

// They stand before those of the C++ library, for the libraries too. Inlined here and not there, they would look like
// a pair that does not match.
[[gnu::noinline]] void *operator new(std::size_t size) { return allocate(size); }
[[gnu::noinline]] void operator delete(void *memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void *memory, std::size_t) noexcept { std::free(memory); }

namespace quib_test {
namespace {

class MemoryTest : public ConsoleTest {
protected:
    // Has the n-th allocation of what() fail, n = 0, 1 and so on until it makes no more; checks what comes of it.
    static void at_each_allocation(const std::function<int32_t()> &what,
                                   const std::function<void(int32_t code, bool failed)> &check) {
        int n = 0;
        for (bool more = true; more && n < 2000; ++n) {
            left = n;
            failed = false;
            const int32_t code = what();
            left = -1;
            more = failed;
            check(code, more);
        }
        EXPECT_GT(n, 1) << "nothing was allocated";
        EXPECT_LT(n, 2000);
    }
};

int32_t say_hello() {
    fputs("hello", stdout);
    return 0;
}

TEST_F(MemoryTest, AModuleIsMadeWholeOrNotAtAll) {
    // Longer than what a string holds itself, so that a copy of it takes memory.
    const std::string name = "a_module_with_a_name_of_some_length";
    const ClientPtr another = make_client();
    const std::ptrdiff_t before = descriptors();
    at_each_allocation([&] { return quib_lib_init(another.get(), name.c_str()); },
                       [&](int32_t code, bool short_of_memory) {
                           EXPECT_EQ(code, short_of_memory ? QUIB_E_MEMORY : 0);
                           EXPECT_EQ(exists(path(name)), !short_of_memory);
                           EXPECT_FALSE(exists(path(name + ".2")));
                           if (short_of_memory) {
                               ox_mom_client_process(another.get(), 0);
                               EXPECT_EQ(descriptors(), before);
                           }
                       });
    EXPECT_EQ(register_command("hello", "void", say_hello, name.c_str()), 0);
}

TEST_F(MemoryTest, ACommandIsRegisteredWholeOrNotAtAll) {
    at_each_allocation([&] { return register_command("hello", "first=%s second=%d", say_hello); },
                       [&](int32_t code, bool short_of_memory) {
                           EXPECT_EQ(code, short_of_memory ? QUIB_E_MEMORY : 0);
                           EXPECT_EQ(ask(".commands"), printed(short_of_memory ? "" : "hello\tfirst=%s second=%d\n"));
                       });
}

TEST_F(MemoryTest, AnOperatorIsAnsweredOrLetGo) {
    ASSERT_EQ(register_command("hello", "text=%s number=%d", say_hello), 0);
    for (const char *line : {"hello 'a text that is longer than a string holds itself' 5\n", "help\n", "nonsense\n",
                             ".commands\n", "hello 1\n"}) {
        const std::ptrdiff_t before = descriptors();
        at_each_allocation(
            [&] {
                const int counted = std::exchange(left, -1);
                Operator mine = connect();
                mine.send(line);
                left = counted;
                while (readable(ox_mom_client_fd(client()))) {
                    ox_mom_client_process(client(), 0);
                }
                left = -1;
                const bool there = mine.receive();
                return there == mine.take_answer().has_value() ? 0 : 1;
            },
            [&](int32_t code, bool) {
                EXPECT_EQ(code, 0) << "neither answered nor let go";
                settle();
                EXPECT_EQ(descriptors(), before);
                EXPECT_EQ(ask("hello a 1"), printed("hello"));
                settle();
            });
    }
}

}  // namespace
}  // namespace quib_test
