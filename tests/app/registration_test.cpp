// Registering callbacks.

#include <thread>

#include "allocations.h"
#include "callbacks.h"
#include "level_files.h"

namespace trel_cap_tests {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Registration : public EachKindTest {
protected:
    Log error(const std::string &message) const { return {100, kind.reg_name, message}; }
    Log detail(const std::string &message) const { return {40, kind.reg_name, message}; }
    Log asked(const std::string &name, CapEventCb callback, uint32_t flag) const {
        const std::string whole = text("reg_name:%s, callback_handle:%p, flag %d", name.c_str(),
                                       reinterpret_cast<void *>(callback), static_cast<int32_t>(flag));
        return detail(whole.substr(0, 1023));
    }
    // Whom an event of the kind reaches, by the bit that the tests register with.
    std::vector<Received> reached(int32_t event = 0) {
        const int32_t level = g_trel_cap_zlog_level;
        g_trel_cap_zlog_level = 0;
        kind.dispatch(event, nullptr);
        g_trel_cap_zlog_level = level;
        return callbacks.take();
    }
    // The names that dispatching reports.
    std::vector<std::string> names() {
        platform.forget();
        kind.dispatch(0, nullptr);
        std::vector<std::string> found;
        for (const Log &log : platform.logs(kind.dispatch_name)) {
            const std::string start = "rv:0, name:";
            if (log.text.starts_with(start)) {
                found.push_back(log.text.substr(start.size()));
            }
        }
        platform.forget();
        return found;
    }
    static std::string name_of(size_t length) {
        std::string name;
        while (name.size() < length) {
            name.push_back(static_cast<char>('a' + name.size() % 26));
        }
        return name;
    }
};

INSTANTIATE_TEST_SUITE_P(Kinds, Registration, ::testing::ValuesIn(kKinds), kind_name);

TEST_P(Registration, MakesTheCallbackKnown) {
    EXPECT_EQ(kind.reg("router", Callbacks::number<1>, 1), 0);
    EXPECT_THAT(reached(), ElementsAre(Received{1, 0, nullptr}));
    EXPECT_THAT(names(), ElementsAre("router"));
}

TEST_P(Registration, IsReported) {
    int round = 0;
    at_every_log_level([&] {
        const std::string name = "router " + std::to_string(++round);
        for (const uint32_t flag : {0U, 1U, 0x100U, 0x80000000U, 0xffffffffU}) {
            const std::string each = name + " " + std::to_string(flag);
            EXPECT_EQ(kind.reg(each.c_str(), Callbacks::number<1>, flag), 0);
            expect_events(
                {asked(each, Callbacks::number<1>, flag), detail("lock succ"), detail("unlock"), detail("leave")});
        }
    });
}

TEST_P(Registration, NeedsANameAndThenACallback) {
    kind.flags() = 0x40000000;
    trel_cap_dbg_inited = 0;
    const int32_t bytes = g_trel_callback_reg_mem;
    at_every_log_level([&] {
        EXPECT_EQ(kind.reg(nullptr, nullptr, 1), -4);
        expect_events({error("reg_name NULL pointer, addr error!\n")});
        EXPECT_EQ(kind.reg(nullptr, Callbacks::number<1>, 1), -4);
        expect_events({error("reg_name NULL pointer, addr error!\n")});
        EXPECT_EQ(kind.reg("router", nullptr, 1), -4);
        expect_events({error("callback_handle NULL pointer, addr error!\n")});
    });
    EXPECT_EQ(kind.flags(), 0x40000000U);
    EXPECT_EQ(trel_cap_dbg_inited, 0);
    EXPECT_EQ(g_trel_callback_reg_mem, bytes);
    EXPECT_THAT(reached(), IsEmpty());
}

// The line cards' flags are replaced, those of the classes are added.
TEST_P(Registration, SetsTheThreadsFlags) {
    kind.flags() = 0;
    EXPECT_EQ(kind.reg("one", Callbacks::number<1>, 0x12), 0);
    EXPECT_EQ(kind.flags(), 0x12U);
    EXPECT_EQ(kind.reg("two", Callbacks::number<2>, 0x81), 0);
    EXPECT_EQ(kind.flags(), is_fe(kind) ? 0x81U : 0x93U);
    EXPECT_EQ(kind.reg("three", Callbacks::number<3>, 0), 0);
    EXPECT_EQ(kind.flags(), is_fe(kind) ? 0U : 0x93U);
}

TEST_P(Registration, SetsNoOtherFlags) {
    g_trel_cap_flag = g_trel_fab_cm_cap_flag = g_trel_hps_cap_flag = g_trel_lc_and_hps_cap_flag = 0x1000;
    EXPECT_EQ(kind.reg("router", Callbacks::number<1>, 0xffff0fff), 0);
    for (const Kind &other : kKinds) {
        if (&other.flags() != &kind.flags()) {
            EXPECT_EQ(other.flags(), 0x1000U) << other.name;
        }
    }
    EXPECT_EQ(kind.flags() | 0x1000U, 0xffff1fffU);
}

TEST_P(Registration, SetsTheFlagsOfItsThreadOnly) {
    std::thread([this] {
        trel_cap_dbg_inited = 1;
        EXPECT_EQ(kind.reg("router", Callbacks::number<1>, 0x11), 0);
        EXPECT_EQ(kind.flags(), 0x11U);
    }).join();
    EXPECT_EQ(kind.flags(), 0U);
    EXPECT_THAT(reached(), ElementsAre(Received{1, 0, nullptr}));
}

// After they have been reported, and before the lock is waited for.
TEST_P(Registration, SetsTheFlagsBeforeItTakesTheLock) {
    std::vector<std::pair<std::string, uint32_t>> seen;
    platform.on_log = [&](const Log &log, const char *) { seen.emplace_back(log.text.substr(0, 8), kind.flags()); };
    EXPECT_EQ(kind.reg("router", Callbacks::number<1>, 0x11), 0);
    EXPECT_THAT(seen, ElementsAre(std::pair{"reg_name", 0U}, std::pair{"lock suc", 0x11U}, std::pair{"unlock", 0x11U},
                                  std::pair{"leave", 0x11U}));
}

TEST_P(Registration, OfANameAgainChangesTheFlagsOnly) {
    EXPECT_EQ(register_quietly(kind, "router", Callbacks::number<1>, 1), 0);
    const int32_t bytes = g_trel_callback_reg_mem;
    at_every_log_level([&] {
        kind.flags() = 0x40;
        EXPECT_EQ(kind.reg("router", Callbacks::number<2>, 2), 0);
        expect_events({asked("router", Callbacks::number<2>, 2), detail("lock succ"), detail("unlock")});
        EXPECT_EQ(kind.flags(), is_fe(kind) ? 2U : 0x42U);
    });
    EXPECT_EQ(g_trel_callback_reg_mem, bytes);
    EXPECT_THAT(reached(0), ElementsAre(Received{1, 0, nullptr}));
    if (!is_fe(kind)) {
        EXPECT_THAT(reached(1), IsEmpty());
    }
}

TEST_P(Registration, FindsANameAnywhereInTheList) {
    for (const char *name : {"one", "two", "three"}) {
        EXPECT_EQ(kind.reg(name, Callbacks::number<1>, 1), 0);
    }
    for (const char *name : {"one", "two", "three"}) {
        EXPECT_EQ(kind.reg(name, Callbacks::number<2>, 1), 0);
    }
    EXPECT_THAT(names(), ElementsAre("one", "two", "three"));
}

TEST_P(Registration, OfSimilarNamesIsOfDifferentOnes) {
    const std::vector<std::string> similar = {"router", "Router", "router ", "route", "", "router2"};
    for (const std::string &name : similar) {
        EXPECT_EQ(kind.reg(name.c_str(), Callbacks::number<1>, 1), 0);
    }
    EXPECT_THAT(names(), ::testing::ElementsAreArray(similar));
    EXPECT_EQ(kind.reg("", Callbacks::number<2>, 1), 0);
    EXPECT_THAT(names(), ::testing::ElementsAreArray(similar));
}

TEST_P(Registration, OfANameInAnotherKindIsAnotherRegistration) {
    for (const Kind &other : kKinds) {
        if (other.reg != kind.reg) {
            EXPECT_EQ(other.reg("router", Callbacks::number<2>, 1), 0);
        }
    }
    EXPECT_THAT(reached(), IsEmpty());
    EXPECT_EQ(kind.reg("router", Callbacks::number<1>, 1), 0);
    EXPECT_THAT(reached(), ElementsAre(Received{1, 0, nullptr}));
}

TEST_P(Registration, KeepsANameOf100Bytes) {
    const std::string name = name_of(100);
    EXPECT_EQ(kind.reg(name.c_str(), Callbacks::number<1>, 1), 0);
    EXPECT_EQ(kind.reg(name.c_str(), Callbacks::number<2>, 1), 0);
    EXPECT_THAT(names(), ElementsAre(name));
}

// What was cut is not found by the whole name, but by the cut one.
TEST_P(Registration, CutsLongerNames) {
    std::vector<std::string> expected;
    for (const size_t length : {101U, 102U, 127U, 128U, 359U, 360U, 361U, 400U, 5000U}) {
        const std::string name = std::to_string(length) + name_of(length - 3);
        ASSERT_EQ(kind.reg(name.c_str(), Callbacks::number<1>, 1), 0);
        EXPECT_EQ(kind.reg(name.c_str(), Callbacks::number<2>, 1), 0);
        const std::string cut = name.substr(0, 100);
        EXPECT_EQ(kind.reg(cut.c_str(), Callbacks::number<3>, 1), 0);
        expected.insert(expected.end(), 2, cut);
        if (length == 101) {
            EXPECT_THAT(reached(), ElementsAre(Received{1, 0, nullptr}, Received{2, 0, nullptr}));
        }
    }
    EXPECT_THAT(names(), ::testing::ElementsAreArray(expected));
}

TEST_P(Registration, ReportsALongNameAsFarAsAMessageGoes) {
    const std::string name = name_of(1500);
    EXPECT_EQ(kind.reg(name.c_str(), Callbacks::number<1>, 1), 0);
    expect_events({asked(name, Callbacks::number<1>, 1), detail("lock succ"), detail("unlock"), detail("leave")});
}

TEST_P(Registration, KeepsNothingOfTheCallersName) {
    std::string name = "router";
    EXPECT_EQ(kind.reg(name.c_str(), Callbacks::number<1>, 1), 0);
    name.assign(6, 'x');
    EXPECT_THAT(names(), ElementsAre("router"));
}

// Two links, 360 bytes of name, the callback; the classes have a flag word besides, counted as one whatever it takes.
TEST_P(Registration, CountsItsBytes) {
    constexpr int32_t kFeBytes = 3 * static_cast<int32_t>(sizeof(void *)) + 360;
    static_assert(sizeof(void *) != 4 || kFeBytes == 372);
    const int32_t bytes = is_fe(kind) ? kFeBytes : kFeBytes + 4;
    EXPECT_EQ(g_trel_callback_reg_mem, 32);
    EXPECT_EQ(kind.reg("one", Callbacks::number<1>, 1), 0);
    EXPECT_EQ(g_trel_callback_reg_mem, 32 + bytes);
    EXPECT_EQ(kind.reg("one", Callbacks::number<1>, 1), 0);
    EXPECT_EQ(g_trel_callback_reg_mem, 32 + bytes);
    EXPECT_EQ(kind.reg(name_of(1000).c_str(), Callbacks::number<1>, 1), 0);
    EXPECT_EQ(g_trel_callback_reg_mem, 32 + 2 * bytes);
}

TEST_P(Registration, AllocatesItsRecordOnly) {
    {
        const test_support::AllocationCount allocations;
        EXPECT_EQ(kind.reg("router", Callbacks::number<1>, 1), 0);
        EXPECT_EQ(allocations.count(), 1);
    }
    const test_support::AllocationCount allocations;
    EXPECT_EQ(kind.reg("router", Callbacks::number<1>, 1), 0);
    EXPECT_EQ(allocations.count(), 0);
    EXPECT_EQ(allocations.freed(), 0);
}

TEST_P(Registration, WithoutMemoryChangesTheFlagsOnly) {
    EXPECT_EQ(register_quietly(kind, "one", Callbacks::number<1>, 1), 0);
    const int32_t bytes = g_trel_callback_reg_mem;
    at_every_log_level([&] {
        kind.flags() = 0;
        int32_t status = 0;
        {
            const test_support::FailingAllocations no_more;
            status = kind.reg("two", Callbacks::number<2>, 3);
        }
        EXPECT_EQ(status, -2);
        expect_events({asked("two", Callbacks::number<2>, 3), detail("lock succ"), error("NO MEM"), detail("unlock")});
        EXPECT_EQ(kind.flags(), 3U);
    });
    EXPECT_EQ(g_trel_callback_reg_mem, bytes);
    EXPECT_THAT(names(), ElementsAre("one"));
    EXPECT_EQ(kind.reg("two", Callbacks::number<2>, 1), 0);
    EXPECT_THAT(names(), ElementsAre("one", "two"));
}

// A name that is there already needs no memory.
TEST_P(Registration, OfANameAgainSucceedsWithoutMemory) {
    EXPECT_EQ(kind.reg("one", Callbacks::number<1>, 1), 0);
    int32_t status = -2;
    {
        const test_support::FailingAllocations no_more;
        status = kind.reg("one", Callbacks::number<2>, 1);
    }
    EXPECT_EQ(status, 0);
}

TEST_P(Registration, SubscribesNothing) {
    EXPECT_EQ(kind.reg("one", Callbacks::number<1>, 0xffffffff), 0);
    EXPECT_THAT(platform.calls(), IsEmpty());
}

// Each thread's first registration sets up logging, and what follows is logged.
TEST_P(Registration, SetsUpLoggingOnceOnAThread) {
    test_support::enter_private_root();  // where it can be had, so that a host's own level files are not seen
    g_trel_cap_zlog_category = nullptr;
    trel_cap_dbg_inited = 0;
    EXPECT_EQ(kind.reg("one", Callbacks::number<1>, 1), 0);
    EXPECT_EQ(trel_cap_dbg_inited, 1);
    EXPECT_EQ(g_trel_cap_zlog_category, ScriptedPlatform::category());
    const auto logs = platform.logs(kind.reg_name);
    ASSERT_THAT(logs, ::testing::SizeIs(4));
    EXPECT_EQ(logs[0], asked("one", Callbacks::number<1>, 1));
    EXPECT_EQ(kind.reg("two", Callbacks::number<1>, 1), 0);
    EXPECT_EQ(platform.calls("ox_zlog_init").size(), 1U);
    std::thread([this] {
        EXPECT_EQ(kind.reg("one", Callbacks::number<1>, 1), 0);
        EXPECT_EQ(trel_cap_dbg_inited, 1);
    }).join();
    EXPECT_EQ(platform.calls("ox_zlog_init").size(), 2U);
}

TEST_P(Registration, SetsUpLoggingByTheProgramsName) {
    TREL_CAP_NEEDS_PRIVATE_ROOT();
    trel_cap_dbg_inited = 0;
    g_trel_cap_zlog_level = 0;
    write_level_file("one", "3");
    write_level_file(program_name(), "4");
    EXPECT_EQ(kind.reg("one", Callbacks::number<1>, 1), 0);
    EXPECT_EQ(g_trel_cap_zlog_level, 4);
    EXPECT_EQ(platform.logs(kind.reg_name).size(), 4U);
}

TEST_P(Registration, TriesToSetUpLoggingOnceOnly) {
    platform.zlog_init.always(nullptr);
    trel_cap_dbg_inited = 0;
    EXPECT_EQ(kind.reg("one", Callbacks::number<1>, 1), 0);
    EXPECT_EQ(trel_cap_dbg_inited, 1);
    EXPECT_EQ(kind.reg("two", Callbacks::number<1>, 1), 0);
    EXPECT_EQ(platform.calls("ox_zlog_init").size(), 1U);
    EXPECT_EQ(reached().size(), 2U);
    EXPECT_THAT(platform.logs(kind.reg_name), IsEmpty());
}

// Start-up after a registration finds logging set up.
TEST_P(Registration, LeavesStartUpNoLoggingToSetUp) {
    test_support::enter_private_root();
    trel_cap_dbg_inited = 0;
    EXPECT_EQ(kind.reg("one", Callbacks::number<1>, 0), 0);
    EXPECT_EQ(trel_cap_init(client, "one"), 0);
    EXPECT_EQ(platform.calls("ox_zlog_init").size(), 1U);
}

// Fabric and control modules have one flag word between them.
TEST(RegistrationFlags, AreSharedByFabricAndControlModules) {
    ScriptedPlatform platform;
    trel_cap_dbg_inited = 1;
    EXPECT_EQ(trel_cap_fab_event_callback_reg("one", Callbacks::number<1>, 8), 0);
    EXPECT_EQ(trel_cap_cm_event_callback_reg("one", Callbacks::number<1>, 4), 0);
    EXPECT_EQ(g_trel_fab_cm_cap_flag, 12U);
}

TEST(RegistrationFlags, AreZeroAtFirstOnEachThread) {
    const auto expect_zero = [] {
        for (const Kind &kind : kKinds) {
            EXPECT_EQ(kind.flags(), 0U) << kind.name;
        }
    };
    expect_zero();
    std::thread(expect_zero).join();
}

}  // namespace
}  // namespace trel_cap_tests
