// What following readiness means, told a second time and as plainly as it goes: nothing of the library is in it. A
// model is one thread's library from its start on.
#pragma once

#include "history.h"
#include "node_model.h"
#include "outcome.h"

namespace property {

class Model {
public:
    Outcome play(const Step &step);

private:
    struct Attempted {
        bool succeeded;  // at the first attempt
        int32_t code;
    };
    template <class Attempt>
    Attempted attempt(Attempt once);

    int32_t act(const Deliver &action);
    int32_t act(const DeliverNothing &action);
    int32_t act(const ClearValidated &action);
    int32_t act(const Reconnect &action);
    int32_t act(const AskForEvents &action);
    int32_t act(const Add &action);
    int32_t act(const Delete &action);

    int32_t process(Processor processor, const Report &report);

    // The state of the device or of a class.
    int32_t state_confirmed(Processor processor);
    int32_t state_written(Processor processor, const Report &report);
    void system_tail();
    void class_tail(Processor processor, bool confirmed);

    // Records of nodes.
    int32_t load(Processor processor);
    int32_t fe_node(const Report &report);
    int32_t fe_node_deleted(const Report &report);
    int32_t fab_node(const Report &report);
    int32_t cm_node(const Report &report);
    int32_t hps_node(const Report &report);
    int32_t installed(const Report &report);
    int32_t removed(const Report &report);
    int32_t checked(const Report &report);
    int32_t check_withdrawn(const Report &report);

    // The entry with what a readiness record says of it; NULL when it could not be added.
    Node *update_readiness(Node *found, const Report &report);
    Node *found_or_added(Node *found, const Report &report);
    Node *add(const Node &node);
    // Tells that the node is ready, or that it is not unless an entry of it still is.
    void tell_readiness(const Node &entry, bool ready, bool taken_for_ready, List list, int32_t event);

    void announce(Processor state);
    bool all_loaded(Processor state) const;
    bool wants(List list, int32_t event) const;
    void send(List list, int32_t event, std::optional<int32_t> node = {}, bool ready = false);

    int32_t subscribe_all();
    int32_t subscribe_once(const Question &question);
    int32_t scan_once(Processor processor);
    int32_t read_state_once(Processor processor, bool &ready);

    int32_t &class_ready(Processor state) { return class_ready_.at(static_cast<size_t>(state)); }

    Flags flags_;
    NodeModel nodes_;
    Loaded loaded_;
    std::array<int32_t, 4> class_ready_ = {};
    int32_t reconnecting_ = 0;

    // Of the present step.
    const Step *step_ = nullptr;
    size_t scans_ = 0;
    size_t states_read_ = 0;
    size_t subscriptions_ = 0;
    uint32_t additions_ = 0;
    Outcome outcome_;
};

// An attempt that fails is made again: once for the log when that is open, once for the result.
template <class Attempt>
Model::Attempted Model::attempt(Attempt once) {
    if (once() == 0) {
        return {true, 0};
    }
    if (step_->log_level != 0) {
        once();
    }
    return {false, once()};
}

}  // namespace property
