// The embedded store: what a server does, inside the process.
#include <new>
#include <set>

#include "core/store.h"
#include "embedded/incoming.h"
#include "embedded/mem_data.h"
#include "ox_mom.h"

namespace mom {

namespace {

class MemStore final : public Store, public LoopHandler {
public:
    MemStore(const std::string &name, Loop &loop, StoreListener &listener)
        : loop_(loop), listener_(listener), data_(MemData::named(name)), incoming_(loop) {
        loop.set_handler(this);
    }

    ~MemStore() override {
        data_.unfollow(incoming_);
        loop_.set_handler(nullptr);
    }

    int32_t connect(int32_t db) override {
        connected_.insert(db);
        listener_.on_up();
        return 0;
    }

    bool is_connected(int32_t db) const override { return connected_.contains(db); }

    int32_t read_hash(const RecordName &name, StoredFields &fields) override {
        read_ = data_.read_hash(name);
        show(read_, fields);
        return 0;
    }

    int32_t write_hash(const RecordName &name, const StoredFields &fields, std::span<const int32_t> written) override {
        data_.write_hash(name, fields, written);
        return 0;
    }

    // A key holds nothing else here.
    int32_t remove_hash(const RecordName &name, const StoredFields &) override {
        data_.remove_hash(name);
        return 0;
    }

    int32_t read_object(const RecordName &name, std::string_view &bytes, bool &found) override {
        found = data_.read_object(name, read_object_);
        bytes = read_object_;
        return 0;
    }

    int32_t write_object(const RecordName &name, std::string_view bytes) override {
        data_.write_object(name, bytes);
        return 0;
    }

    int32_t remove_object(const RecordName &name) override {
        data_.remove_object(name);
        return 0;
    }

    int32_t scan_hashes(int32_t db, std::string_view type, ScanVisitor &visitor) override {
        StoredFields fields;
        for (const std::string &key : data_.keys(db, type)) {
            const MemHash stored = data_.read_hash({.db = db, .type = type, .key = key});
            show(stored, fields);
            if (!fields.empty() && !visitor.on_hash(key, fields)) {
                break;
            }
        }
        return 0;
    }

    int32_t follow(const std::string &channel) override {
        data_.follow(channel, incoming_);
        try {
            on_wake();                         // what has come before is older than this subscription
            data_.follow(channel, incoming_);  // again: in case that was too much, and following began afresh
        } catch (const std::bad_alloc &) {
            on_no_memory();
            throw;
        }
        return 0;
    }

    void fall_behind(const char *why) noexcept override {
        ++falls_;
        lose(why);
        incoming_.overflow();
    }

    size_t untold() override { return incoming_.size(); }

private:
    void on_wake() override {
        Notifications notifications;
        if (!incoming_.take(notifications)) {
            start_afresh();
            return;
        }
        const unsigned falls = falls_;
        // When the client falls behind, what is left is older than what it will load afresh.
        for (; !notifications.empty() && falls == falls_; notifications.pop()) {
            listener_.on_notification(notifications.channel(), notifications.notification());
        }
    }

    void lose(const char *why) noexcept {
        lost_ = true;
        listener_.on_lost(OX_MOM_E_LOST, why, Millis(0));
    }

    // As after a reconnection.
    void start_afresh() {
        if (!lost_) {
            lose("more notifications came than are kept waiting");
        }
        data_.unfollow(incoming_);
        incoming_.clear();
        for (const std::string &channel : listener_.lasting_channels()) {
            data_.follow(channel, incoming_);
        }
        listener_.on_restored();
        lost_ = false;
    }

    void on_deadline() override {}
    void on_no_memory() noexcept override { fall_behind("out of memory"); }

    Loop &loop_;
    StoreListener &listener_;
    MemData &data_;
    Incoming incoming_;
    std::set<int32_t> connected_;
    unsigned falls_ = 0;
    bool lost_ = false;  // and the listener not yet told that it is to start afresh
    MemHash read_;
    std::string read_object_;
};

}  // namespace

std::unique_ptr<Store> make_mem_store(const std::string &name, Loop &loop, StoreListener &listener) {
    return std::make_unique<MemStore>(name, loop, listener);
}

}  // namespace mom
