// The frame of the model: steps, the store, what was asked for, and who is told.
#include "model.h"

namespace property {
namespace {

// What is followed when any of these bits is set among the events asked for.
struct Subscription {
    Processor processor;
    uint32_t fe = 0;
    uint32_t fab_cm = 0;
    uint32_t hps = 0;
    uint32_t lc_and_hps = 0;
};

constexpr uint32_t bit(int32_t event) { return 1U << event; }

constexpr std::array<Subscription, 10> kSubscriptions = {{
    {Processor::kCheck, bit(1), bit(4) | bit(5), bit(6)},
    {Processor::kInstall, bit(1), bit(4) | bit(5), bit(6)},
    {Processor::kFeNode, bit(1)},
    {Processor::kCmNode, 0, bit(5)},
    {Processor::kFabNode, 0, bit(4)},
    {Processor::kHpsNode, 0, 0, bit(6)},
    {Processor::kSystem, bit(0) | bit(1), 0, 0, bit(8)},
    {Processor::kCm, 0, bit(2) | bit(5)},
    {Processor::kFab, 0, bit(3) | bit(4)},
    {Processor::kHps, 0, 0, bit(6) | bit(7), bit(8)},
}};

bool is_called_for(const Subscription &subscription, const Flags &flags) {
    return (subscription.fe & flags.fe) != 0 || (subscription.fab_cm & flags.fab_cm) != 0 ||
           (subscription.hps & flags.hps) != 0 || (subscription.lc_and_hps & flags.lc_and_hps) != 0;
}

// What each processor follows.
struct Source {
    int32_t db;
    const char *type;
};

Source source_of(Processor processor) {
    switch (processor) {
        case Processor::kSystem:
            return {28, "s_frame.cap_glb_state"};
        case Processor::kFab:
            return {28, "s_frame.cap_fab_glb_state"};
        case Processor::kCm:
            return {28, "s_frame.cap_cm_glb_state"};
        case Processor::kHps:
            return {28, "s_frame.cap_hps_glb_state"};
        case Processor::kFeNode:
        case Processor::kFabNode:
        case Processor::kHpsNode:
            return {28, "s_frame.cap_fe_ready"};
        case Processor::kCmNode:
            return {28, "p_libpub.cap_cm_ready"};
        case Processor::kInstall:
            return {1, "p_dev.card_info"};
        case Processor::kCheck:
            return {28, "p_libpub.app_df_card_deny_check_result"};
    }
    return {};
}

// Of a list of answers the next, or the usual one.
template <class Answer>
Answer next(const std::vector<Answer> &answers, size_t &asked) {
    const size_t number = asked++;
    return number < answers.size() ? answers[number] : Answer{};
}

}  // namespace

Outcome Model::play(const Step &step) {
    step_ = &step;
    scans_ = states_read_ = subscriptions_ = 0;
    additions_ = 0;
    outcome_ = {};
    outcome_.code = std::visit([this](const auto &action) { return act(action); }, step.action);

    State &state = outcome_.state;
    state.nodes.assign(nodes_.entries().begin(), nodes_.entries().end());
    state.loaded = loaded_;
    state.class_ready = class_ready_;
    state.flags = flags_;
    state.reconnecting = reconnecting_;
    outcome_.all_loaded = {all_loaded(Processor::kSystem), all_loaded(Processor::kFab), all_loaded(Processor::kCm),
                           all_loaded(Processor::kHps)};
    if (const auto node = node_of(step)) {
        outcome_.preinstall_card = nodes_.is_preinstalled(*node);
    }
    return std::move(outcome_);
}

int32_t Model::act(const Deliver &action) { return process(action.processor, action.report); }

int32_t Model::act(const DeliverNothing &) { return -4; }

int32_t Model::act(const ClearValidated &) {
    loaded_ = {};
    return 0;
}

int32_t Model::act(const Reconnect &) {
    reconnecting_ = 1;
    loaded_ = {};
    const Attempted subscribed = attempt([this] { return subscribe_all(); });
    reconnecting_ = subscribed.succeeded ? 0 : 1;
    return subscribed.code;
}

// The names are all taken: only the flags change, and those of the line cards are replaced.
int32_t Model::act(const AskForEvents &action) {
    switch (kRegistrations.at(action.registration).list) {
        case List::kFe:
            flags_.fe = action.mask;
            break;
        case List::kFab:
        case List::kCm:
            flags_.fab_cm |= action.mask;
            break;
        case List::kHps:
            flags_.hps |= action.mask;
            break;
        case List::kLcAndHps:
            flags_.lc_and_hps |= action.mask;
            break;
    }
    return 0;
}

int32_t Model::act(const Add &action) { return add(action.node) == nullptr ? -1 : 0; }

int32_t Model::act(const Delete &action) {
    nodes_.remove(action.node, action.config_dev_type);
    return 0;
}

int32_t Model::subscribe_all() {
    for (const Subscription &subscription : kSubscriptions) {
        if (!is_called_for(subscription, flags_)) {
            continue;
        }
        const Source source = source_of(subscription.processor);
        const Question question{Question::kSubscription, source.db, source.type, subscription.processor};
        const Attempted made = attempt([&] { return subscribe_once(question); });
        if (!made.succeeded) {
            return made.code;
        }
    }
    return 0;
}

int32_t Model::subscribe_once(const Question &question) {
    outcome_.questions.push_back(question);
    return next(step_->answers.subscriptions, subscriptions_);
}

int32_t Model::scan_once(Processor processor) {
    const Source source = source_of(processor);
    outcome_.questions.push_back({Question::kScan, source.db, source.type, processor});
    const ScanAnswer answer = next(step_->answers.scans, scans_);
    for (const Report &report : answer.reports) {
        process(processor, report);
    }
    return answer.status;
}

// A state that is not there is one that is not ready.
int32_t Model::read_state_once(Processor processor, bool &ready) {
    const Source source = source_of(processor);
    outcome_.questions.push_back({Question::kState, source.db, source.type, {}});
    const StateAnswer answer = next(step_->answers.states, states_read_);
    ready = answer.error == 0 && answer.exists && answer.ready != 0;
    return answer.error == 0 ? 0 : -21;
}

int32_t Model::load(Processor processor) {
    const Attempted scanned = attempt([&] { return scan_once(processor); });
    if (!scanned.succeeded) {
        return scanned.code;
    }
    switch (processor) {
        case Processor::kInstall:
            loaded_.install = 1;
            break;
        case Processor::kCheck:
            loaded_.check = 1;
            break;
        case Processor::kCmNode:
            loaded_.cm_node = 1;
            break;
        default:
            loaded_.fe_node = 1;
    }
    switch (processor) {
        case Processor::kFabNode:
            announce(Processor::kFab);
            break;
        case Processor::kCmNode:
            announce(Processor::kCm);
            break;
        case Processor::kHpsNode:
            announce(Processor::kHps);
            break;
        default:
            announce(Processor::kSystem);
    }
    return 0;
}

bool Model::wants(List list, int32_t event) const {
    switch (list) {
        case List::kFe:
            return (flags_.fe & bit(event)) != 0;
        case List::kFab:
        case List::kCm:
            return (flags_.fab_cm & bit(event)) != 0;
        case List::kHps:
            return (flags_.hps & bit(event)) != 0;
        case List::kLcAndHps:
            return (flags_.lc_and_hps & bit(event)) != 0;
    }
    return false;
}

// To all of a list in their order: on the line cards' to everybody, elsewhere to those that asked for the event.
void Model::send(List list, int32_t event, std::optional<int32_t> node, bool ready) {
    for (size_t i = 0; i < kRegistrations.size(); ++i) {
        const Registration &registration = kRegistrations.at(i);
        if (registration.list != list || (list != List::kFe && (registration.mask & bit(event)) == 0)) {
            continue;
        }
        outcome_.heard.push_back({i, event, node, ready, loaded_, class_ready_});
        if ((step_->clearing_events & bit(event)) != 0) {
            class_ready(class_of_event(event)) = 0;
        }
    }
}

}  // namespace property
