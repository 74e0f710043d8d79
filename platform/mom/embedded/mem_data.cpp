#include "embedded/mem_data.h"

#include <pthread.h>
#include <utility>

#include "ox_mom.h"
#include "records/notification.h"

namespace mom {

namespace {

// All stores, by name, in whose order a fork locks them. Neither is destroyed: there may be threads at work when the
// process ends.
constinit std::mutex all_mutex;
using All = std::map<std::string, std::unique_ptr<MemData>>;
All &all() {
    static auto *const stores = new All;
    return *stores;
}

std::string hash_notification(int32_t cmd, std::span<const int32_t> written, const MemHash &stored) {
    StoredFields fields;
    show(stored, fields);
    return encode_notification(cmd, written, fields);
}

}  // namespace

void show(const MemHash &stored, StoredFields &fields) {
    fields.clear();
    for (const auto &[number, value] : stored) {
        fields.push_back({.number = number, .value = value});
    }
}

MemData &MemData::named(const std::string &name) {
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    pthread_once(&once, [] { pthread_atfork(before_fork, after_fork_in_parent, after_fork_in_child); });
    const std::scoped_lock lock(all_mutex);
    auto &store = all()[name];
    if (!store) {
        store = std::make_unique<MemData>();
    }
    return *store;
}

void MemData::before_fork() {
    all_mutex.lock();
    for (const auto &store : all()) {
        store.second->mutex_.lock();
    }
}

void MemData::after_fork_in_parent() {
    for (const auto &store : all()) {
        store.second->mutex_.unlock();
    }
    all_mutex.unlock();
}

void MemData::after_fork_in_child() {
    for (const auto &store : all()) {
        store.second->followers_.clear();
    }
    after_fork_in_parent();
}

void MemData::follow(const std::string &channel, Incoming &incoming) {
    const std::scoped_lock lock(mutex_);
    followers_[channel].insert(&incoming);
}

void MemData::unfollow(Incoming &incoming) {
    const std::scoped_lock lock(mutex_);
    for (auto &follower : followers_) {
        follower.second.erase(&incoming);
    }
}

MemHash MemData::read_hash(const RecordName &name) {
    const std::scoped_lock lock(mutex_);
    const auto &hashes = databases_[name.db].hashes[std::string(name.type)];
    const auto found = hashes.find(name.key);
    return found == hashes.end() ? MemHash() : found->second;
}

// Each write makes all that it needs first. Then nothing can fail any more: it is done and told, or not done.

void MemData::write_hash(const RecordName &name, const StoredFields &fields, std::span<const int32_t> written) {
    const std::scoped_lock lock(mutex_);
    auto &hashes = databases_[name.db].hashes[std::string(name.type)];
    const auto found = hashes.find(name.key);
    MemHash changed = found == hashes.end() ? MemHash() : found->second;
    for (const StoredField &field : fields) {
        changed[field.number] = field.value;
    }
    const Change change(name, hash_notification(OX_MOM_CMD_DELIVERED, written, changed));
    if (found == hashes.end()) {
        hashes.emplace(name.key, std::move(changed));
    } else {
        found->second.swap(changed);
    }
    tell(change);
}

void MemData::remove_hash(const RecordName &name) {
    const std::scoped_lock lock(mutex_);
    auto &hashes = databases_[name.db].hashes[std::string(name.type)];
    if (const auto found = hashes.find(name.key); found != hashes.end()) {
        tell(Change(name, hash_notification(OX_MOM_CMD_DELETED, {}, found->second)));
        hashes.erase(found);
    }
}

bool MemData::read_object(const RecordName &name, std::string &bytes) {
    const std::scoped_lock lock(mutex_);
    const auto &objects = databases_[name.db].objects;
    const auto found = objects.find(name.key);
    if (found == objects.end()) {
        return false;
    }
    bytes = found->second;
    return true;
}

void MemData::write_object(const RecordName &name, std::string_view bytes) {
    const std::scoped_lock lock(mutex_);
    const Change change(name, encode_object_notification(OX_MOM_CMD_WRITTEN, bytes));
    databases_[name.db].objects.insert_or_assign(std::string(name.key), std::string(bytes));
    tell(change);
}

void MemData::remove_object(const RecordName &name) {
    const std::scoped_lock lock(mutex_);
    auto &objects = databases_[name.db].objects;
    if (const auto found = objects.find(name.key); found != objects.end()) {
        tell(Change(name, encode_object_notification(OX_MOM_CMD_DELETED, found->second)));
        objects.erase(found);
    }
}

std::vector<std::string> MemData::keys(int32_t db, std::string_view type) {
    const std::scoped_lock lock(mutex_);
    std::vector<std::string> keys;
    for (const auto &hash : databases_[db].hashes[std::string(type)]) {
        keys.push_back(hash.first);
    }
    return keys;
}

MemData::Change::Change(const RecordName &name, std::string &&text)
    : of_type(channel_of(name.db, name.type)),
      of_record(name.key == name.type ? std::string() : channel_of(name.db, name.key)),
      notification(std::move(text)) {}

void MemData::tell(const Change &change) noexcept {
    for (const std::string *channel : {&change.of_type, &change.of_record}) {
        if (const auto followers = followers_.find(*channel); followers != followers_.end()) {
            for (Incoming *incoming : followers->second) {
                incoming->put(*channel, change.notification);
            }
        }
    }
}

}  // namespace mom
