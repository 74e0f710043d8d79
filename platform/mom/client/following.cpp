// Who follows what, and what the store tells of it: into the queue.
#include <new>
#include <span>

#include "client/client.h"
#include "core/error.h"
#include "records/key.h"

namespace mom {

int32_t Client::subscribe(int32_t db, const ProtobufCMessageDescriptor &type, MomMsgCb cb) try {
    const std::string name = channel_of(db, type.name);
    if (const int32_t code = requested_store().follow(name)) {
        return code;
    }
    Channel &channel = subscriptions_.find_or_add(name, db, type.name);
    const uint64_t place = put({.kind = Queued::Kind::kConfirmation, .channel = &channel, .cb = cb});
    Subscriptions::put_record(channel, {.type = &type, .is_hash = index_of(type) != nullptr, .cb = cb, .since = place});
    return 0;
} catch (const std::bad_alloc &) {
    // The loss makes the program follow all its types again once the store is back. Else the one that found no memory
    // would be missed, because nobody asks for it again.
    store_->fall_behind("no memory to follow a type");
    throw;
}

int32_t Client::subscribe_fields(int32_t db, const ProtobufCMessage &request, std::span<const int32_t> field_ids,
                                 const MomFieldCb *cbs, void *const *args) {
    std::string key;
    if (const int32_t code = append_key(request, key)) {
        return code;
    }
    const std::string name = channel_of(db, key);
    if (const int32_t code = requested_store().follow(name)) {
        return code;
    }
    Channel &channel = subscriptions_.find_or_add(name, db, key);
    channel.fields.reserve(channel.fields.size() + field_ids.size());
    for (size_t i = 0; i < field_ids.size(); ++i) {
        channel.fields.push_back({.type = request.descriptor,
                                  .field = field_ids[i],
                                  .cb = cbs[i],
                                  .arg = args != nullptr ? args[i] : nullptr,
                                  .since = place_});
    }
    return 0;
}

void Client::on_notification(std::string_view channel_name, std::string_view notification) {
    Channel *channel = subscriptions_.find(channel_name);
    if (channel == nullptr) {
        return;
    }
    if (queue_.is_full()) {
        queue_.clear();
        store_->fall_behind("more notifications came than are kept waiting");
        return;
    }
    put({.kind = Queued::Kind::kNotification, .channel = channel}, notification);
}

void Client::on_restored() {
    const std::vector<Channel *> lasting = subscriptions_.with_fields();
    queue_.reserve(lasting.size() + kDatabases);  // from here on nothing fails: all are told, or none
    const Subscriptions::Count count = subscriptions_.count();
    subscriptions_.lapse_records();
    ++returns_;
    for (Channel *channel : lasting) {
        put({.kind = Queued::Kind::kPresent, .channel = channel});
    }
    bool has_callbacks = false;
    for (int32_t db = 0; db < kDatabases; ++db) {
        if (store_->is_connected(db)) {
            put({.kind = Queued::Kind::kRestored, .db = db});
            has_callbacks = has_callbacks || (reconnect_cbs_[static_cast<size_t>(db)] != nullptr);
        }
    }
    standing_.back(
        {.field_subscriptions = count.fields, .record_subscriptions = count.records, .has_callbacks = has_callbacks});
}

std::vector<std::string> Client::lasting_channels() const {
    std::vector<std::string> names;
    for (const Channel *channel : subscriptions_.with_fields()) {
        names.push_back(channel->name);
    }
    return names;
}

uint64_t Client::put(Queued queued, std::string_view notification) {
    queued.place = place_ + 1;
    queue_.push(queued, notification);
    return ++place_;
}

}  // namespace mom
