// Telling what was missed, when the store is back after a loss and the types are followed again.
//
// The first type that is followed again is confirmed, and so loaded, and then its deletions are told. What the other
// types have missed, deletions first, is told before that: loading a type judges a card by what is known of it from
// the others, and one that was pulled must not be found ready by what there still is of it.
#include <algorithm>
#include <new>

#include "client/client.h"
#include "core/error.h"
#include "core/tell.h"

namespace mom {

struct Client::Missed {
    Channel *channel;
    ToldRecord record;  // as it last was, or as it is now
    ToldRecord::State what;
};

class Client::Comparison final : public ScanVisitor {
public:
    // first: the type that is loaded before the rest of what it missed is told.
    Comparison(Channel &first, std::vector<Missed> &changed, std::vector<Missed> &loaded)
        : first_(first), changed_(changed), loaded_(loaded) {}

    int32_t compare(Store &store, Channel &channel) {
        channel_ = &channel;
        channel.told.begin_comparison();
        if (channel.told.empty()) {
            return 0;
        }
        const ProtobufCMessageDescriptor &type = *channel.records.front().type;
        if (channel.records.front().is_hash) {
            return store.scan_hashes(channel.db, type.name, *this);
        }
        std::string_view bytes;
        bool found = false;
        const int32_t code = store.read_object({.db = channel.db, .type = type.name, .key = type.name}, bytes, found);
        if (code == OX_MOM_E_TYPE) {
            report_as_gone();
            return 0;
        }
        if (code == 0 && found) {
            on_record({}, bytes, [&] { return can_be_told(type, bytes); });
        }
        return code;
    }

    bool on_hash(std::string_view key, const StoredFields &fields) override {
        bytes_.clear();
        const std::string_view index = append_fields(bytes_, fields);
        on_record(index, bytes_, [&] { return can_be_told(*channel_->records.front().type, key, fields); });
        return true;
    }

private:
    // What is as it was told can be told of.
    template <class CanBeTold>
    void on_record(std::string_view index, std::string_view bytes, CanBeTold can_be_told) {
        const ToldRecords::Found found = channel_->told.found(index, bytes);
        if (found == ToldRecords::Found::kAsTold) {
            return;
        }
        if (found == ToldRecords::Found::kChanged && !can_be_told()) {
            channel_->told.not_found(index);
            return;
        }
        if (channel_ == &first_) {
            loaded_.push_back({channel_, {index, index}, ToldRecord::State::kCurrent});
        } else if (found == ToldRecords::Found::kChanged) {
            changed_.push_back({channel_, {index, bytes}, ToldRecord::State::kChanged});
        }
    }

    Channel &first_;
    std::vector<Missed> &changed_;
    std::vector<Missed> &loaded_;
    Channel *channel_ = nullptr;
    std::string bytes_;
};

// The first confirmation since the loss.
int32_t Client::confirm_after_loss(const Queued &queued) {
    const uint64_t returns = returns_;
    Channel &channel = *queued.channel;
    std::vector<Missed> after;
    int32_t made = reload(channel, after);
    if (!channel.is_compared || destroyed_) {
        return made;
    }
    made += confirm_at(queued);
    // Each callback loads before it is told what has vanished.
    for (size_t i = 0; !after.empty() && i < channel.records.size() && !destroyed_ && returns == returns_; ++i) {
        if (channel.records[i].lapsed_before && channel.records[i].is_unconfirmed()) {
            made += confirm(channel, channel.records[i]);
        }
    }
    return destroyed_ ? made : made + tell_missed(after, returns);
}

// A type that can't be compared now is compared after the next return: what was told is kept until then.
int32_t Client::reload(Channel &first, std::vector<Missed> &after) {
    const uint64_t returns = returns_;
    const std::vector<Channel *> channels = subscriptions_.to_compare();
    std::vector<Missed> missed;
    std::vector<Missed> changed;
    std::vector<Missed> loaded;
    Comparison comparison(first, changed, loaded);
    for (Channel *channel : channels) {
        const int32_t code = comparison.compare(*store_, *channel);
        if (code == OX_MOM_E_LOST || code == OX_MOM_E_TIMEOUT) {
            queue_.clear();
            store_->fall_behind("what was missed could not be read");
            return 0;
        }
        if (returns != returns_) {
            return 0;  // lost again, and back again
        }
        if (code != 0) {
            tell(Level::kWarning,
                 Words("what was missed of %s could not be read: %s", channel->key.c_str(), last_error()));
            continue;
        }
        for (ToldRecord &record : channel->told.missing()) {
            (channel == &first ? after : missed).push_back({channel, std::move(record), ToldRecord::State::kNotFound});
        }
    }
    // The deletion of an old record may undo what was loaded of a new one of the same card: that is told once more.
    if (!after.empty()) {
        after.insert(after.end(), std::make_move_iterator(loaded.begin()), std::make_move_iterator(loaded.end()));
    }
    missed.insert(missed.end(), std::make_move_iterator(changed.begin()), std::make_move_iterator(changed.end()));
    for (Channel *channel : channels) {
        channel->is_compared = true;
    }
    return tell_missed(missed, returns);
}

// A record that is not told, because the store is lost again or the client destroyed, stays known as it was.
int32_t Client::tell_missed(const std::vector<Missed> &missed, uint64_t returns) {
    int32_t made = 0;
    for (const Missed &next : missed) {
        if (destroyed_ || returns != returns_) {
            break;
        }
        // A callback may run the client, which may tell of a record before its turn comes.
        if (!next.channel->told.is(next.what, next.record.index())) {
            continue;
        }
        try {
            made += tell_missed(next);
        } catch (const std::bad_alloc &) {
            next.channel->told.was_not_told(next.record);
            throw;
        }
    }
    return made;
}

int32_t Client::tell_missed(const Missed &missed) {
    Channel &channel = *missed.channel;
    const bool is_hash = channel.records.front().is_hash;
    const bool is_deletion = missed.what == ToldRecord::State::kNotFound;
    std::string bytes(missed.record.bytes());
    if (is_deletion) {
        channel.told.vanish(missed.record.index());
    } else if (missed.what == ToldRecord::State::kCurrent) {
        bytes = channel.told.bytes_of(missed.record.index());
    }
    const ScratchPool::Lease scratch(scratches_);
    Notification &notification = scratch.notification();
    read_stored(is_hash, bytes, notification);
    notification.cmd = is_deletion ? OX_MOM_CMD_DELETED : is_hash ? OX_MOM_CMD_DELIVERED : OX_MOM_CMD_WRITTEN;
    DecodedNotification decoded(notification, channel, scratch.arena());
    return call_record_callbacks(channel, notification, decoded, {.place = UINT64_MAX, .of_missed = true});
}

}  // namespace mom
