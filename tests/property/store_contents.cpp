#include "store_contents.h"

#include <algorithm>

#include "trel_cap/records.h"

namespace property {
namespace {

template <class Record>
Report readiness(const ProtobufCMessage &message) {
    const auto &record = reinterpret_cast<const Record &>(message);
    Report report;
    report.node = record.index->node;
    report.config_dev_type = record.index->config_dev_type;
    report.devid = record.devid;
    report.slotid = record.slotid;
    report.sslotid = record.sslotid;
    report.node_type = record.node_type;
    report.ready = record.ready;
    report.real_time = record.real_time;
    return report;
}

template <class Record>
Report card(const Record &record) {
    Report report;
    report.node = record.card_nodeid;
    report.config_dev_type = record.config_dev_type;
    report.devid = record.index->devid;
    report.slotid = record.index->slotid;
    report.sslotid = record.index->sslotid;
    return report;
}

// Less what the type does not carry.
Report carried(Processor type, Report report) {
    report.cmd = Report().cmd;
    if (follows_a_state(type)) {
        Report state;
        state.ready = report.ready;
        return state;
    }
    const bool is_readiness = type == Processor::kFeNode || type == Processor::kCmNode;
    report.ready = is_readiness ? report.ready : 0;
    report.real_time = is_readiness ? report.real_time : 0;
    report.is_online = type == Processor::kInstall ? report.is_online : 0;
    report.node_type = type == Processor::kCheck ? 0 : report.node_type;
    report.denied = type == Processor::kCheck && report.denied;
    return report;
}

}  // namespace

Processor type_of(Processor processor) {
    return processor == Processor::kFabNode || processor == Processor::kHpsNode ? Processor::kFeNode : processor;
}

Report report_of(Processor type, const ProtobufCMessage &message) {
    switch (type) {
        case Processor::kFeNode:
            return readiness<CapFeReady>(message);
        case Processor::kCmNode:
            return readiness<CapCmReady>(message);
        case Processor::kInstall: {
            const auto &record = reinterpret_cast<const CardInfo &>(message);
            Report report = card(record);
            report.node_type = record.static_info->node_type;
            report.is_online = record.is_online;
            return report;
        }
        case Processor::kCheck: {
            const auto &record = reinterpret_cast<const AppDfCardDenyCheckResult &>(message);
            Report report = card(record);
            report.denied = record.stat == APP_DF_CHECK_DENY;
            return report;
        }
        default: {
            // The states are alike.
            Report report;
            report.ready = reinterpret_cast<const CapGlbState &>(message).ready;
            return report;
        }
    }
}

StoreContents::Key StoreContents::key_of(Processor type, const Report &report) {
    if (follows_a_state(type)) {
        return {type, {}};
    }
    if (type == Processor::kInstall || type == Processor::kCheck) {
        return {type, {report.devid, report.slotid, report.sslotid}};
    }
    return {type, {report.node, report.config_dev_type, 0}};
}

void StoreContents::write(Processor type, const Report &report) {
    records_[key_of(type, report)] = carried(type, report);
}

std::optional<Report> StoreContents::erase(Processor type, const Report &report) {
    const auto found = records_.find(key_of(type, report));
    if (found == records_.end()) {
        return std::nullopt;
    }
    const Report erased = found->second;
    records_.erase(found);
    return erased;
}

bool StoreContents::are(Processor type, std::vector<Report> reports) const {
    std::vector<Report> held;
    for (const auto &[key, report] : records_) {
        if (key.type == type) {
            held.push_back(report);
        }
    }
    return std::is_permutation(held.begin(), held.end(), reports.begin(), reports.end());
}

std::vector<Deliver> StoreContents::missed(const StoreContents &now, const std::vector<Processor> &following) const {
    std::vector<Deliver> missed;
    for (const auto &[key, report] : records_) {
        const auto found = now.records_.find(key);
        Report told = found == now.records_.end() ? report : found->second;
        const bool is_as_it_was = told == report;
        told.cmd = found == now.records_.end() ? 3 : follows_a_state(key.type) ? 1 : 4;
        for (const Processor processor : following) {
            if (type_of(processor) == key.type && (told.cmd == 3 || !is_as_it_was)) {
                missed.push_back({processor, told});
            }
        }
    }
    return missed;
}

std::vector<Deliver> StoreContents::fresh(const StoreContents &now, const std::vector<Processor> &following) const {
    std::vector<Deliver> fresh;
    for (const auto &[key, report] : now.records_) {
        const auto known = records_.find(key);
        for (const Processor processor : following) {
            if (type_of(processor) == key.type && (known == records_.end() || !(known->second == report))) {
                fresh.push_back({processor, report});
                fresh.back().report.cmd = follows_a_state(key.type) ? 1 : 4;
            }
        }
    }
    return fresh;
}

void StoreContents::load(const StoreContents &now, const std::vector<Processor> &following) {
    for (const auto &[key, report] : now.records_) {
        const bool is_followed = std::ranges::any_of(
            following, [type = key.type](Processor processor) { return type_of(processor) == type; });
        if (is_followed && !follows_a_state(key.type)) {
            records_[key] = report;
        }
    }
}

std::optional<Report> StoreContents::state(Processor type) const {
    const auto found = records_.find({type, {}});
    return found == records_.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace property
