// What every test of following readiness begins with.
#pragma once

#include <memory>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "application.h"
#include "publisher.h"
#include "store_fixture.h"

namespace readiness {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

inline constexpr Card kLineCard{.node = 0x101, .node_type = 3, .slotid = 1};
inline constexpr Card kSecondLineCard{.node = 0x102, .node_type = 3, .slotid = 2};
inline constexpr Card kFabricCard{.node = 0x201, .node_type = 5, .slotid = 3};
inline constexpr Card kControlModule{.node = 0x301, .node_type = 2, .slotid = 4};
inline constexpr Card kHpsCard{.node = 0x401, .node_type = 7, .slotid = 5};

// The events, by the names that the tests tell them with.
inline Heard system_ready() { return of_class(TREL_CAP_EVENT_SYSTEM); }
inline Heard node_ready(const Card &card) { return of_node(TREL_CAP_EVENT_FE_NODE, card.node, true); }
inline Heard node_lost(const Card &card) { return of_node(TREL_CAP_EVENT_FE_NODE, card.node, false); }

// Over every store, with a publisher in the test's own thread.
class ReadinessTest : public test_support::StoreTest {
protected:
    void SetUp() override {
        StoreTest::SetUp();
        publisher_ = std::make_unique<LocalPublisher>(store());
    }

    Publisher &publisher() { return *publisher_; }
    std::vector<Heard> heard(Application &application) { return application.heard(publisher()); }

    // The server goes, with its data or without, and another publisher comes with the next.
    void restart_server(test_support::RedisServer::Data data) {
        server().restart(data);
        replace_publisher();
    }
    void replace_publisher() { publisher_ = std::make_unique<LocalPublisher>(store()); }

private:
    std::unique_ptr<Publisher> publisher_;
};

}  // namespace readiness
