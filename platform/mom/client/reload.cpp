// What a client tells when the store is back after a loss and its types are followed again: what was missed, deletions
// first, of all types before any of them is confirmed and so loaded. Loading a type judges a card by what is known of
// it from the others: one that was pulled must not be found ready by what there still is of it. And were an old record
// deleted only after the loading, that would undo the new one of the same card.
#include <algorithm>
#include <new>

#include "client/client.h"
#include "core/error.h"
#include "core/tell.h"
#include "records/encoding.h"

namespace mom {

struct Client::Missed {
    Channel *channel;
    ToldRecord record;  // as it last was, or as it is now
    ToldRecord::State what;
};

class Client::Comparison final : public ScanVisitor {
public:
    explicit Comparison(std::vector<Missed> &changed) : changed_(changed) {}

    int32_t compare(Store &store, Channel &channel) {
        channel_ = &channel;
        channel.told.begin_comparison();
        if (channel.told.empty()) {
            return 0;
        }
        const ProtobufCMessageDescriptor &type = *channel.records.front().type;
        if (index_of(type)) {
            return store.scan_hashes(channel.db, type.name, *this);
        }
        std::string_view bytes;
        bool found = false;
        const int32_t code = store.read_object({.db = channel.db, .type = type.name, .key = type.name}, bytes, found);
        if (code == 0 && found) {
            on_record({}, bytes);
        }
        return code;
    }

    bool on_hash(std::string_view, const StoredFields &fields) override {
        bytes_.clear();
        const std::string_view index = append_fields(bytes_, fields);
        on_record(index, bytes_);
        return true;
    }

private:
    void on_record(std::string_view index, std::string_view bytes) {
        if (channel_->told.found(index, bytes)) {
            changed_.push_back({channel_, {index, bytes}, ToldRecord::State::kChanged});
        }
    }

    std::vector<Missed> &changed_;
    Channel *channel_ = nullptr;
    std::string bytes_;
};

// What can't be compared now is compared when the store is back next: what was told is kept until then.
int32_t Client::reload() {
    const uint64_t returns = returns_;
    const std::vector<Channel *> channels = subscriptions_.to_compare();
    std::vector<Missed> missed;
    std::vector<Missed> changed;
    Comparison comparison(changed);
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
            missed.push_back({channel, std::move(record), ToldRecord::State::kVanished});
        }
    }
    missed.insert(missed.end(), std::make_move_iterator(changed.begin()), std::make_move_iterator(changed.end()));
    for (Channel *channel : channels) {
        channel->told.vanish_missing();
        channel->is_compared = true;
    }
    return tell_missed(missed);
}

int32_t Client::tell_missed(std::vector<Missed> &missed) {
    const uint64_t returns = returns_;
    int32_t made = 0;
    size_t done = 0;
    const auto keep_the_rest = [&] {
        for (; done < missed.size(); ++done) {
            missed[done].channel->told.was_not_told(missed[done].record);
        }
    };
    try {
        // A callback may run the client, which may tell of a record before its turn comes.
        for (; done < missed.size() && !destroyed_ && returns == returns_; ++done) {
            const Missed &next = missed[done];
            made += next.channel->told.is(next.what, next.record.index()) ? tell_missed(next) : 0;
        }
    } catch (const std::bad_alloc &) {
        keep_the_rest();
        throw;
    }
    keep_the_rest();
    return made;
}

int32_t Client::tell_missed(const Missed &missed) {
    Channel &channel = *missed.channel;
    const bool is_hash = index_of(*channel.records.front().type) != nullptr;
    const ScratchPool::Lease scratch(scratches_);
    Notification &notification = scratch.notification();
    read_stored(is_hash, missed.record.bytes(), notification);
    notification.cmd = missed.what == ToldRecord::State::kVanished ? OX_MOM_CMD_DELETED
                       : is_hash                                   ? OX_MOM_CMD_DELIVERED
                                                                   : OX_MOM_CMD_WRITTEN;
    DecodedNotification decoded(notification, channel, scratch.arena());
    return call_record_callbacks(channel, notification, decoded, {.place = UINT64_MAX, .of_missed = true});
}

}  // namespace mom
