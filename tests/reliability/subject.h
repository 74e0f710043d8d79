// An application that uses the library in earnest: it follows the readiness of cards and a capability, reads the
// capability and writes one of its own.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "application.h"

namespace reliability {

inline constexpr const char *kFollowedUrl = "/reliability/followed";
inline constexpr const char *kWrittenUrl = "/reliability/written";

// What an application takes to be so. Two that follow the same store and are up to date have the same.
struct Picture {
    std::vector<readiness::Entry> nodes;
    std::map<int32_t, int32_t> ready;  // nodes of which the last event said so
    bool system_is_ready = false;
    int32_t read_status = 0;  // of the capability
    int32_t read = 0;
    std::optional<int32_t> followed;  // the capability, as last told; none: it is gone

    bool operator==(const Picture &) const = default;
};
std::ostream &operator<<(std::ostream &out, const Picture &picture);

class Subject {
public:
    // Returns when it has read what the store holds.
    Subject(const std::string &store, readiness::Publisher &publisher);
    ~Subject() = default;
    Subject(const Subject &) = delete;
    Subject &operator=(const Subject &) = delete;

    readiness::Application &application() { return application_; }
    std::thread::id thread() const { return thread_; }

    Picture picture();

    // On the application's thread: the library's status.
    int32_t read();
    int32_t write();
    bool is_lost() const;

    // The last event of each node, and of the system, since the latest time.
    std::map<int32_t, readiness::Heard> take_told();

private:
    void hear(const readiness::Heard &heard);
    static int32_t on_followed(MomClient *, MomMsg *msg, void *subject);

    // Of the application's thread.
    std::map<int32_t, int32_t> ready_;
    std::optional<int32_t> followed_;
    std::map<int32_t, readiness::Heard> told_;  // by node; 0: the system
    int32_t written_ = 0;
    std::thread::id thread_;

    readiness::Application application_;
};

}  // namespace reliability
