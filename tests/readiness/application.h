// An application as the library knows it: a thread that registers its callbacks, starts the library with a client of
// its own and runs the client's loop.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <future>
#include <iosfwd>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "publisher.h"
#include "trel_cap/trel_cap.h"

namespace readiness {

// The events that an application asks for, by kind of registration; 0: it does not register.
struct Wanted {
    uint32_t fe = 0;
    uint32_t fab = 0;
    uint32_t cm = 0;
    uint32_t hps = 0;
    uint32_t lc_and_hps = 0;
};
inline constexpr Wanted kLineCards{.fe = 0x03};
inline constexpr Wanted kFabric{.fab = 0x18};
inline constexpr Wanted kControlModules{.cm = 0x24};
inline constexpr Wanted kHpsCards{.hps = 0xc0};
inline constexpr Wanted kEverything{.fe = 0x03, .fab = 0x18, .cm = 0x24, .hps = 0xc0, .lc_and_hps = 0x100};

// An event as a callback heard it: of a class, or of a node.
struct Heard {
    int32_t event = 0;
    std::optional<int32_t> node;
    int32_t ready = 0;
    std::string list;  // of the registration

    bool operator==(const Heard &) const = default;
};
std::ostream &operator<<(std::ostream &out, const Heard &heard);

// What a test expects, of the list that the event belongs to.
Heard of_class(int32_t event);
Heard of_node(int32_t event, int32_t node, bool ready);

// An entry of the thread's node list, the flags in words: "online ready real_time installed checked denied".
struct Entry {
    int32_t node = 0;
    int32_t node_type = 0;
    std::string flags;

    bool operator==(const Entry &) const = default;
};
std::ostream &operator<<(std::ostream &out, const Entry &entry);
Entry entry_of(const CapNodeRecord &record);

class Application {
public:
    // Returns when the library has started and read what the store holds. Throws std::runtime_error when it does not.
    Application(const std::string &store, const Wanted &wanted);
    ~Application();
    Application(const Application &) = delete;
    Application &operator=(const Application &) = delete;

    // Runs something on the application's thread, between two rounds of its loop.
    void run(const std::function<void()> &body);
    // Waits until that holds on the application's thread; false when it takes too long.
    bool wait_until(const std::function<bool()> &condition);

    // Lets everything that was published so far arrive, and takes what was heard since the latest time.
    std::vector<Heard> heard(Publisher &publisher);

    std::vector<Entry> nodes();
    // How often the connection has come back.
    int reconnections();
    // Waits until it has done so that often and everything has been read since.
    bool comes_back(int reconnections);
    // Whether all that is wanted has been read, and no reconnection is under way. On the application's thread.
    bool is_loaded() const;

    MomClient *client() const { return client_; }
    // Run on the application's thread with every event, after it has been written down. Set it there too.
    std::function<void(const Heard &)> on_event;
    // The same at the beginning of every reconnection, before the library hears of it.
    std::function<void()> on_reconnection;

    // Holds the application's thread up between two rounds of its loop.
    class Stall {
    public:
        explicit Stall(Application &application);
        ~Stall() { end(); }
        Stall(const Stall &) = delete;
        Stall &operator=(const Stall &) = delete;
        void end();

    private:
        std::optional<std::promise<void>> resumed_ = std::promise<void>();
    };

private:
    struct Waiting {
        std::function<bool()> condition;
        std::promise<void> holds;
    };

    void live(const std::string &store, std::promise<void> started);
    void start(const std::string &store);
    void loop();
    void look_at_conditions();
    void wake();
    bool passes_fence(Publisher &publisher, int32_t db);
    static int32_t hear(size_t list, int32_t event, void *arg);
    template <size_t kList>
    static int32_t callback(int32_t event, void *arg);
    static int32_t on_fence(MomClient *client, MomMsg *msg);
    static int32_t on_reconnect(MomClient *client, int32_t db, int32_t type);
    static thread_local Application *current_;

    const Wanted wanted_;
    MomClient *client_ = nullptr;
    int wake_fd_;
    bool done_ = false;
    std::mutex mutex_;  // of the conditions
    std::list<Waiting> waiting_;

    // Of the application's thread.
    std::vector<Heard> heard_;
    int32_t fence_ = 0;
    int32_t fences_ = 0;
    int reconnections_ = 0;
    std::future<void> stalled_;

    std::thread thread_;  // last: it uses all of the above
};

}  // namespace readiness
