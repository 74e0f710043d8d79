// Callbacks that write down what they are told, and the waiting for it.
#pragma once

#include <ox_mom.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace mom_test {

// For what comes at once on an idle machine: a wait ends with what it waits for. Shorter than ctest's own limit.
inline constexpr std::chrono::milliseconds kLongEnough = std::chrono::seconds(40);

// One notification, with a copy of its record.
struct Event {
    MomClient *client = nullptr;
    int32_t db = 0;
    int32_t cmd = 0;
    void *arg = nullptr;                       // of a field callback
    bool has_result = false;                   // the message pointed to something
    std::shared_ptr<ProtobufCMessage> record;  // empty: none
    std::vector<int32_t> fields;
    int32_t error_code = 0;
    uint64_t order = 0;  // among everything recorded on this thread

    template <typename Record>
    const Record &as() const {
        return *reinterpret_cast<const Record *>(record.get());
    }
};

struct Reconnection {
    MomClient *client = nullptr;
    int32_t db = 0;
    int32_t type = 0;
    uint64_t order = 0;
};

// What the callbacks of one slot were told, on the calling thread. Every slot has its own callbacks, because the
// client tells callbacks apart by address.
struct Slot {
    std::vector<Event> events;
    // Run inside the callback, after the event is written down.
    std::function<void(MomClient *, MomMsg *)> hook;

    int count(int32_t cmd) const;
    std::vector<int32_t> commands() const;
};

inline constexpr int kSlots = 8;
inline constexpr int kFenceSlot = 6;  // settle()'s
inline constexpr int kScanSlot = 7;   // stored_state()'s

struct Recorder {
    std::array<Slot, kSlots> slots;
    std::vector<Reconnection> reconnections;
    std::function<void(MomClient *, int32_t db)> reconnect_hook;
    uint64_t recorded = 0;
};

// The calling thread's; a test that wants it empty assigns a fresh one.
Recorder &recorder();

int32_t record_message(int slot, MomClient *client, MomMsg *msg);
int32_t record_field(int slot, MomClient *client, MomMsg *msg, void *arg);
int32_t on_reconnect(MomClient *client, int32_t db, int32_t type);

template <int kSlot = 0>
int32_t on_notification(MomClient *client, MomMsg *msg) {
    return record_message(kSlot, client, msg);
}

template <int kSlot = 0>
int32_t on_field(MomClient *client, MomMsg *msg, void *arg) {
    return record_field(kSlot, client, msg, arg);
}

// Runs the client until done() or the limit; false when the limit passed or the client failed.
bool pump_until(MomClient *client, const std::function<bool()> &done, std::chrono::milliseconds limit = kLongEnough);

// Runs the client until everything published so far has been delivered to it: subscribes CapHpsGlbState with a
// callback of its own and has `publisher` write one. False when that failed.
bool settle(MomClient *client, MomClient *publisher, int32_t db);

// Records by key, both encoded.
using State = std::map<std::string, std::string>;
State stored_state(MomClient *client, int32_t db, const ProtobufCMessage *request);
// Does to the state what the notification says.
void update(State &state, const Event &event);

bool readable(int fd, std::chrono::milliseconds limit);

// Tells for how long it has existed.
class Stopwatch {
public:
    std::chrono::milliseconds elapsed() const;

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace mom_test
