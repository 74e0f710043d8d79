// The processors of the model, and what they announce.
#include "model.h"

namespace property {
namespace {

struct CardClass {
    List list;
    int32_t class_event;
    int32_t node_event;
    int32_t node_type;  // of the nodes that are announced before they are in real time
};

// By the processor of the class's state.
CardClass card_class(Processor state) {
    switch (state) {
        case Processor::kFab:
            return {List::kFab, 3, 4, 5};
        case Processor::kCm:
            return {List::kCm, 2, 5, 2};
        case Processor::kHps:
            return {List::kHps, 7, 6, 7};
        default:
            return {List::kFe, 0, 1, 3};
    }
}

// What a delivery with that flaw is answered with; 0 when the processor does not mind it.
int32_t code_of(Flaw flaw, Processor processor) {
    switch (flaw) {
        case Flaw::kNone:
            return 0;
        case Flaw::kNoResult:
        case Flaw::kErrorCode:
            return -21;
        case Flaw::kNoRecord:
        case Flaw::kNoIndex:
            return -4;
        case Flaw::kNoStaticInfo:
            return processor == Processor::kInstall ? -4 : 0;
    }
    return 0;
}

}  // namespace

int32_t Model::process(Processor processor, const Report &report) {
    if (follows_a_state(processor)) {
        switch (report.cmd) {
            case 29:
                return state_confirmed(processor);
            case 1:
                return state_written(processor, report);
            default:
                return 0;
        }
    }
    const bool is_install = processor == Processor::kInstall;
    const bool is_check = processor == Processor::kCheck;
    if (report.cmd == 29) {
        return load(processor);
    }
    if (report.cmd == 4 || (report.cmd == 6 && (is_install || is_check))) {
        if (const int32_t code = code_of(report.flaw, processor); code != 0) {
            return code;
        }
        switch (processor) {
            case Processor::kFeNode:
                return fe_node(report);
            case Processor::kFabNode:
                return fab_node(report);
            case Processor::kCmNode:
                return cm_node(report);
            case Processor::kHpsNode:
                return hps_node(report);
            case Processor::kInstall:
                return installed(report);
            default:
                return checked(report);
        }
    }
    if (report.cmd == 3 && (is_install || is_check || processor == Processor::kFeNode)) {
        if (report.flaw == Flaw::kNoRecord || report.flaw == Flaw::kNoIndex) {
            return -4;
        }
        return is_install ? removed(report) : is_check ? check_withdrawn(report) : fe_node_deleted(report);
    }
    return 0;
}

int32_t Model::state_confirmed(Processor processor) {
    bool ready = false;
    const Attempted read = attempt([&] { return read_state_once(processor, ready); });
    if (!read.succeeded) {
        return read.code;
    }
    class_ready(processor) = ready ? 1 : 0;
    if (processor == Processor::kSystem) {
        loaded_.state[0] = 1;
        system_tail();
    } else {
        class_tail(processor, true);
    }
    return 0;
}

int32_t Model::state_written(Processor processor, const Report &report) {
    class_ready(processor) = report.flaw == Flaw::kNone && report.ready != 0 ? 1 : 0;
    processor == Processor::kSystem ? system_tail() : class_tail(processor, false);
    return 0;
}

// The device announces before it tells ...
void Model::system_tail() {
    announce(Processor::kSystem);
    if (class_ready(Processor::kSystem) && wants(List::kFe, 0)) {
        send(List::kFe, 0);
    }
    if (class_ready(Processor::kSystem) && wants(List::kLcAndHps, 8)) {
        send(List::kLcAndHps, 8);
    }
}

// ... and the classes tell before they announce.
void Model::class_tail(Processor processor, bool confirmed) {
    const CardClass own = card_class(processor);
    if (class_ready(processor) && wants(own.list, own.class_event)) {
        send(own.list, own.class_event);
    }
    if (processor == Processor::kHps && class_ready(processor) && wants(List::kLcAndHps, 8)) {
        send(List::kLcAndHps, 8);
    }
    if (confirmed) {
        loaded_.state.at(static_cast<size_t>(processor)) = 1;
    }
    announce(processor);
}

bool Model::all_loaded(Processor state) const {
    switch (state) {
        case Processor::kFab:
            return loaded_.install && loaded_.state[1] && loaded_.fe_node;
        case Processor::kCm:
            return loaded_.install && loaded_.state[2] && loaded_.cm_node;
        case Processor::kHps:
            return loaded_.install && loaded_.state[3] && loaded_.fe_node;
        default:
            return loaded_.install && loaded_.state[0] && loaded_.fe_node && loaded_.check;
    }
}

// Nodes that are ready and installed, but not yet in real time. The fabric's are asked for by the control modules' bit.
void Model::announce(Processor state) {
    const CardClass own = card_class(state);
    const int32_t asked_by = state == Processor::kFab ? 5 : own.node_event;
    if (!all_loaded(state) || !class_ready(state) || !wants(own.list, asked_by)) {
        return;
    }
    for (const Node &entry : nodes_.entries()) {
        if (entry.node_type == own.node_type && entry.ready && !entry.real_time && entry.dm_install &&
            class_ready(state)) {
            send(own.list, own.node_event, entry.node, true);
        }
    }
}

}  // namespace property
