// Histories and outcomes in words.

#include <ostream>
#include <sstream>

#include "history.h"
#include "outcome.h"

namespace property {
namespace {

const char *name_of(Processor processor) {
    constexpr std::array<const char *, kProcessors> kNames = {"system",   "fab",     "cm",       "hps",     "fe node",
                                                              "fab node", "cm node", "hps node", "install", "check"};
    return kNames.at(static_cast<size_t>(processor));
}

const char *text_of(Flaw flaw) {
    constexpr std::array<const char *, 6> kTexts = {
        "", " without result", " with an error code", " NULL record", " without index", " without static info"};
    return kTexts.at(static_cast<size_t>(flaw));
}

void print_report(std::ostream &out, Processor processor, const Report &report) {
    out << processor << " <- cmd " << report.cmd << text_of(report.flaw);
    if (report.cmd == 29 || report.flaw == Flaw::kNoResult || report.flaw == Flaw::kNoRecord) {
        return;
    }
    if (follows_a_state(processor)) {
        out << ": ready " << report.ready;
        return;
    }
    out << ": node " << report.node << " type " << report.config_dev_type << " at " << report.devid << '/'
        << report.slotid << '/' << report.sslotid;
    if (processor == Processor::kCheck) {
        out << (report.denied ? ", denied" : ", passed");
    } else if (processor == Processor::kInstall) {
        out << ", node_type " << report.node_type << ", is_online " << report.is_online;
    } else {
        out << ", node_type " << report.node_type << ", ready " << report.ready << ", real_time " << report.real_time;
    }
}

void print_answers(std::ostream &out, Processor scanning, const Answers &answers) {
    for (const ScanAnswer &answer : answers.scans) {
        out << "\n        a scan finds, with status " << answer.status << ':';
        for (const Report &report : answer.reports) {
            out << "\n            ";
            print_report(out, scanning, report);
        }
    }
    for (const StateAnswer &answer : answers.states) {
        out << "\n        the state is ";
        if (answer.exists) {
            out << "ready " << answer.ready;
        } else {
            out << "missing";
        }
        out << ", error " << answer.error;
    }
    for (const int32_t status : answers.subscriptions) {
        out << "\n        a subscription answers " << status;
    }
}

struct Printer {
    std::ostream &out;

    void operator()(const Deliver &action) const { print_report(out, action.processor, action.report); }
    void operator()(const DeliverNothing &action) const { out << action.processor << " <- NULL"; }
    void operator()(const ClearValidated &) const { out << "clear the validated flags"; }
    void operator()(const Reconnect &) const { out << "reconnect"; }
    void operator()(const AskForEvents &action) const {
        const Registration &registration = kRegistrations.at(action.registration);
        out << "register " << registration.list << " \"" << registration.name << "\" again, for " << std::hex << "0x"
            << action.mask << std::dec;
    }
    void operator()(const Add &action) const { out << "add " << action.node; }
    void operator()(const Delete &action) const {
        out << "delete node " << action.node << " type " << action.config_dev_type;
    }
};

template <class Value>
std::string text(const Value &value) {
    std::ostringstream out;
    out << value;
    return out.str();
}

template <class Value>
std::string texts(const std::vector<Value> &values) {
    std::ostringstream out;
    for (const Value &value : values) {
        out << "\n        " << value;
    }
    return values.empty() ? "\n        nothing" : out.str();
}

std::string versus(const std::string &what, const std::string &expected, const std::string &seen) {
    return what + "\n    expected " + expected + "\n    seen     " + seen + "\n";
}

template <class Values>
std::string joined(const Values &values) {
    std::ostringstream out;
    for (const auto &value : values) {
        out << static_cast<int32_t>(value) << ' ';
    }
    return out.str();
}

std::string text_of(const Loaded &loaded) {
    std::ostringstream out;
    out << "install " << loaded.install << ", check " << loaded.check << ", fe node " << loaded.fe_node << ", cm node "
        << loaded.cm_node << ", system, fab, cm, hps " << joined(loaded.state);
    return out.str();
}

std::string text_of(const Flags &flags) {
    std::ostringstream out;
    out << std::hex << "fe 0x" << flags.fe << ", fab and cm 0x" << flags.fab_cm << ", hps 0x" << flags.hps
        << ", lc and hps 0x" << flags.lc_and_hps;
    return out.str();
}

std::string state_difference(const State &expected, const State &seen) {
    if (expected.nodes != seen.nodes) {
        return versus("the node list", texts(expected.nodes), texts(seen.nodes));
    }
    if (expected.loaded != seen.loaded) {
        return versus("the validated flags", text_of(expected.loaded), text_of(seen.loaded));
    }
    if (expected.class_ready != seen.class_ready) {
        return versus("the readiness of system, fab, cm, hps", joined(expected.class_ready), joined(seen.class_ready));
    }
    if (expected.flags != seen.flags) {
        return versus("the flags", text_of(expected.flags), text_of(seen.flags));
    }
    if (expected.reconnecting != seen.reconnecting) {
        return versus("reconnecting", text(expected.reconnecting), text(seen.reconnecting));
    }
    return {};
}

}  // namespace

std::ostream &operator<<(std::ostream &out, Processor processor) { return out << name_of(processor); }

std::ostream &operator<<(std::ostream &out, List list) {
    constexpr std::array<const char *, 5> kNames = {"fe", "fab", "cm", "hps", "lc and hps"};
    return out << kNames.at(static_cast<size_t>(list));
}

std::ostream &operator<<(std::ostream &out, const Step &step) {
    std::visit(Printer{out}, step.action);
    out << "  [log level " << step.log_level;
    if (step.failing_additions != 0) {
        out << std::hex << ", failing additions 0x" << step.failing_additions << std::dec;
    }
    if (step.clearing_events != 0) {
        out << std::hex << ", clearing events 0x" << step.clearing_events << std::dec;
    }
    out << ']';
    const auto *deliver = std::get_if<Deliver>(&step.action);
    print_answers(out, deliver == nullptr ? Processor::kSystem : deliver->processor, step.answers);
    return out;
}

std::ostream &operator<<(std::ostream &out, const Node &node) {
    return out << "node " << node.node << " type " << node.config_dev_type << " at " << node.devid << '/' << node.slotid
               << '/' << node.sslotid << ", is_online " << node.is_online << ", cns " << node.cns << ", ready "
               << node.ready << ", node_type " << node.node_type << ", real_time " << node.real_time << ", dm_install "
               << node.dm_install << ", app_df_chk " << node.app_df_chk;
}

std::ostream &operator<<(std::ostream &out, const Heard &heard) {
    const Registration &registration = kRegistrations.at(heard.registration);
    out << registration.list << " \"" << registration.name << "\": event " << heard.event;
    if (heard.node.has_value()) {
        out << ", node " << *heard.node << ", ready " << heard.ready;
    }
    return out << "  (validated: " << text_of(heard.loaded) << "; ready " << joined(heard.class_ready) << ')';
}

std::ostream &operator<<(std::ostream &out, const Question &question) {
    constexpr std::array<const char *, 3> kKinds = {"scan", "get", "subscribe"};
    out << kKinds.at(question.kind) << " database " << question.db << ' ' << question.type;
    if (question.processor.has_value()) {
        out << " with " << *question.processor;
    }
    return out;
}

std::string difference(const Outcome &expected, const Outcome &seen) {
    if (expected.heard != seen.heard) {
        return versus("the events", texts(expected.heard), texts(seen.heard));
    }
    if (expected.questions != seen.questions) {
        return versus("the store", texts(expected.questions), texts(seen.questions));
    }
    if (expected.code != seen.code) {
        return versus("the result", text(expected.code), text(seen.code));
    }
    if (std::string found = state_difference(expected.state, seen.state); !found.empty()) {
        return found;
    }
    if (expected.all_loaded != seen.all_loaded) {
        return versus("all validated of system, fab, cm, hps", joined(expected.all_loaded), joined(seen.all_loaded));
    }
    if (expected.preinstall_card != seen.preinstall_card) {
        return versus("whether it is a preinstall card", text(expected.preinstall_card.value_or(-1)),
                      text(seen.preinstall_card.value_or(-1)));
    }
    return {};
}

std::optional<int32_t> node_of(const Step &step) {
    if (const auto *deliver = std::get_if<Deliver>(&step.action)) {
        return follows_a_state(deliver->processor) ? std::nullopt : std::optional(deliver->report.node);
    }
    if (const auto *add = std::get_if<Add>(&step.action)) {
        return add->node.node;
    }
    if (const auto *deleted = std::get_if<Delete>(&step.action)) {
        return deleted->node;
    }
    return std::nullopt;
}

}  // namespace property
