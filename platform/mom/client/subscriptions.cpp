#include "client/subscriptions.h"

#include <algorithm>
#include <utility>

namespace mom {

Channel *Subscriptions::find(std::string_view name) {
    if (last_found_ != nullptr && last_found_->name == name) {
        return last_found_;
    }
    const auto found = channels_.find(name);
    return found == channels_.end() ? nullptr : last_found_ = found->second.get();
}

Channel &Subscriptions::find_or_add(const std::string &name, int32_t db, std::string_view key) {
    if (const auto found = channels_.find(name); found != channels_.end()) {
        return *found->second;
    }
    auto channel = std::make_unique<Channel>(
        Channel{.name = name, .db = db, .key = std::string(key), .records = {}, .fields = {}});
    return *channels_.emplace(name, std::move(channel)).first->second;
}

void Subscriptions::put_record(Channel &channel, const RecordSubscription &subscription) {
    const auto same = std::ranges::find(channel.records, subscription.cb, &RecordSubscription::cb);
    if (same == channel.records.end()) {
        channel.records.push_back(subscription);
    } else {
        const RecordSubscription before = std::exchange(*same, subscription);
        same->since = before.has_been_confirmed() ? before.since : subscription.since;
        same->lapsed_before = before.lapsed_before;
    }
}

RecordSubscription *Subscriptions::find_unconfirmed(Channel &channel, MomMsgCb cb, uint64_t place) {
    const auto found = std::ranges::find_if(channel.records, [&](const RecordSubscription &subscription) {
        return subscription.cb == cb && subscription.is_unconfirmed() && subscription.confirmation == place;
    });
    return found == channel.records.end() ? nullptr : &*found;
}

void Subscriptions::lapse_records() noexcept {
    for (const auto &[name, channel] : channels_) {
        for (RecordSubscription &subscription : channel->records) {
            subscription.state = RecordSubscription::State::kLapsed;
            subscription.lapsed_before = true;
        }
        channel->is_compared = channel->records.empty();
    }
}

std::vector<Channel *> Subscriptions::to_compare() const {
    std::vector<Channel *> chosen;
    for (const auto &[name, channel] : channels_) {
        if (!channel->is_compared && channel->has_records()) {
            chosen.push_back(channel.get());
        }
    }
    return chosen;
}

Subscriptions::Count Subscriptions::count() const {
    Count count;
    for (const auto &channel : channels_) {
        count.records +=
            static_cast<size_t>(std::ranges::count_if(channel.second->records, &RecordSubscription::stands));
        count.fields += channel.second->fields.size();
    }
    return count;
}

std::vector<Channel *> Subscriptions::with_fields() const {
    std::vector<Channel *> chosen;
    for (const auto &entry : channels_) {
        if (!entry.second->fields.empty()) {
            chosen.push_back(entry.second.get());
        }
    }
    return chosen;
}

}  // namespace mom
