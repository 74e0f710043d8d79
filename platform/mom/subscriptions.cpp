#include "subscriptions.h"

#include <algorithm>

namespace mom {

Subscriptions::ChannelPtr Subscriptions::find(std::string_view name) const {
    const auto found = channels_.find(name);
    return found == channels_.end() ? nullptr : found->second;
}

Subscriptions::ChannelPtr Subscriptions::find_or_add(const std::string &name, int32_t db, std::string_view key) {
    ChannelPtr &channel = channels_[name];
    if (!channel) {
        channel = std::make_shared<Channel>(Channel{.db = db, .key = std::string(key), .records = {}, .fields = {}});
    }
    return channel;
}

void Subscriptions::put_record(Channel &channel, const RecordSubscription &subscription) {
    const auto same = std::ranges::find(channel.records, subscription.cb, &RecordSubscription::cb);
    if (same == channel.records.end()) {
        channel.records.push_back(subscription);
    } else {
        *same = subscription;
    }
}

const RecordSubscription *Subscriptions::find_record(const Channel &channel, MomMsgCb cb) {
    const auto found = std::ranges::find(channel.records, cb, &RecordSubscription::cb);
    return found == channel.records.end() ? nullptr : &*found;
}

void Subscriptions::forget_records() {
    for (const auto &entry : channels_) {
        entry.second->records.clear();
    }
}

std::map<std::string, Subscriptions::ChannelPtr> Subscriptions::with_fields() const {
    std::map<std::string, ChannelPtr> chosen;
    std::ranges::copy_if(channels_, std::inserter(chosen, chosen.end()),
                         [](const auto &entry) { return !entry.second->fields.empty(); });
    return chosen;
}

}  // namespace mom
