#include "store_history.h"

#include <ostream>
#include <random>

namespace property {
namespace {

constexpr int32_t kNodes = 20;
constexpr int32_t kLength = 400;

class StoreGenerator {
public:
    StoreGenerator(uint64_t seed, bool has_server)
        : random_(seed),
          has_server_(has_server),
          true_percent_(between(50, 95)),
          real_time_percent_(between(20, 95)),
          own_place_percent_(between(70, 100)) {
        for (int32_t &type : own_types_) {
            type = percent(70) ? one_of(std::array{2, 3, 5, 7}) : between(0, 8);
        }
    }

    StoreHistory history() {
        StoreHistory made;
        for (size_t i = 0; i < kRegistrations.size(); ++i) {
            if (percent(80)) {
                made.asked.push_back({i, kRegistrations.at(i).mask & 0x1ff});
            }
        }
        made.clearing_events = percent(20) ? static_cast<uint32_t>(between(0, 0x1ff)) : 0;
        const int32_t start = between(0, kLength / 2);
        for (int32_t i = 0; i < kLength; ++i) {
            made.events.push_back(i == start ? StoreEvent(Start{}) : random_event());
        }
        made.events.emplace_back(Settle{});
        return made;
    }

private:
    int between(int lowest, int highest) { return std::uniform_int_distribution<int>(lowest, highest)(random_); }
    bool percent(int probability) { return between(1, 100) <= probability; }
    template <class Values>
    typename Values::value_type one_of(const Values &values) {
        return values.at(static_cast<size_t>(between(0, static_cast<int>(values.size()) - 1)));
    }

    StoreEvent random_event() {
        const int draw = between(1, 200);
        if (draw <= 2 && has_server_) {
            return Lose{one_of(std::array{Lose::kNotifications, Lose::kServer, Lose::kServerWithItsData})};
        }
        if (draw <= 40) {
            return Settle{};
        }
        constexpr std::array kTypes = {
            Processor::kSystem, Processor::kFab,     Processor::kCm,      Processor::kHps,     Processor::kFeNode,
            Processor::kFeNode, Processor::kFeNode,  Processor::kFeNode,  Processor::kFeNode,  Processor::kCmNode,
            Processor::kCmNode, Processor::kInstall, Processor::kInstall, Processor::kInstall, Processor::kInstall,
            Processor::kCheck,  Processor::kCheck};
        const Processor type = one_of(kTypes);
        if (percent(12)) {
            return Erase{type, report()};
        }
        return Write{type, report()};
    }

    // A node has a place and a type that it is mostly found at and of.
    Report report() {
        const int32_t number = between(0, kNodes - 1);
        const bool is_own = percent(own_place_percent_);
        Report made;
        made.node = number % 2 == 0 ? number - kNodes / 2 : number * 0x101;
        made.config_dev_type = is_own ? 70 + number % 2 : between(69, 72);
        made.devid = 1;
        made.slotid = is_own ? number : between(0, kNodes - 1);
        made.sslotid = percent(95) ? 0 : 1;
        made.node_type = is_own ? own_types_.at(static_cast<size_t>(number)) : between(0, 8);
        made.ready = percent(true_percent_) ? 1 : 0;
        made.real_time = percent(real_time_percent_) ? 1 : 0;
        made.is_online = percent(true_percent_) ? 1 : 0;
        made.denied = !percent(true_percent_);
        return made;
    }

    std::mt19937_64 random_;
    bool has_server_;
    int true_percent_;
    int real_time_percent_;
    int own_place_percent_;
    std::array<int32_t, kNodes> own_types_ = {};
};

struct Printer {
    std::ostream &out;

    void record(const char *verb, Processor type, const Report &report) const {
        Report shown = report;
        shown.cmd = follows_a_state(type) ? 1 : 4;
        out << verb << "what reads " << Step{Deliver{type, shown}, {}};
    }
    void operator()(const Write &event) const { record("write ", event.type, event.report); }
    void operator()(const Erase &event) const { record("erase ", event.type, event.report); }
    void operator()(const Start &) const { out << "start"; }
    void operator()(const Settle &) const { out << "settle"; }
    void operator()(const Lose &event) const {
        constexpr std::array<const char *, 3> kWhat = {"its notifications", "a server that comes back empty",
                                                       "a server that comes back with its data"};
        out << "lose " << kWhat.at(event.how);
    }
};

}  // namespace

StoreHistory random_store_history(uint64_t seed, bool has_server) { return StoreGenerator(seed, has_server).history(); }

std::ostream &operator<<(std::ostream &out, const StoreEvent &event) {
    std::visit(Printer{out}, event);
    return out;
}

}  // namespace property
