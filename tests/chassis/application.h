// An application on the calling thread: it asks for events, starts the library and writes down what it is told.
#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "chassis/classes.h"
#include "trel_cap/trel_cap.h"

namespace chassis_test {

struct Heard {
    chassis::List list = chassis::List::kLineCards;
    int32_t event = 0;
    std::optional<int32_t> node;
    bool ready = true;

    bool operator==(const Heard &) const = default;
};
std::ostream &operator<<(std::ostream &out, const Heard &heard);

// The library keeps its state by thread, and never gives a thread's back: each application needs a thread of its own.
void on_own_thread(const std::function<void()> &body);

class Application {
public:
    // Returns when it has read what the store holds. The store has to be an embedded one: nothing is waited for.
    Application(const std::string &store, uint32_t asked_for);
    ~Application();
    Application(const Application &) = delete;
    Application &operator=(const Application &) = delete;

    // What it was told since it was asked before.
    std::vector<Heard> heard();

private:
    template <chassis::List kList>
    static int32_t callback(int32_t event, void *arg);
    bool has_registered_for(chassis::List list, int32_t event) const;

    static thread_local Application *current_;
    const uint32_t asked_for_;
    MomClient *client_ = nullptr;
    std::vector<Heard> heard_;
};

}  // namespace chassis_test
