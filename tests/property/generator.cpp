#include "generator.h"

#include <random>

namespace property {
namespace {

constexpr std::array<int32_t, 20> kNodes = {INT32_MIN, -0x1000000, -256,    -2,      -1,        0,        1,
                                            2,         3,          7,       255,     256,       257,      0x101 * 3,
                                            4096,      0x10001,    0x10002, 0x20001, 0x1000000, INT32_MAX};
constexpr std::array<int32_t, 4> kDeviceTypes = {0, 1, 77, -3};
constexpr std::array<int32_t, 4> kTrue = {1, 1, 2, 256};  // 256 has nothing in its lowest byte
constexpr std::array<int32_t, 6> kLogLevels = {2, 3, 4, 7, -1, INT32_MIN};
constexpr std::array<int32_t, 8> kIgnored = {0, 2, 5, 7, 28, 30, -1, INT32_MAX};
constexpr std::array<int32_t, 3> kErrors = {-108, -1, 7};

// How a history leans: some make little go wrong, so that readiness is reached, others much.
struct Leaning {
    int nodes;
    int true_percent;
    int real_time_percent;
    int flaw_percent;
    int failure_percent;
    int own_type_percent;
    int log_percent;
    int clearing_percent;
};

class Generator {
public:
    explicit Generator(uint64_t seed)
        : random_(seed),
          leaning_({.nodes = between(2, static_cast<int>(kNodes.size())),
                    .true_percent = between(40, 95),
                    .real_time_percent = between(10, 95),
                    .flaw_percent = between(0, 12),
                    .failure_percent = between(0, 40),
                    .own_type_percent = between(50, 100),
                    .log_percent = between(0, 20),
                    .clearing_percent = between(0, 20)}),
          first_node_(between(0, static_cast<int>(kNodes.size()) - 1)) {
        const int32_t usual_type = one_of(std::array{2, 3, 5, 7});
        for (int32_t &type : own_types_) {
            type = percent(50) ? usual_type : between(0, 8);
        }
    }

    History history() {
        History steps;
        for (int i = 0; i < 4; ++i) {
            steps.push_back(step(ask_for_events()));
        }
        const int length = between(300, 500);
        while (static_cast<int>(steps.size()) < length) {
            steps.push_back(random_step());
        }
        return steps;
    }

private:
    int between(int lowest, int highest) { return std::uniform_int_distribution<int>(lowest, highest)(random_); }
    bool percent(int probability) { return between(1, 100) <= probability; }
    template <class Values>
    typename Values::value_type one_of(const Values &values) {
        return values.at(static_cast<size_t>(between(0, static_cast<int>(values.size()) - 1)));
    }
    int32_t boolean(int true_percent) { return percent(true_percent) ? one_of(kTrue) : 0; }
    int32_t boolean() { return boolean(leaning_.true_percent); }

    Step random_step() {
        const int draw = between(1, 100);
        if (draw <= 1) {
            return step(DeliverNothing{processor()});
        }
        if (draw <= 2) {
            return step(ClearValidated{});
        }
        if (draw <= 4) {
            return reconnection();
        }
        if (draw <= 8) {
            return step(ask_for_events());
        }
        if (draw <= 10) {
            return step(Add{node()});
        }
        if (draw <= 12) {
            const Report named = report(Processor::kInstall);
            return step(Delete{named.node, named.config_dev_type});
        }
        return delivery();
    }

    Step step(const Action &action) {
        Step made{action, {}, between(0, 1), 0, 0};
        if (percent(leaning_.log_percent)) {
            made.log_level = one_of(kLogLevels);
        }
        if (percent(5)) {
            made.failing_additions = static_cast<uint32_t>(between(1, 15));
        }
        if (percent(leaning_.clearing_percent)) {
            made.clearing_events = static_cast<uint32_t>(between(0, 0x1ff));
        }
        return made;
    }

    Action ask_for_events() {
        const auto registration = static_cast<size_t>(between(0, static_cast<int>(kRegistrations.size()) - 1));
        return AskForEvents{registration, percent(70) ? kRegistrations.at(registration).mask
                                                      : static_cast<uint32_t>(between(0, 0x1ff))};
    }

    Step reconnection() {
        Step made = step(Reconnect{});
        if (percent(40)) {
            for (int i = between(0, 8); i > 0; --i) {
                made.answers.subscriptions.push_back(0);
            }
            for (int i = between(1, 9); i > 0; --i) {
                made.answers.subscriptions.push_back(percent(70) ? one_of(kErrors) : 0);
            }
        }
        return made;
    }

    Processor processor() {
        constexpr std::array<Processor, 18> kWeighted = {
            Processor::kSystem,  Processor::kFab,     Processor::kCm,      Processor::kHps,     Processor::kFeNode,
            Processor::kFeNode,  Processor::kFeNode,  Processor::kFeNode,  Processor::kFabNode, Processor::kFabNode,
            Processor::kCmNode,  Processor::kCmNode,  Processor::kHpsNode, Processor::kHpsNode, Processor::kInstall,
            Processor::kInstall, Processor::kInstall, Processor::kCheck};
        return percent(8) ? Processor::kCheck : one_of(kWeighted);
    }

    int32_t command(Processor processor) {
        const int draw = between(1, 100);
        if (draw <= 5) {
            return one_of(kIgnored);
        }
        if (draw <= 20) {
            return 29;
        }
        if (draw <= 24) {
            return 6;
        }
        if (draw <= 32) {
            return 3;
        }
        if (draw <= 34) {
            return follows_a_state(processor) ? 4 : 1;
        }
        return follows_a_state(processor) ? 1 : 4;
    }

    Step delivery() {
        const Processor receiver = processor();
        Report delivered = report(receiver);
        delivered.cmd = command(receiver);
        delivered.flaw = flaw(receiver, delivered.cmd);
        Step made = step(Deliver{receiver, delivered});
        if (delivered.cmd == 29) {
            made.answers = answers(receiver);
        }
        return made;
    }

    Flaw flaw(Processor receiver, int32_t cmd) {
        constexpr std::array<Flaw, 5> kAll = {Flaw::kNoResult, Flaw::kErrorCode, Flaw::kNoRecord, Flaw::kNoIndex,
                                              Flaw::kNoStaticInfo};
        if (!percent(leaning_.flaw_percent)) {
            return Flaw::kNone;
        }
        if (follows_a_state(receiver)) {
            return Flaw::kNoRecord;
        }
        return cmd == 3 ? one_of(std::array{Flaw::kNoRecord, Flaw::kNoIndex, Flaw::kNoStaticInfo}) : one_of(kAll);
    }

    // Of the nodes that the history uses one, mostly as the type that it began with.
    Report report(Processor receiver) {
        const auto number = static_cast<size_t>(first_node_ + between(0, leaning_.nodes - 1)) % kNodes.size();
        Report made;
        made.node = kNodes.at(number);
        made.config_dev_type = percent(leaning_.own_type_percent) ? kDeviceTypes.at(number % 2) : one_of(kDeviceTypes);
        made.devid = between(-1, 3);
        made.slotid = between(0, 12);
        made.sslotid = between(0, 2);
        made.node_type = percent(leaning_.own_type_percent) ? own_types_.at(number) : between(0, 8);
        made.ready = boolean();
        made.real_time = boolean(leaning_.real_time_percent);
        made.is_online = boolean();
        made.denied = !percent(leaning_.true_percent);
        if (follows_a_state(receiver)) {
            made.cmd = 1;
        }
        return made;
    }

    Node node() {
        const Report named = report(Processor::kInstall);
        const auto flag = [this] { return percent(leaning_.true_percent) ? 1 : 0; };
        return {.node = named.node,
                .config_dev_type = named.config_dev_type,
                .devid = named.devid,
                .slotid = named.slotid,
                .sslotid = named.sslotid,
                .is_online = flag(),
                .cns = 1 - flag(),
                .ready = flag(),
                .node_type = named.node_type,
                .real_time = boolean(leaning_.real_time_percent) != 0 ? 1 : 0,
                .dm_install = flag(),
                .app_df_chk = flag()};
    }

    // For a first attempt and, where that fails, for its repetitions.
    Answers answers(Processor receiver) {
        Answers made;
        for (int attempts = 1; attempts <= 3; ++attempts) {
            const int32_t status = percent(leaning_.failure_percent) ? one_of(kErrors) : 0;
            if (follows_a_state(receiver)) {
                made.states.push_back({status, percent(85), boolean()});
                continue;
            }
            made.scans.push_back({status, {}});
            for (int i = percent(40) ? between(0, 12) : 0; i > 0; --i) {
                Report found = report(receiver);
                found.cmd = percent(95) ? 4 : one_of(std::array<int32_t, 5>{1, 3, 5, 6, 30});
                found.flaw = flaw(receiver, found.cmd);
                made.scans.back().reports.push_back(found);
            }
        }
        return made;
    }

    std::mt19937_64 random_;
    Leaning leaning_;
    int first_node_;
    std::array<int32_t, kNodes.size()> own_types_ = {};
};

}  // namespace

History random_history(uint64_t seed) { return Generator(seed).history(); }

}  // namespace property
