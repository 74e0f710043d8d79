// From the queue to the callbacks.
#include <algorithm>
#include <new>
#include <optional>
#include <utility>

#include "client/client.h"
#include "core/error.h"
#include "core/tell.h"

namespace mom {

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

namespace {

class Delivering {
public:
    explicit Delivering(int &depth) : depth_(depth) { ++depth_; }
    Delivering(const Delivering &) = delete;
    Delivering &operator=(const Delivering &) = delete;
    ~Delivering() { --depth_; }

private:
    int &depth_;
};

}  // namespace

// Messages that come meanwhile are left for the next time, so that callbacks that write what they follow do not
// keep their caller for ever.
int32_t Client::deliver_waiting() {
    int32_t made = 0;
    std::string notification;
    const Delivering delivering(delivering_);
    // A child that a callback forked shares the connections with its parent.
    for (size_t waiting = queue_.size(); waiting > 0 && !queue_.empty() && !destroyed_ && !loop_.is_inherited();
         --waiting) {
        try {
            const Queued queued = queue_.pop(notification);
            made += deliver(queued, notification);
            if (load_failed_ && !destroyed_) {
                load_again();
            }
        } catch (const std::bad_alloc &) {
            // A message that could not be delivered must not be missed in silence.
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

int32_t Client::deliver(const Queued &queued, std::string_view notification) {
    switch (queued.kind) {
        case Queued::Kind::kConfirmation:
            return deliver_confirmation(queued);
        case Queued::Kind::kPresent:
            return deliver_present(queued);
        case Queued::Kind::kRestored:
            return deliver_restored(queued);
        case Queued::Kind::kNotification:
            return deliver_notification(queued, notification);
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
bool is_known_deletion(Channel &channel, Queued::Kind kind, int32_t cmd) {
    const bool is_deletion = cmd == OX_MOM_CMD_DELETED;
    const bool is_present = kind == Queued::Kind::kPresent;
    const bool knew = std::exchange(channel.fields_know_it_is_gone, is_present && is_deletion);
    return knew && is_deletion && !is_present;
}

}  // namespace

int32_t Client::deliver_notification(const Queued &queued, std::string_view text) {
    Channel &channel = *queued.channel;
    ScratchPool::Lease scratch(scratches_);
    Notification &notification = scratch.notification();
    if (!decode_notification(text, notification)) {
        tell(Level::kWarning, Words("a notification of %s skipped: it can't be read", channel.key.c_str()));
        return 0;
    }
    DecodedNotification decoded(notification, channel, scratch.arena());
    const int32_t made = call_record_callbacks(channel, notification, decoded, {.place = queued.place});
    return channel.fields.empty() || destroyed_ ? made
                                                : made + call_field_callbacks(channel, notification, decoded, queued);
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
        // A callback of a reload may run the client, before the confirmation's turn has come.
        const bool is_due = channel.records[i].is_unconfirmed() && channel.records[i].confirmation < audience.place;
        if (is_due && !audience.of_missed) {
            made += confirm(channel, channel.records[i]);
        }
        const RecordSubscription &subscription = channel.records[i];
        const bool hears = subscription.stands() && (subscription.lapsed_before || !audience.of_missed);
        const auto result = hears && !destroyed_ ? decoded.for_record(subscription) : std::nullopt;
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
                                     const Queued &queued) {
    if (is_known_deletion(channel, queued.kind, notification.cmd)) {
        return 0;
    }
    int32_t made = 0;
    const bool all_fields = notification.cmd == OX_MOM_CMD_DELETED || queued.kind == Queued::Kind::kPresent;
    for (size_t i = 0, count = channel.fields.size(); i < count && !destroyed_; ++i) {
        const auto subscription = channel.fields[i];
        if (subscription.since >= queued.place ||
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

int32_t Client::deliver_present(const Queued &queued) {
    const Channel &channel = *queued.channel;
    const RecordName name{.db = channel.db, .type = channel.fields.front().type->name, .key = channel.key};
    StoredFields stored;
    const int32_t code = store_->read_hash(name, stored);
    if (code == OX_MOM_E_LOST || code == OX_MOM_E_TIMEOUT) {
        queue_.clear();
        store_->fall_behind("a record could not be read after the reconnection");  // until it can
        return 0;
    }
    if (code == OX_MOM_E_TYPE) {
        report_as_gone();
    } else if (code != 0) {
        tell(Level::kWarning, Words("%s could not be read after the reconnection", channel.key.c_str()));
        return 0;
    }
    if (!stored.empty() && !can_be_told(*channel.fields.front().type, channel.key, stored)) {
        stored.clear();
    }
    // Callbacks may make requests, which take the memory that the fields are in.
    return deliver_notification(
        queued, encode_notification(stored.empty() ? OX_MOM_CMD_DELETED : OX_MOM_CMD_DELIVERED, {}, stored));
}

int32_t Client::deliver_confirmation(const Queued &queued) {
    if (Subscriptions::find_unconfirmed(*queued.channel, queued.cb, queued.place) == nullptr) {
        return 0;  // renewed, lapsed or confirmed since
    }
    return queued.channel->is_compared ? confirm_at(queued) : confirm_after_loss(queued);
}

int32_t Client::confirm_at(const Queued &queued) {
    auto *subscription = Subscriptions::find_unconfirmed(*queued.channel, queued.cb, queued.place);
    return subscription != nullptr ? confirm(*queued.channel, *subscription) : 0;
}

int32_t Client::confirm(const Channel &channel, RecordSubscription &subscription) {
    subscription.state = RecordSubscription::State::kConfirmed;
    MomMsg message{.client = handle_, .db = channel.db, .cmd = OX_MOM_CMD_SUBSCRIBED, .result = nullptr};
    ++delivered_;
    subscription.cb(handle_, &message);
    return 1;
}

int32_t Client::deliver_restored(const Queued &queued) {
    const MomReconnectCb cb = reconnect_cbs_[static_cast<size_t>(queued.db)];
    if (cb == nullptr) {
        return 0;
    }
    cb(handle_, queued.db, OX_MOM_RECONNECT_RESTORED);
    return 1;
}

}  // namespace mom
