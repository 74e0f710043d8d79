// Changes, losses and operators at random, for a while: afterwards an application is as large as before, and idle.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "private_directory.h"
#include "process.h"
#include "program.h"
#include "publisher.h"
#include "redis_server.h"
#include "store_fixture.h"
#include "trel_cap/trel_cap.h"

namespace soak {
namespace {

using namespace std::chrono_literals;
using test_support::RedisServer;

constexpr int kStepsOfARound = 400;
constexpr int kRounds = 8;  // at least
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int64_t kMemorySlackKib = 8192;  // they keep stacks and what is freed; leaks the one tells itself
#else
constexpr int64_t kMemorySlackKib = 256;  // what the allocator may keep
#endif
constexpr auto kIdle = 3s;
constexpr int64_t kKeepAlives = 6;  // in that time: one is due, is sent and is answered

class Soak : public ::testing::Test {
protected:
    const bool is_long = std::getenv("TREL_CAP_TORTURE") != nullptr;
    const unsigned seed = std::getenv("TREL_CAP_SEED") != nullptr
                              ? static_cast<unsigned>(std::strtoul(std::getenv("TREL_CAP_SEED"), nullptr, 10))
                              : 1;
    std::mt19937 random{seed};
    test_support::PrivateDirectory consoles;
    RedisServer server;
    std::unique_ptr<readiness::LocalPublisher> publisher;
    std::unique_ptr<test_support::Program> application;

    void SetUp() override {
        server.start();
        connect();
        // Freed memory that AddressSanitizer keeps for a while would be taken for a leak.
        application = std::make_unique<test_support::Program>(test_support::Launch{
            .program = SOAK_APPLICATION,
            .environment = {{"OX_MOM_STORE", server.store_name()},
                            {"QUIB_DIR", consoles.path()},
                            {"ASAN_OPTIONS", "quarantine_size_mb=0:thread_local_quarantine_size_kb=0"}}});
        ASSERT_TRUE(application->prints("started"));
    }

    void connect() { publisher = std::make_unique<readiness::LocalPublisher>(server.store_name()); }
    size_t below(size_t end) { return random() % end; }

    readiness::Card any_card() {
        static constexpr int32_t kTypes[] = {1, 2, 3, 5, 6, 7};
        const auto node = static_cast<int32_t>(below(40)) + 1;
        return {.node = node, .node_type = kTypes[static_cast<size_t>(node) % std::size(kTypes)], .slotid = node};
    }

    void change() {
        const readiness::Card card = any_card();
        switch (below(8)) {
            case 0:
                return publisher->bring_up(card);
            case 1:
                return publisher->remove(card);
            case 2:
                return publisher->deny(card);
            case 3:
                return publisher->withdraw_check(card);
            case 4:
                return publisher->unready(card);
            case 5:
                return publisher->drop_readiness(card);
            case 6:
                return publisher->cm_ready(card);
            default:
                return publisher->state(static_cast<readiness::CardClass>(below(4)), below(2) != 0);
        }
    }

    void lose() {
        switch (below(3)) {
            case 0:
                server.connection().must({"CLIENT", "KILL", "TYPE", "pubsub"});
                break;
            case 1:
                server.connection().must({"CLIENT", "KILL", "TYPE", "normal", "SKIPME", "yes"});
                break;
            default:
                server.restart(below(2) != 0 ? RedisServer::Data::kKept : RedisServer::Data::kDropped);
        }
        connect();
    }

    void ask() {
        static const std::vector<test_support::Arguments> kCommands = {
            {"dump_all"}, {"dump_node"}, {"dump_status"}, {"show_memory"}, {"store"}, {"log-level", "2"}, {"help"}};
        test_support::Arguments arguments = kCommands[below(kCommands.size())];
        arguments.insert(arguments.begin(), "trel_cap_soak_application");
        const test_support::Outcome outcome =
            test_support::Program(
                {.program = QUIB_PROGRAM, .arguments = arguments, .environment = {{"QUIB_DIR", consoles.path()}}})
                .finish();
        EXPECT_EQ(outcome.status, 0) << outcome;
    }

    void round() {
        for (int i = 0; i < kStepsOfARound; ++i) {
            change();
        }
        ask();
        lose();
        clear();
    }

    // So that each round ends with the same store, and the application has heard of it.
    void clear() {
        server.connection().must({"FLUSHALL"});
        connect();
        std::this_thread::sleep_for(300ms);
    }
};

// An operator's connection, or one that is made anew, may be on its way out.
Usage settled_usage(pid_t process, int64_t descriptors) {
    Usage usage = usage_of(process);
    for (int tries = 0; usage.descriptors > descriptors && tries < 300; ++tries) {
        std::this_thread::sleep_for(10ms);
        usage = usage_of(process);
    }
    return usage;
}

int64_t median(std::vector<int64_t> values) {
    std::nth_element(values.begin(), values.begin() + static_cast<ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

TEST_F(Soak, LeavesAnApplicationAsLargeAsItWasAndIdle) {
    SCOPED_TRACE("TREL_CAP_SEED=" + std::to_string(seed));
    const auto end = std::chrono::steady_clock::now() + (is_long ? 1h : 0h);
    round();
    round();
    std::vector<int64_t> memory;
    std::this_thread::sleep_for(kIdle);
    const int64_t descriptors = usage_of(application->pid()).descriptors;
    for (int i = 0; i < kRounds || std::chrono::steady_clock::now() < end; ++i) {
        round();
        const Usage usage = settled_usage(application->pid(), descriptors);
        memory.push_back(usage.own_kib);
        ASSERT_LE(usage.descriptors, descriptors) << "after round " << i;
    }
    const auto quarter = static_cast<ptrdiff_t>(memory.size() / 4);
    const int64_t before = median({memory.begin(), memory.begin() + quarter});
    const int64_t after = median({memory.end() - quarter, memory.end()});
    EXPECT_LE(after, before + kMemorySlackKib) << ::testing::PrintToString(memory);

    std::this_thread::sleep_for(kIdle);  // the latest loss is got over
    const Usage begin = usage_of(application->pid());
    std::this_thread::sleep_for(kIdle);
    const Usage idle = usage_of(application->pid());
    EXPECT_LE(idle.wakeups, begin.wakeups + kKeepAlives) << "nothing else wakes it";
    EXPECT_LE(idle.ticks, begin.ticks + 1);

    const test_support::ClientPtr writer =
        test_support::connect_client(server.store_name(), {TREL_CAP_DB_CAPABILITIES});
    ASSERT_EQ(trel_cap_ce_set_g_cap_int32(writer.get(), "/soak/followed", -1), 0);
    EXPECT_EQ(application->finish().status, 0) << "no leak";
    RecordProperty("rounds", static_cast<int>(memory.size()));
    RecordProperty("memory_kib", std::to_string(before) + " to " + std::to_string(after));
}

}  // namespace
}  // namespace soak
