// The other side of the store: what writes cards, their checks and their readiness.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

#include "store_fixture.h"

namespace readiness {

struct Card {
    int32_t node = 0;
    int32_t node_type = 3;
    int32_t slotid = 1;
    int32_t config_dev_type = 77;
};

enum class CardClass { kLine, kFab, kCm, kHps };

// One write, or one deletion.
struct Order {
    enum Verb {
        kInstall,
        kRemove,
        kPass,
        kDeny,
        kWithdrawCheck,
        kReadiness,  // first: ready, second: real_time
        kDropReadiness,
        kCmReadiness,
        kDropCmReadiness,
        kState,  // first: the class, second: ready
        kDropState,
        kFence  // first: the database, second: a number
    };
    Verb verb = kInstall;
    Card card;
    int32_t first = 0;
    int32_t second = 0;
};
std::ostream &operator<<(std::ostream &out, const Order &order);
std::istream &operator>>(std::istream &in, Order &order);

class Publisher {
public:
    Publisher() = default;
    virtual ~Publisher() = default;
    Publisher(const Publisher &) = delete;
    Publisher &operator=(const Publisher &) = delete;

    // Returns when the store has it. Throws std::runtime_error when it refuses.
    virtual void publish(const Order &order) = 0;

    void install(const Card &card) { publish({Order::kInstall, card}); }
    void remove(const Card &card) { publish({Order::kRemove, card}); }
    void pass(const Card &card) { publish({Order::kPass, card}); }
    void deny(const Card &card) { publish({Order::kDeny, card}); }
    void withdraw_check(const Card &card) { publish({Order::kWithdrawCheck, card}); }
    void drop_readiness(const Card &card) { publish({Order::kDropReadiness, card}); }
    void drop_cm_readiness(const Card &card) { publish({Order::kDropCmReadiness, card}); }

    // Ready, but still only installed in advance; and ready in real time.
    void unready(const Card &card) { publish({Order::kReadiness, card, 0, 1}); }
    void ready_in_advance(const Card &card) { publish({Order::kReadiness, card, 1, 0}); }
    void ready(const Card &card) { publish({Order::kReadiness, card, 1, 1}); }
    void cm_unready(const Card &card) { publish({Order::kCmReadiness, card, 0, 1}); }
    void cm_ready_in_advance(const Card &card) { publish({Order::kCmReadiness, card, 1, 0}); }
    void cm_ready(const Card &card) { publish({Order::kCmReadiness, card, 1, 1}); }

    void state(CardClass card_class, bool is_ready) {
        publish({Order::kState, {}, static_cast<int32_t>(card_class), is_ready ? 1 : 0});
    }
    void drop_state(CardClass card_class) { publish({Order::kDropState, {}, static_cast<int32_t>(card_class)}); }
    void fence(int32_t db, int32_t number) { publish({Order::kFence, {}, db, number}); }

    // A line card with everything that it takes to be ready.
    void bring_up(const Card &card) {
        install(card);
        pass(card);
        ready(card);
    }
};

// With a client of the calling thread.
class LocalPublisher : public Publisher {
public:
    explicit LocalPublisher(const std::string &store) : client_(test_support::connect_client(store, {1, 28})) {}

    void publish(const Order &order) override;

private:
    test_support::ClientPtr client_;
};

}  // namespace readiness
