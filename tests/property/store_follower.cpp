#include "store_follower.h"

#include <dlfcn.h>

#include <array>
#include <chrono>
#include <stdexcept>
#include <utility>

#include "observed.h"
#include "store_contents.h"
#include "trel_cap/trel_cap.h"

namespace property {
namespace {

constexpr auto kLongEnough = std::chrono::seconds(20);
constexpr int32_t kOwnDb = 0;  // for its reconnection callback, which comes before those of the library's databases
constexpr int32_t kFenceField = TREL_CAP_FIELD_INT32;

// Of the thread's only follower.
struct Seen {
    int32_t fence = 0;
    int reconnections = 0;
    std::vector<Scanned> scans;
    MomMsgCb scanning = nullptr;
    bool has_returned = false;  // from a loss, and it has not been asked what it missed
    size_t confirmed = 0;       // since then
    std::vector<Missed> missed;
};
thread_local Seen witnessed;

struct Fence {
    explicit Fence(int32_t number) {
        index.url = const_cast<char *>("/fence");  // requests are only read
        record.index = &index;
        record.int32_value = number;
    }
    Fence(const Fence &) = delete;
    Fence &operator=(const Fence &) = delete;

    CapTableIndex index = CAP_TABLE_INDEX__INIT;
    CapTable record = CAP_TABLE__INIT;
};

int32_t on_fence(MomClient *, MomMsg *msg, void *) {
    const auto *result = static_cast<const MomHashResult *>(msg->result);
    if (result->record != nullptr) {
        witnessed.fence = reinterpret_cast<const CapTable *>(result->record)->int32_value;
    }
    return 0;
}

int32_t on_reconnect(MomClient *, int32_t, int32_t) {
    ++witnessed.reconnections;
    witnessed.has_returned = true;
    witnessed.confirmed = 0;
    return 0;
}

const ProtobufCMessage &record_in(const MomMsg &msg) {
    const bool is_hash = msg.cmd == OX_MOM_CMD_DELIVERED;
    return *(is_hash ? static_cast<const MomHashResult *>(msg.result)->record
                     : static_cast<const ProtobufCMessage *>(msg.result));
}

// In place of the processor that follows a type.
template <int kProcessor>
int32_t on_told(MomClient *client, MomMsg *msg) {
    constexpr auto processor = static_cast<Processor>(kProcessor);
    if (msg->cmd == OX_MOM_CMD_SUBSCRIBED) {
        ++witnessed.confirmed;
    } else if (witnessed.has_returned) {
        Report report = report_of(type_of(processor), record_in(*msg));
        report.cmd = msg->cmd;
        witnessed.missed.push_back({{processor, report}, witnessed.confirmed});
    }
    return function_of(processor)(client, msg);
}

template <size_t... kIndices>
constexpr std::array<MomMsgCb, kProcessors> all_told(std::index_sequence<kIndices...>) {
    return {on_told<static_cast<int>(kIndices)>...};
}
constexpr auto kTold = all_told(std::make_index_sequence<kProcessors>());

int32_t on_scanned(MomClient *client, MomMsg *msg) {
    const auto *result = static_cast<const MomHashResult *>(msg->result);
    witnessed.scans.back().reports.push_back(report_of(type_of(witnessed.scans.back().processor), *result->record));
    return witnessed.scanning(client, msg);
}

void check(bool holds, const char *what) {
    if (!holds) {
        throw std::runtime_error(std::string(what) + ": " + ox_mom_last_error());
    }
}

}  // namespace

void publish_fence(MomClient *publisher, int32_t number) {
    const Fence fence(number);
    check(ox_mom_hmset_sync(publisher, TREL_CAP_DB_CAPABILITIES, &fence.record.base, &kFenceField, 1) == 0, "fence");
}

StoreFollower::StoreFollower(const std::string &store) {
    witnessed = {};
    client_ = test_support::connect_client(store, {kOwnDb, TREL_CAP_DB_CAPABILITIES});
    const Fence fence(0);
    const MomFieldCb cb = on_fence;
    check(ox_mom_subscribe_field(client_.get(), TREL_CAP_DB_CAPABILITIES, &fence.record.base, 1, &kFenceField, &cb,
                                 nullptr, 1) == 0,
          "fence");
    check(ox_mom_client_set_reconnect_cb(client_.get(), kOwnDb, on_reconnect, nullptr) == 0, "reconnection callback");
    check(trel_cap_init(client_.get(), "property_test") == 0, "trel_cap_init");
}

StoreFollower::~StoreFollower() = default;

bool StoreFollower::run_until(const std::function<bool()> &condition) {
    const auto limit = std::chrono::steady_clock::now() + kLongEnough;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) {
            return false;
        }
        ox_mom_client_process(client_.get(), 100);
    }
    return true;
}

bool StoreFollower::reaches_fence(int32_t number) {
    return run_until([=] { return witnessed.fence == number; });
}

bool StoreFollower::reconnects() {
    const int awaited = ++reconnections_awaited_;
    return run_until([=] { return witnessed.reconnections >= awaited; }) && witnessed.reconnections == awaited;
}

std::vector<Scanned> StoreFollower::take_scans() { return std::exchange(witnessed.scans, {}); }

std::vector<Missed> StoreFollower::take_missed() {
    witnessed.has_returned = false;
    return std::exchange(witnessed.missed, {});
}

}  // namespace property

// In front of the client's own, to see what is delivered in which order: that is the store's business.
extern "C" int32_t ox_mom_scan_sync(MomClient *client, int32_t db, const ProtobufCMessage *request, int32_t flags,
                                    MomMsgCb cb, void *arg) {
    using Function = int32_t(MomClient *, int32_t, const ProtobufCMessage *, int32_t, MomMsgCb, void *);
    static auto *const behind = reinterpret_cast<Function *>(dlsym(RTLD_NEXT, "ox_mom_scan_sync"));
    property::witnessed.scans.push_back({property::processor_of(reinterpret_cast<const void *>(cb)).value(), {}});
    property::witnessed.scanning = cb;
    return behind(client, db, request, flags, property::on_scanned, arg);
}

// The same for what is told to those who follow.
extern "C" int32_t ox_mom_subscribe(MomClient *client, int32_t db, const ProtobufCMessage *request, int32_t flags,
                                    MomMsgCb cb, void *arg) {
    using Function = int32_t(MomClient *, int32_t, const ProtobufCMessage *, int32_t, MomMsgCb, void *);
    static auto *const behind = reinterpret_cast<Function *>(dlsym(RTLD_NEXT, "ox_mom_subscribe"));
    const auto processor = property::processor_of(reinterpret_cast<const void *>(cb)).value();
    return behind(client, db, request, flags, property::kTold.at(static_cast<size_t>(processor)), arg);
}
