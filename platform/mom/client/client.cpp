#include "client/client.h"

#include <algorithm>
#include <new>
#include <optional>
#include <utility>

#include "core/error.h"
#include "records/encoding.h"

namespace mom {

Client::Client(const StoreName &name) : standing_(name.shown) {}

Client::~Client() = default;

MomClient *Client::create(const StoreName &name, Millis timeout) {
    std::unique_ptr<Client> client(new Client(name));
    if (!client->loop_.open()) {
        fail(OX_MOM_E_MEMORY, "no descriptors or memory left for a client");
        return nullptr;
    }
    client->store_ = name.kind == StoreName::Kind::kMem ? make_mem_store(name.name, client->loop_, *client)
                                                        : make_redis_store(name, client->loop_, *client, timeout);
    client->handle_ = MomClient::of(*client);
    return client.release()->handle_;
}

Client::CallScope::~CallScope() {
    client_.cancel_state_ = outer_cancel_state_;
    if (--client_.depth_ > 0) {
        return;
    }
    if (client_.destroyed_) {
        delete &client_;
    } else if (client_.has_waiting()) {
        client_.loop_.wake();
    }
}

void Client::destroy() {
    destroyed_ = true;
    handle_->close();
}

int32_t Client::check_number(int32_t db) {
    const bool valid = db >= 0 && db < kDatabases;
    return valid ? 0 : fail(OX_MOM_E_ARGUMENT, "database %d: 0 to %d expected", db, kDatabases - 1);
}

int32_t Client::check_connected(int32_t db) const {
    const int32_t code = check_number(db);
    if (code == 0 && !store_->is_connected(db)) {
        return fail(OX_MOM_E_NOT_CONNECTED, "database %d has not been connected", db);
    }
    return code;
}

int32_t Client::connect(int32_t db) {
    if (const int32_t code = check_number(db)) {
        return code;
    }
    const int32_t code = requested_store().connect(db);
    if (code != 0) {
        standing_.refused(code, last_error());
    }
    return code;
}

int32_t Client::set_reconnect_cb(int32_t db, MomReconnectCb cb) {
    const int32_t code = check_number(db);
    if (code == 0) {
        reconnect_cbs_[static_cast<size_t>(db)] = cb;
    }
    return code;
}

// Following.

int32_t Client::subscribe(int32_t db, const ProtobufCMessageDescriptor &type, MomMsgCb cb) {
    const std::string name = channel_of(db, type.name);
    if (const int32_t code = requested_store().follow(name)) {
        return code;
    }
    Channel &channel = subscriptions_.find_or_add(name, db, type.name);
    const uint64_t place = put({.kind = Delivery::Kind::kConfirmation, .channel = &channel, .cb = cb});
    Subscriptions::put_record(channel, {.type = &type, .cb = cb, .since = place});
    return 0;
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
                                  .arg = args ? args[i] : nullptr,
                                  .since = place_});
    }
    return 0;
}

void Client::on_notification(std::string_view channel_name, std::string_view notification) {
    Channel *channel = subscriptions_.find(channel_name);
    if (!channel) {
        return;
    }
    if (queue_.is_full()) {
        queue_.clear();
        store_->fall_behind("more notifications came than are kept waiting");
        return;
    }
    put({.kind = Delivery::Kind::kNotification, .channel = channel}, notification);
}

void Client::on_restored() {
    const std::vector<Channel *> lasting = subscriptions_.with_fields();
    queue_.reserve(lasting.size() + kDatabases);  // from here on nothing fails: all are told, or none
    const Subscriptions::Count count = subscriptions_.count();
    subscriptions_.lapse_records();
    ++returns_;
    for (Channel *channel : lasting) {
        put({.kind = Delivery::Kind::kPresent, .channel = channel});
    }
    bool has_callbacks = false;
    for (int32_t db = 0; db < kDatabases; ++db) {
        if (store_->is_connected(db)) {
            put({.kind = Delivery::Kind::kRestored, .db = db});
            has_callbacks = has_callbacks || reconnect_cbs_[static_cast<size_t>(db)];
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

uint64_t Client::put(Delivery delivery, std::string_view notification) {
    delivery.place = place_ + 1;
    queue_.push(delivery, notification);
    return ++place_;
}

void Client::show(MomClientStatus &status) {
    const Subscriptions::Count count = subscriptions_.count();
    standing_.show(status);
    status.record_subscriptions = static_cast<uint32_t>(count.records);
    status.field_subscriptions = static_cast<uint32_t>(count.fields);
    status.waiting = queue_.size() + store_->untold();
    status.delivered = delivered_;
    status.requests = requests_;
    status.timed_out = timed_out_;
}

// Delivering.

int32_t Client::process(int32_t timeout_ms) {
    std::optional<Millis> left;
    TimePoint deadline;
    if (timeout_ms >= 0) {
        left = Millis(timeout_ms);
        deadline = timeout_ms > 0 ? Clock::now() + *left : deadline;
    }
    for (;;) {
        const bool interrupted = !loop_.run(has_waiting() ? Millis(0) : left, cancel_state_);
        const int32_t made = deliver_waiting();
        if (destroyed_) {
            return fail(OX_MOM_E_DESTROYED, "the client was destroyed by a callback");
        }
        if (made != 0 || timeout_ms == 0 || interrupted) {
            return made;
        }
        if (left) {
            left = std::chrono::ceil<Millis>(deadline - Clock::now());
            if (left->count() <= 0) {
                return 0;
            }
        }
    }
}

// What is put in the queue meanwhile is left for the next time, so that callbacks that write what they follow do not
// keep their caller for ever.
int32_t Client::deliver_waiting() {
    int32_t made = 0;
    std::string notification;
    for (size_t waiting = queue_.size(); waiting > 0 && !queue_.empty() && !destroyed_; --waiting) {
        try {
            const Delivery delivery = queue_.pop(notification);
            load_failed_ = false;
            made += deliver(delivery, notification);
            if (load_failed_ && !destroyed_) {
                store_->fall_behind("a callback could not load what is stored");  // until it can
            }
        } catch (const std::bad_alloc &) {
            // What could not be delivered must not be missed in silence.
            queue_.clear();
            store_->fall_behind("no memory to deliver a notification");
            throw;
        }
    }
    return made + deliver_attached();
}

int32_t Client::deliver_attached() {
    int32_t made = 0;
    // In a child that a callback forked the loop is still the parent's, and the descriptors may be closed.
    for (size_t left = attachments_.ready(); left > 0 && attachments_.ready() > 0; --left) {
        if (destroyed_ || loop_.is_inherited()) {
            break;
        }
        attachments_.tell_next();
        ++made;
    }
    return made;
}

int32_t Client::deliver(const Delivery &delivery, std::string_view notification) {
    switch (delivery.kind) {
        case Delivery::Kind::kConfirmation:
            return deliver_confirmation(delivery);
        case Delivery::Kind::kPresent:
            return deliver_present(delivery);
        case Delivery::Kind::kRestored:
            return deliver_restored(delivery);
        case Delivery::Kind::kNotification:
            return deliver_notification(delivery, notification);
    }
    return 0;
}

namespace {

// False when the notification is a deletion that is known already. One that was missed stays known.
bool keep_told(ToldRecords &told, const Notification &notification, bool is_missed) {
    const std::string_view index = index_in(notification.fields);
    if (notification.cmd == OX_MOM_CMD_DELETED) {
        return is_missed || told.forget(index);
    }
    told.keep(index, notification.bytes);
    return true;
}

// A deletion may be in the queue when the present value is read, which tells of it.
bool is_known_deletion(Channel &channel, Delivery::Kind kind, int32_t cmd) {
    const bool is_deletion = cmd == OX_MOM_CMD_DELETED;
    const bool is_present = kind == Delivery::Kind::kPresent;
    const bool knew = std::exchange(channel.fields_know_it_is_gone, is_present && is_deletion);
    return knew && is_deletion && !is_present;
}

}  // namespace

int32_t Client::deliver_notification(const Delivery &delivery, std::string_view text) {
    Channel &channel = *delivery.channel;
    ScratchPool::Lease scratch(scratches_);
    Notification &notification = scratch.notification();
    if (!decode_notification(text, notification)) {
        tell(Level::kWarning, Words("a notification of %s skipped: it can't be read", channel.key.c_str()));
        return 0;
    }
    DecodedNotification decoded(notification, channel, scratch.arena());
    const int32_t made = call_record_callbacks(channel, notification, decoded, {.place = delivery.place});
    return channel.fields.empty() || destroyed_ ? made
                                                : made + call_field_callbacks(channel, notification, decoded, delivery);
}

// By number, here and below: callbacks may add subscriptions.
int32_t Client::call_record_callbacks(Channel &channel, const Notification &notification, DecodedNotification &decoded,
                                      const Audience &audience) {
    int32_t made = 0;
    bool is_kept = false;
    for (size_t i = 0, count = channel.records.size(); i < count && !destroyed_; ++i) {
        if (channel.records[i].since >= audience.place) {
            continue;
        }
        // What a reload tells may run the client, before the confirmation's turn has come.
        if (channel.records[i].is_unconfirmed() && !audience.of_missed) {
            made += confirm(channel, channel.records[i]);
        }
        const auto subscription = channel.records[i];
        const bool hears = subscription.stands() && (subscription.lapsed_before || !audience.of_missed);
        const auto result = hears && !destroyed_ ? decoded.for_record(*subscription.type) : std::nullopt;
        if (!result) {
            continue;
        }
        if (!std::exchange(is_kept, true) && !keep_told(channel.told, notification, audience.of_missed)) {
            return made;
        }
        MomMsg message{.client = handle_, .db = channel.db, .cmd = notification.cmd, .result = *result};
        ++delivered_;
        subscription.cb(handle_, &message);
        ++made;
    }
    return made;
}

int32_t Client::call_field_callbacks(Channel &channel, const Notification &notification, DecodedNotification &decoded,
                                     const Delivery &delivery) {
    if (is_known_deletion(channel, delivery.kind, notification.cmd)) {
        return 0;
    }
    int32_t made = 0;
    const bool all_fields = notification.cmd == OX_MOM_CMD_DELETED || delivery.kind == Delivery::Kind::kPresent;
    for (size_t i = 0, count = channel.fields.size(); i < count && !destroyed_; ++i) {
        const auto subscription = channel.fields[i];
        if (subscription.since >= delivery.place ||
            !(all_fields || std::ranges::count(notification.written, subscription.field) != 0)) {
            continue;
        }
        if (const auto result = decoded.for_field(*subscription.type)) {
            MomMsg message{.client = handle_, .db = channel.db, .cmd = notification.cmd, .result = *result};
            ++delivered_;
            subscription.cb(handle_, &message, subscription.arg);
            ++made;
        }
    }
    return made;
}

int32_t Client::deliver_present(const Delivery &delivery) {
    const Channel &channel = *delivery.channel;
    const RecordName name{.db = channel.db, .type = channel.fields.front().type->name, .key = channel.key};
    StoredFields stored;
    const int32_t code = store_->read_hash(name, stored);
    if (code == OX_MOM_E_LOST || code == OX_MOM_E_TIMEOUT) {
        store_->fall_behind("a record could not be read after the reconnection");  // until it can
        return 0;
    }
    if (code != 0) {
        tell(Level::kWarning, Words("%s could not be read after the reconnection", channel.key.c_str()));
        return 0;
    }
    // Callbacks may make requests, which take the memory that the fields are in.
    return deliver_notification(
        delivery, encode_notification(stored.empty() ? OX_MOM_CMD_DELETED : OX_MOM_CMD_DELIVERED, {}, stored));
}

int32_t Client::deliver_confirmation(const Delivery &delivery) {
    if (!Subscriptions::find_unconfirmed(*delivery.channel, delivery.cb, delivery.place)) {
        return 0;  // renewed, lapsed or confirmed since
    }
    return delivery.channel->is_compared ? confirm_at(delivery) : confirm_after_loss(delivery);
}

int32_t Client::confirm_at(const Delivery &delivery) {
    auto *subscription = Subscriptions::find_unconfirmed(*delivery.channel, delivery.cb, delivery.place);
    return subscription ? confirm(*delivery.channel, *subscription) : 0;
}

int32_t Client::confirm(const Channel &channel, RecordSubscription &subscription) {
    subscription.state = RecordSubscription::State::kConfirmed;
    MomMsg message{.client = handle_, .db = channel.db, .cmd = OX_MOM_CMD_SUBSCRIBED, .result = nullptr};
    ++delivered_;
    subscription.cb(handle_, &message);
    return 1;
}

int32_t Client::deliver_restored(const Delivery &delivery) {
    const MomReconnectCb cb = reconnect_cbs_[static_cast<size_t>(delivery.db)];
    if (!cb) {
        return 0;
    }
    cb(handle_, delivery.db, OX_MOM_RECONNECT_RESTORED);
    return 1;
}

}  // namespace mom
