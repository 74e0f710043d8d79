// What the board costs: a share of a core, over a server, with ten viewers and 500 changes a second.
#include "http_client.h"
#include "program.h"
#include "redis_server.h"
#include "store/store.h"
#include "viewer.h"

#include <chrono>
#include <csignal>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>

#include "chassis/card.h"

namespace board_test {

namespace {

using namespace std::chrono;

// That it has run so far, which other work on the machine does not lengthen much.
nanoseconds processor_time(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/schedstat");
    int64_t run = 0;
    file >> run;
    return nanoseconds(run);
}

constexpr int kChanges = 2000;
constexpr microseconds kBetween(2000);
constexpr int kUrls = 100;

// A fifth of the changes concern cards, which have to be judged.
void write(store::Store &store, int change) {
    if (change % 5 == 0) {
        const chassis::Card card = chassis::usual_card(chassis::CardClass::kFabric, 1 + change % 16);
        store.write(node_ready(card, change % 2 == 0, true));
    } else {
        record::Record record = record::record_at("cap_table:/load/" + std::to_string(change % kUrls));
        record.set("int32_value", change);
        store.write(record);
    }
}

bool has_last_states(const Json &shown) {
    for (int change = kChanges - kUrls; change < kChanges; ++change) {
        const std::string key = "cap_table:/load/" + std::to_string(change % kUrls);
        if (change % 5 != 0 &&
            (!shown["capabilities"].contains(key) || shown["capabilities"][key]["fields"]["int32_value"] != change)) {
            return false;
        }
    }
    return true;
}

TEST(Load, TenViewersAndFiveHundredChangesASecondTakeLessThanATenthOfACore) {
    test_support::RedisServer server;
    store::Store store(server.store_name());
    for (int node = 1; node <= 16; ++node) {
        store.write(card_info(chassis::usual_card(chassis::CardClass::kFabric, node)));
    }
    test_support::Program program({.program = CAPCTL_PROGRAM,
                                   .arguments = {"board", "--listen", "127.0.0.1:0"},
                                   .environment = {{"OX_MOM_STORE", server.store_name()}}});
    ASSERT_TRUE(program.prints("/\n"));
    const std::string line = program.printed();
    const auto port = static_cast<uint16_t>(std::stoi(line.substr(line.rfind(':') + 1)));
    std::vector<Viewer> viewers;
    for (int i = 0; i < 10; ++i) {
        viewers.emplace_back(port);
        viewers.back().read();
    }
    const nanoseconds before = processor_time(program.pid());
    const auto begin = steady_clock::now();
    std::vector<std::thread> readers;
    readers.reserve(viewers.size());
    for (Viewer &viewer : viewers) {
        readers.emplace_back([&viewer] { viewer.read_until(has_last_states); });
    }
    for (int change = 0; change < kChanges; ++change) {
        std::this_thread::sleep_until(begin + change * kBetween);
        write(store, change);
    }
    for (std::thread &reader : readers) {
        reader.join();
    }
    const duration<double> took = steady_clock::now() - begin;
    const duration<double> ran = processor_time(program.pid()) - before;
    kill(program.pid(), SIGINT);
    program.finish();
    RecordProperty("share_of_a_core", std::to_string(ran / took));
    std::printf("%.3f of a core, %.0f changes a second\n", ran / took, kChanges / took.count());
    EXPECT_LT(ran / took, 0.1);
}

}  // namespace

}  // namespace board_test
