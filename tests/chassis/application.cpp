#include "application.h"

#include <exception>
#include <mutex>
#include <ostream>
#include <stdexcept>
#include <thread>
#include <utility>

namespace chassis_test {

using chassis::List;

namespace {

constexpr uint32_t kLineCards = 0x03;
constexpr uint32_t kFabric = 0x18;
constexpr uint32_t kControlModules = 0x24;
constexpr uint32_t kHps = 0xc0;
constexpr uint32_t kLineCardsAndHps = 0x100;
constexpr char kName[] = "chassis_test";

void check(int32_t status, const char *what) {
    if (status != 0) {
        throw std::runtime_error(std::string(what) + ": " + std::to_string(status) + ", " + ox_mom_last_error());
    }
}

int32_t remove(CapNode *pos, void *) { return trel_cap_sw_node_del(pos->record.node, pos->record.config_dev_type); }

}  // namespace

std::ostream &operator<<(std::ostream &out, const Heard &heard) {
    out << chassis::name_of_event(heard.event) << " on " << name_of(heard.list);
    if (heard.node) {
        out << " node " << *heard.node << (heard.ready ? " ready" : " not ready");
    }
    return out;
}

void on_own_thread(const std::function<void()> &body) {
    std::exception_ptr failure;
    std::thread([&] {
        try {
            body();
        } catch (...) {
            failure = std::current_exception();
        }
    }).join();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

thread_local Application *Application::current_ = nullptr;

// Registrations are the process's, and the first of a name decides which events its callback hears: it hears all, and
// each application leaves out what it did not ask for.
Application::Application(const std::string &store, uint32_t asked_for) : asked_for_(asked_for) {
    const auto registered = [](uint32_t mask) {
        const auto one = [&](auto function, CapEventCb cb, uint32_t events) {
            check((mask & events) == 0 ? 0 : function(kName, cb, mask & events), "registration");
        };
        one(trel_cap_event_callback_reg, callback<List::kLineCards>, kLineCards);
        one(trel_cap_fab_event_callback_reg, callback<List::kFabric>, kFabric);
        one(trel_cap_cm_event_callback_reg, callback<List::kControlModules>, kControlModules);
        one(trel_cap_hps_event_callback_reg, callback<List::kHps>, kHps);
        one(trel_cap_lc_and_hps_event_callback_reg, callback<List::kLineCardsAndHps>, kLineCardsAndHps);
    };
    static std::once_flag once;
    std::call_once(once, [&] { on_own_thread([&] { registered(UINT32_MAX); }); });
    registered(asked_for);
    trel_cap_log_level(0);
    current_ = this;
    client_ = ox_mom_client_create(store.c_str());
    check(client_ == nullptr ? 1 : 0, "client");
    check(trel_cap_init(client_, kName), "trel_cap_init");
    while (ox_mom_client_process(client_, 0) > 0) {
    }
}

Application::~Application() {
    trel_cap_sw_node_walk_cur(remove, nullptr);
    ox_mom_client_destroy(client_);
    current_ = nullptr;
}

std::vector<Heard> Application::heard() {
    while (ox_mom_client_process(client_, 0) > 0) {
    }
    return std::exchange(heard_, {});
}

bool Application::has_registered_for(List list, int32_t event) const {
    return list == List::kLineCards ? (asked_for_ & kLineCards) != 0 : (asked_for_ & TREL_CAP_EVENT_BIT(event)) != 0;
}

template <List kList>
int32_t Application::callback(int32_t event, void *arg) {
    if (current_ == nullptr || !current_->has_registered_for(kList, event)) {
        return 0;
    }
    Heard heard{.list = kList, .event = event, .node = std::nullopt, .ready = true};
    if (const auto *node = static_cast<const CapNodeReady *>(arg)) {
        heard.node = static_cast<int32_t>(node->node);
        heard.ready = node->ready != 0;
    }
    current_->heard_.push_back(heard);
    return 0;
}

}  // namespace chassis_test
