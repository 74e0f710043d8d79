// The embedded store: what a server does, inside the process. Clients of one name share it, on whatever thread.
#include <algorithm>
#include <deque>
#include <map>
#include <mutex>
#include <new>
#include <set>
#include <unordered_map>
#include <utility>

#include "core/error.h"
#include "core/store.h"
#include "ox_mom.h"
#include "records/notification.h"

namespace mom {

namespace {

// One client's way in: what it follows arrives here, from any thread.
class Mailbox {
public:
    struct Letter {
        std::string channel;
        std::string notification;
    };

    explicit Mailbox(Loop &loop) : loop_(loop) {}

    void put(const std::string &channel, const std::string &notification) noexcept {
        const std::scoped_lock lock(mutex_);
        try {
            overflown_ = overflown_ || letters_.size() >= kQueueLimit;
            if (!overflown_) {
                letters_.push_back({channel, notification});
            }
        } catch (const std::bad_alloc &) {
            overflown_ = true;  // this follower's loss, not the writer's
        }
        if (overflown_) {
            letters_.clear();
        }
        loop_.wake();
    }

    // Loses what has come: the owner will load afresh when it next takes.
    void overflow() noexcept {
        const std::scoped_lock lock(mutex_);
        overflown_ = true;
        letters_.clear();
        loop_.wake();
    }

    // Everything that has come; false when it was too much to keep, and is lost.
    bool take(std::deque<Letter> &letters) {
        const std::scoped_lock lock(mutex_);
        letters.clear();
        letters.swap(letters_);
        return !overflown_;
    }

    size_t size() {
        const std::scoped_lock lock(mutex_);
        return letters_.size();
    }

    void empty() {
        const std::scoped_lock lock(mutex_);
        letters_.clear();
        overflown_ = false;
    }

private:
    Loop &loop_;
    std::mutex mutex_;
    std::deque<Letter> letters_;
    bool overflown_ = false;
};

using Fields = std::map<uint32_t, std::string>;

void show(const Fields &stored, StoredFields &fields) {
    fields.clear();
    for (const auto &[number, value] : stored) {
        fields.push_back({.number = number, .value = value});
    }
}

// The data of one name. Everything happens under its lock, so that all followers hear all changes in one order.
class MemData {
public:
    static std::shared_ptr<MemData> named(const std::string &name) {
        // Kept until the process ends, as a server keeps its data when its clients go.
        static auto *const mutex = new std::mutex;
        static auto *const stores = new std::unordered_map<std::string, std::shared_ptr<MemData>>;
        const std::scoped_lock lock(*mutex);
        auto &store = (*stores)[name];
        if (!store) {
            store = std::make_shared<MemData>();
        }
        return store;
    }

    void follow(const std::string &channel, Mailbox &mailbox) {
        const std::scoped_lock lock(mutex_);
        followers_[channel].insert(&mailbox);
    }

    void unfollow(Mailbox &mailbox) {
        const std::scoped_lock lock(mutex_);
        for (auto &follower : followers_) {
            follower.second.erase(&mailbox);
        }
    }

    Fields read_hash(const RecordName &name) {
        const std::scoped_lock lock(mutex_);
        const auto &hashes = databases_[name.db].hashes[std::string(name.type)];
        const auto found = hashes.find(name.key);
        return found == hashes.end() ? Fields() : found->second;
    }

    // Each write makes all that it needs first. Then nothing can fail any more: it is done and told, or not done.

    void write_hash(const RecordName &name, const StoredFields &fields, std::span<const int32_t> written) {
        const std::scoped_lock lock(mutex_);
        auto &hashes = databases_[name.db].hashes[std::string(name.type)];
        const auto found = hashes.find(name.key);
        Fields changed = found == hashes.end() ? Fields() : found->second;
        for (const StoredField &field : fields) {
            changed[field.number] = field.value;
        }
        const News news(name, hash_notification(OX_MOM_CMD_DELIVERED, written, changed));
        if (found == hashes.end()) {
            hashes.emplace(name.key, std::move(changed));
        } else {
            found->second.swap(changed);
        }
        tell(news);
    }

    void remove_hash(const RecordName &name) {
        const std::scoped_lock lock(mutex_);
        auto &hashes = databases_[name.db].hashes[std::string(name.type)];
        if (const auto found = hashes.find(name.key); found != hashes.end()) {
            tell(News(name, hash_notification(OX_MOM_CMD_DELETED, {}, found->second)));
            hashes.erase(found);
        }
    }

    bool read_object(const RecordName &name, std::string &bytes) {
        const std::scoped_lock lock(mutex_);
        const auto &objects = databases_[name.db].objects;
        const auto found = objects.find(name.key);
        if (found == objects.end()) {
            return false;
        }
        bytes = found->second;
        return true;
    }

    void write_object(const RecordName &name, std::string_view bytes) {
        const std::scoped_lock lock(mutex_);
        const News news(name, encode_object_notification(OX_MOM_CMD_WRITTEN, bytes));
        databases_[name.db].objects.insert_or_assign(std::string(name.key), std::string(bytes));
        tell(news);
    }

    void remove_object(const RecordName &name) {
        const std::scoped_lock lock(mutex_);
        auto &objects = databases_[name.db].objects;
        if (const auto found = objects.find(name.key); found != objects.end()) {
            tell(News(name, encode_object_notification(OX_MOM_CMD_DELETED, found->second)));
            objects.erase(found);
        }
    }

    std::vector<std::string> keys(int32_t db, std::string_view type) {
        const std::scoped_lock lock(mutex_);
        std::vector<std::string> keys;
        for (const auto &hash : databases_[db].hashes[std::string(type)]) {
            keys.push_back(hash.first);
        }
        return keys;
    }

private:
    struct Database {
        std::unordered_map<std::string, std::map<std::string, Fields, std::less<>>> hashes;  // by type, then by key
        std::map<std::string, std::string, std::less<>> objects;
    };

    static std::string hash_notification(int32_t cmd, std::span<const int32_t> written, const Fields &stored) {
        StoredFields fields;
        show(stored, fields);
        return encode_notification(cmd, written, fields);
    }

    // A change, as the followers of its type and of its record are told of it.
    struct News {
        News(const RecordName &name, std::string &&text)
            : of_type(channel_of(name.db, name.type)),
              of_record(name.key == name.type ? std::string() : channel_of(name.db, name.key)),
              notification(std::move(text)) {}

        std::string of_type;
        std::string of_record;  // empty: the same
        std::string notification;
    };

    void tell(const News &news) noexcept {
        for (const std::string *channel : {&news.of_type, &news.of_record}) {
            if (const auto followers = followers_.find(*channel); followers != followers_.end()) {
                for (Mailbox *mailbox : followers->second) {
                    mailbox->put(*channel, news.notification);
                }
            }
        }
    }

    std::mutex mutex_;
    std::unordered_map<int32_t, Database> databases_;
    std::unordered_map<std::string, std::set<Mailbox *>> followers_;
};

class MemStore final : public Store, public LoopHandler {
public:
    MemStore(const std::string &name, Loop &loop, StoreListener &listener)
        : loop_(loop), listener_(listener), data_(MemData::named(name)), mailbox_(loop) {
        loop.set_handler(this);
    }

    ~MemStore() override {
        data_->unfollow(mailbox_);
        loop_.set_handler(nullptr);
    }

    int32_t connect(int32_t db) override {
        connected_.insert(db);
        listener_.on_up();
        return 0;
    }

    bool is_connected(int32_t db) const override { return connected_.contains(db); }

    int32_t read_hash(const RecordName &name, StoredFields &fields) override {
        read_ = data_->read_hash(name);
        show(read_, fields);
        return 0;
    }

    int32_t write_hash(const RecordName &name, const StoredFields &fields, std::span<const int32_t> written) override {
        data_->write_hash(name, fields, written);
        return 0;
    }

    int32_t remove_hash(const RecordName &name) override {
        data_->remove_hash(name);
        return 0;
    }

    int32_t read_object(const RecordName &name, std::string_view &bytes, bool &found) override {
        found = data_->read_object(name, read_object_);
        bytes = read_object_;
        return 0;
    }

    int32_t write_object(const RecordName &name, std::string_view bytes) override {
        data_->write_object(name, bytes);
        return 0;
    }

    int32_t remove_object(const RecordName &name) override {
        data_->remove_object(name);
        return 0;
    }

    int32_t scan_hashes(int32_t db, std::string_view type, ScanVisitor &visitor) override {
        StoredFields fields;
        for (const std::string &key : data_->keys(db, type)) {
            const Fields stored = data_->read_hash({.db = db, .type = type, .key = key});
            show(stored, fields);
            if (!fields.empty() && !visitor.on_hash(key, fields)) {
                break;
            }
        }
        return 0;
    }

    int32_t follow(const std::string &channel) override {
        data_->follow(channel, mailbox_);
        try {
            on_wake();                         // what has come before is older than this subscription
            data_->follow(channel, mailbox_);  // again: in case that was too much, and following began afresh
        } catch (const std::bad_alloc &) {
            on_no_memory();
            throw;
        }
        return 0;
    }

    void fall_behind(const char *why) noexcept override {
        ++falls_;
        lose(why);
        mailbox_.overflow();
    }

    size_t untold() override { return mailbox_.size(); }

private:
    void on_wake() override {
        std::deque<Mailbox::Letter> letters;
        if (!mailbox_.take(letters)) {
            start_afresh();
            return;
        }
        const unsigned falls = falls_;
        for (const Mailbox::Letter &letter : letters) {
            listener_.on_notification(letter.channel, letter.notification);
            if (falls != falls_) {
                break;  // the client fell behind: what is left is older than what it will load afresh
            }
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
        data_->unfollow(mailbox_);
        mailbox_.empty();
        for (const std::string &channel : listener_.lasting_channels()) {
            data_->follow(channel, mailbox_);
        }
        listener_.on_restored();
        lost_ = false;
    }

    void on_deadline() override {}
    void on_no_memory() noexcept override { fall_behind("out of memory"); }

    Loop &loop_;
    StoreListener &listener_;
    std::shared_ptr<MemData> data_;
    Mailbox mailbox_;
    std::set<int32_t> connected_;
    unsigned falls_ = 0;
    bool lost_ = false;  // and the listener not yet told that it is to start afresh
    Fields read_;
    std::string read_object_;
};

}  // namespace

std::unique_ptr<Store> make_mem_store(const std::string &name, Loop &loop, StoreListener &listener) {
    return std::make_unique<MemStore>(name, loop, listener);
}

}  // namespace mom
