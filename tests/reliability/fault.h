// A fault of the store: how it is brought about and ended, and what an application is to notice of it.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "proxy.h"
#include "publisher.h"
#include "redis_server.h"
#include "subject.h"

namespace reliability {

using std::chrono::milliseconds;
using test_support::RedisServer;

// What cards there are, and what happens to them before the fault has ended.
inline constexpr readiness::Card kKept{.node = 0x101, .node_type = 3, .slotid = 1};
inline constexpr readiness::Card kPulled{.node = 0x102, .node_type = 3, .slotid = 2};
inline constexpr readiness::Card kInserted{.node = 0x103, .node_type = 3, .slotid = 3};

// A server, and the application that uses it, through a proxy or not.
class Scene {
public:
    Scene(const std::string &program, bool has_proxy);

    RedisServer &server() { return server_; }
    mom_test::Proxy &proxy() { return *proxy_; }
    Subject &subject() { return *subject_; }
    readiness::LocalPublisher &publisher() { return *publisher_; }

    // As the server's administrator, on a connection that he keeps.
    void tell_server(const std::vector<std::string> &command) { administrator_->must(command); }
    test_support::RedisConnection &administrator() { return *administrator_; }

    void fill();
    // One card is pulled, another inserted, and the capability changes.
    void change();
    void publish_capability(int32_t value);
    // The administrator and the publisher, whose connections have been cut, or whose server is another one.
    void reconnect();

private:
    RedisServer server_;
    std::unique_ptr<mom_test::Proxy> proxy_;
    std::optional<test_support::RedisConnection> administrator_;
    std::unique_ptr<readiness::LocalPublisher> publisher_;
    test_support::ClientPtr writer_;
    std::unique_ptr<Subject> subject_;
};

struct Fault {
    enum class Sign : uint8_t {
        kLoss,  // the client finds out by itself that the store is lost
        kCall,  // whoever reads or writes finds out
        kNone   // nobody does
    };

    std::string name = {};   // of the test
    std::string title = {};  // in the document
    Sign sign = Sign::kNone;
    int32_t read = 0;  // the library's status while it lasts
    int32_t write = 0;
    int32_t read_afterwards = 0;
    std::function<void(Scene &)> begin = nullptr;
    std::function<void(Scene &)> end = nullptr;
    bool has_proxy = false;
    milliseconds limit = std::chrono::seconds(30);        // of a request
    const char *awaited = nullptr;                        // words of a line that is logged before it ends
    std::function<void(Scene &)> before_write = nullptr;  // done again for the write
    bool changes = true;                                  // change() before it has ended
};

std::ostream &operator<<(std::ostream &out, const Fault &fault);

std::vector<Fault> network_faults();
std::vector<Fault> server_faults();
std::vector<Fault> data_faults();
std::vector<Fault> all_faults();

}  // namespace reliability
