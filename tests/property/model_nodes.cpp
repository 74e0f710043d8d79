// The model's records of nodes: their readiness, their installation and their check.
#include "model.h"

namespace property {
namespace {

// The application's check is asked about the other cards only.
bool needs_no_check(int32_t node_type) { return node_type == 1 || node_type == 2 || node_type == 5 || node_type == 7; }

bool is_checked(const Node &entry) { return entry.app_df_chk && !entry.cns; }

}  // namespace

Node *Model::add(const Node &node) {
    const bool fails = (step_->failing_additions >> additions_++ & 1) != 0;
    return fails ? nullptr : nodes_.add(node);
}

Node *Model::found_or_added(Node *found, const Report &report) {
    if (found != nullptr) {
        return found;
    }
    Node fresh;
    fresh.node = report.node;
    fresh.config_dev_type = report.config_dev_type;
    fresh.devid = report.devid;
    fresh.slotid = report.slotid;
    fresh.sslotid = report.sslotid;
    return add(fresh);
}

Node *Model::update_readiness(Node *found, const Report &report) {
    Node *entry = found_or_added(found, report);
    if (entry != nullptr) {
        entry->ready = report.ready != 0 ? 1 : 0;
        entry->real_time = report.real_time != 0 ? 1 : 0;
        entry->node_type = report.node_type;
    }
    return entry;
}

void Model::tell_readiness(const Node &entry, bool ready, bool taken_for_ready, List list, int32_t event) {
    if (ready) {
        send(list, event, entry.node, true);
    } else if (!taken_for_ready && !nodes_.is_fully_ready(entry.node)) {
        send(list, event, entry.node, false);
    }
}

int32_t Model::fe_node(const Report &report) {
    Node *entry = update_readiness(nodes_.find(report.node), report);
    if (entry == nullptr) {
        return -11;
    }
    entry->config_dev_type = report.config_dev_type;
    const int32_t type = entry->node_type;
    if (type == 7 || !entry->dm_install || (!needs_no_check(type) && !is_checked(*entry))) {
        return 0;
    }
    tell_readiness(*entry, entry->ready && entry->real_time, entry->ready, List::kFe, 1);
    return 0;
}

int32_t Model::fe_node_deleted(const Report &report) {
    Node *entry = nodes_.find(report.node);
    if (entry == nullptr) {
        return 0;
    }
    entry->config_dev_type = report.config_dev_type;
    entry->real_time = 0;
    entry->ready = 0;
    tell_readiness(*entry, false, false, List::kFe, 1);
    return 0;
}

int32_t Model::fab_node(const Report &report) {
    Node *entry = update_readiness(nodes_.find(report.node), report);
    if (entry == nullptr) {
        return -11;
    }
    entry->config_dev_type = report.config_dev_type;
    if (entry->dm_install && entry->node_type == 5) {
        tell_readiness(*entry, entry->ready && entry->real_time, entry->ready, List::kFab, 4);
    }
    return 0;
}

// A control module is told of before it is in real time.
int32_t Model::cm_node(const Report &report) {
    Node *entry = update_readiness(nodes_.find(report.node), report);
    if (entry == nullptr) {
        return -11;
    }
    entry->config_dev_type = report.config_dev_type;
    if (entry->dm_install) {
        tell_readiness(*entry, entry->ready, false, List::kCm, 5);
    }
    return 0;
}

// Two cards may have the same node here, with a device type each.
int32_t Model::hps_node(const Report &report) {
    const Node *entry = update_readiness(nodes_.find(report.node, report.config_dev_type), report);
    if (entry == nullptr) {
        return -11;
    }
    if (entry->dm_install && entry->node_type == 7) {
        tell_readiness(*entry, entry->ready && entry->real_time, entry->ready, List::kHps, 6);
    }
    return 0;
}

int32_t Model::installed(const Report &report) {
    Node *entry = found_or_added(nodes_.find(report.node), report);
    if (entry == nullptr) {
        return -11;
    }
    entry->is_online = report.is_online != 0 ? 1 : 0;
    entry->node_type = report.node_type;
    entry->config_dev_type = report.config_dev_type;
    entry->dm_install = 1;
    if (!entry->ready || !entry->real_time || (!needs_no_check(entry->node_type) && !is_checked(*entry))) {
        return 0;
    }
    const auto tell = [&](List list, int32_t event) {
        if (wants(list, event)) {
            send(list, event, entry->node, true);
        }
    };
    switch (entry->node_type) {
        case 1:
        case 3:
        case 6:
            tell(List::kFe, 1);
            break;
        case 2:
            tell(List::kCm, 5);
            break;
        case 5:
            tell(List::kFab, 4);
            break;
        case 7:
            tell(List::kHps, 6);
            break;
        default:
            break;
    }
    return 0;
}

// Told to those who follow the line cards, whatever the card was.
int32_t Model::removed(const Report &report) {
    nodes_.remove(report.node, report.config_dev_type);
    if (!nodes_.is_fully_ready(report.node)) {
        send(List::kFe, 1, report.node, false);
    }
    return 0;
}

int32_t Model::checked(const Report &report) {
    Node *entry = found_or_added(nodes_.find(report.node), report);
    if (entry == nullptr) {
        return -11;
    }
    entry->config_dev_type = report.config_dev_type;
    if (needs_no_check(entry->node_type)) {
        return 0;
    }
    entry->app_df_chk = 1;
    entry->cns = report.denied ? 1 : 0;
    if (report.denied) {
        send(List::kFe, 1, entry->node, false);
    } else if (nodes_.is_fully_ready(entry->node)) {
        send(List::kFe, 1, entry->node, true);
    }
    return 0;
}

int32_t Model::check_withdrawn(const Report &report) {
    if (Node *entry = nodes_.find(report.node)) {
        entry->cns = 0;
        entry->app_df_chk = 0;
        entry->config_dev_type = report.config_dev_type;
    }
    return 0;
}

}  // namespace property
