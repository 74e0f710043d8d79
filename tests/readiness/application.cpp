#include "application.h"

#include <array>
#include <chrono>
#include <ostream>
#include <stdexcept>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace readiness {
namespace {

constexpr auto kLongEnough = std::chrono::seconds(30);
constexpr int32_t kOwnDb = 0;  // for its reconnection callback, which comes before those of the library's databases

void check(int32_t status, const char *what) {
    if (status != 0) {
        throw std::runtime_error(std::string(what) + ": " + std::to_string(status) + ", " + ox_mom_last_error());
    }
}

std::string flags_of(const CapNodeRecord &record) {
    std::string words;
    const auto add = [&words](uint8_t flag, const char *word) {
        if (flag != 0) {
            words += (words.empty() ? "" : " ") + std::string(word);
        }
    };
    add(record.is_online, "online");
    add(record.ready, "ready");
    add(record.real_time, "real_time");
    add(record.dm_install, "installed");
    add(record.app_df_chk, "checked");
    add(record.cns, "denied");
    return words;
}

int32_t collect(CapNode *pos, void *param) {
    static_cast<std::vector<Entry> *>(param)->push_back(entry_of(pos->record));
    return 0;
}

int32_t remove(CapNode *pos, void *) { return trel_cap_sw_node_del(pos->record.node, pos->record.config_dev_type); }

constexpr std::array<const char *, 5> kLists = {"fe", "fab", "cm", "hps", "lc and hps"};

const char *list_of(int32_t event) {
    constexpr std::array<size_t, 9> kListOfEvent = {0, 0, 2, 1, 1, 2, 3, 3, 4};
    return kLists.at(kListOfEvent.at(static_cast<size_t>(event)));
}

}  // namespace

thread_local Application *Application::current_ = nullptr;

Entry entry_of(const CapNodeRecord &record) { return {record.node, record.node_type, flags_of(record)}; }

Heard of_class(int32_t event) { return {event, std::nullopt, 0, list_of(event)}; }

Heard of_node(int32_t event, int32_t node, bool ready) { return {event, node, ready ? 1 : 0, list_of(event)}; }

std::ostream &operator<<(std::ostream &out, const Heard &heard) {
    out << "event " << heard.event;
    if (heard.node.has_value()) {
        out << " node " << *heard.node << " ready " << heard.ready;
    }
    return out << " (" << heard.list << ')';
}

std::ostream &operator<<(std::ostream &out, const Entry &entry) {
    return out << "node " << entry.node << " type " << entry.node_type << " [" << entry.flags << ']';
}

Application::Application(const std::string &store, const Wanted &wanted)
    : wanted_(wanted), wake_fd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    std::promise<void> started;
    std::future<void> has_started = started.get_future();
    thread_ = std::thread([this, store, given = std::move(started)]() mutable { live(store, std::move(given)); });
    try {
        has_started.get();
        if (!wait_until([this] { return is_loaded(); })) {
            throw std::runtime_error("the library does not read what the store holds");
        }
    } catch (...) {
        run([this] { done_ = true; });
        thread_.join();
        close(wake_fd_);
        throw;
    }
}

Application::~Application() {
    run([this] { done_ = true; });
    thread_.join();
    close(wake_fd_);
}

void Application::run(const std::function<void()> &body) {
    const bool done = wait_until([&body] {
        body();
        return true;
    });
    if (!done) {
        throw std::runtime_error("the application's thread does not answer");
    }
}

bool Application::wait_until(const std::function<bool()> &condition) {
    std::unique_lock lock(mutex_);
    const auto waiting = waiting_.insert(waiting_.end(), Waiting{condition, {}});
    std::future<void> holds = waiting->holds.get_future();
    lock.unlock();
    wake();
    const bool held = holds.wait_for(kLongEnough) == std::future_status::ready;
    lock.lock();
    waiting_.erase(waiting);
    return held;
}

// Conditions that hold are told so once, and stay until whoever waits has taken them away.
void Application::look_at_conditions() {
    const std::lock_guard lock(mutex_);
    for (Waiting &waiting : waiting_) {
        if (waiting.condition && waiting.condition()) {
            waiting.condition = nullptr;
            waiting.holds.set_value();
        }
    }
}

void Application::wake() {
    const uint64_t one = 1;
    static_cast<void>(!write(wake_fd_, &one, sizeof one));
}

void Application::live(const std::string &store, std::promise<void> started) {
    current_ = this;
    try {
        start(store);
        started.set_value();
    } catch (...) {
        started.set_exception(std::current_exception());
    }
    loop();
    trel_cap_sw_node_walk_cur(remove, nullptr);
    ox_mom_client_destroy(client_);
}

void Application::start(const std::string &store) {
    const auto reg = [](auto function, CapEventCb cb, uint32_t mask) {
        check(mask == 0 ? 0 : function("readiness_test", cb, mask), "registration");
    };
    reg(trel_cap_event_callback_reg, callback<0>, wanted_.fe);
    reg(trel_cap_fab_event_callback_reg, callback<1>, wanted_.fab);
    reg(trel_cap_cm_event_callback_reg, callback<2>, wanted_.cm);
    reg(trel_cap_hps_event_callback_reg, callback<3>, wanted_.hps);
    reg(trel_cap_lc_and_hps_event_callback_reg, callback<4>, wanted_.lc_and_hps);
    client_ = ox_mom_client_create(store.c_str());
    check(client_ == nullptr ? 1 : 0, "client");
    check(trel_cap_init(client_, "readiness_test"), "trel_cap_init");
    check(ox_mom_client_connect_sync(client_, kOwnDb), "database");
    check(ox_mom_client_set_reconnect_cb(client_, kOwnDb, on_reconnect, nullptr), "reconnection callback");
}

void Application::loop() {
    while (!done_) {
        look_at_conditions();
        if (done_) {
            return;
        }
        if (stalled_.valid()) {
            stalled_.get();
        }
        std::array<pollfd, 2> polled = {{{wake_fd_, POLLIN, 0}, {-1, POLLIN, 0}}};
        if (client_ != nullptr) {
            polled[1].fd = ox_mom_client_fd(client_);
        }
        poll(polled.data(), polled.size(), -1);
        uint64_t wakes = 0;
        static_cast<void>(!read(wake_fd_, &wakes, sizeof wakes));
        if (client_ != nullptr) {
            ox_mom_client_process(client_, 0);
        }
    }
}

int32_t Application::hear(size_t list, int32_t event, void *arg) {
    Application *const self = current_;
    if (self == nullptr) {
        return 0;
    }
    Heard heard{event, std::nullopt, 0, kLists.at(list)};
    if (const auto *ready = static_cast<const CapNodeReady *>(arg)) {
        heard.node = static_cast<int32_t>(ready->node);
        heard.ready = ready->ready;
    }
    self->heard_.push_back(heard);
    if (self->on_event) {
        self->on_event(heard);
    }
    return 0;
}

template <size_t kList>
int32_t Application::callback(int32_t event, void *arg) {
    return hear(kList, event, arg);
}

int32_t Application::on_fence(MomClient *, MomMsg *msg) {
    if (msg->cmd == OX_MOM_CMD_DELIVERED) {
        const auto *result = static_cast<const MomHashResult *>(msg->result);
        current_->fence_ = reinterpret_cast<const CapGlbTable *>(result->record)->int32_value;
    }
    return 0;
}

int32_t Application::on_reconnect(MomClient *, int32_t, int32_t) {
    ++current_->reconnections_;
    if (current_->on_reconnection) {
        current_->on_reconnection();
    }
    return 0;
}

// A notification that comes after everything published before it.
bool Application::passes_fence(Publisher &publisher, int32_t db) {
    CapGlbTableIndex index = CAP_GLB_TABLE_INDEX__INIT;
    CapGlbTable request = CAP_GLB_TABLE__INIT;
    request.index = &index;
    int32_t status = 0;
    run([&] { status = ox_mom_subscribe(client_, db, &request.base, 0, on_fence, nullptr); });
    if (status != 0) {
        return false;
    }
    const int32_t number = ++fences_;
    publisher.fence(db, number);
    return wait_until([&] { return fence_ == number; });
}

std::vector<Heard> Application::heard(Publisher &publisher) {
    if (!passes_fence(publisher, TREL_CAP_DB_CARDS) || !passes_fence(publisher, TREL_CAP_DB_CAPABILITIES)) {
        throw std::runtime_error("what was published does not arrive");
    }
    std::vector<Heard> taken;
    run([&] { taken = std::exchange(heard_, {}); });
    return taken;
}

Application::Stall::Stall(Application &application) {
    application.run([&] { application.stalled_ = resumed_->get_future(); });
}

void Application::Stall::end() {
    if (resumed_.has_value()) {
        resumed_->set_value();
        resumed_.reset();
    }
}

std::vector<Entry> Application::nodes() {
    std::vector<Entry> entries;
    run([&] { trel_cap_sw_node_walk_cur(collect, &entries); });
    return entries;
}

int Application::reconnections() {
    int count = 0;
    run([&] { count = reconnections_; });
    return count;
}

bool Application::comes_back(int reconnections) {
    return wait_until([&] { return reconnections_ >= reconnections && is_loaded(); });
}

bool Application::is_loaded() const {
    const auto wants = [](uint32_t mask, int32_t event) { return (mask & TREL_CAP_EVENT_BIT(event)) != 0; };
    const auto holds_if = [](bool wanted, int32_t loaded) { return !wanted || loaded != 0; };
    return g_trel_cap_global == client_ && g_trel_cap_config_reconnect == 0 &&
           holds_if(wanted_.fe != 0 || wanted_.lc_and_hps != 0, g_trel_cap_glb_ready_validated) &&
           holds_if(wants(wanted_.fe, TREL_CAP_EVENT_FE_NODE), trel_cap_fe_ready_is_all_validated()) &&
           holds_if(wanted_.fab != 0, g_trel_cap_fab_glb_ready_validated) &&
           holds_if(wants(wanted_.fab, TREL_CAP_EVENT_FAB_NODE), trel_cap_fab_ready_is_all_validated()) &&
           holds_if(wanted_.cm != 0, g_trel_cap_cm_glb_ready_validated) &&
           holds_if(wants(wanted_.cm, TREL_CAP_EVENT_CM_NODE), trel_cap_cm_ready_is_all_validated()) &&
           holds_if(wanted_.hps != 0 || wanted_.lc_and_hps != 0, g_trel_cap_hps_glb_ready_validated) &&
           holds_if(wants(wanted_.hps, TREL_CAP_EVENT_HPS_NODE), trel_cap_hps_ready_is_all_validated());
}

}  // namespace readiness
