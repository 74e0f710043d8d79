// The data of one embedded store, which all clients of its name share, on whatever thread. Everything happens under its
// lock, so that all followers hear all changes in one order.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/store.h"
#include "embedded/incoming.h"

namespace mom {

// A hash, by the number of the field.
using MemHash = std::map<uint32_t, std::string>;

void show(const MemHash &stored, StoredFields &fields);

class MemData {
public:
    // Kept until the process ends, as a server keeps its data when its clients go. A forked child goes on with what
    // there was, and without the parent's clients.
    static MemData &named(const std::string &name);

    MemData() = default;
    MemData(const MemData &) = delete;
    MemData &operator=(const MemData &) = delete;

    void follow(const std::string &channel, Incoming &incoming);
    void unfollow(Incoming &incoming);

    // No such record: no fields.
    MemHash read_hash(const RecordName &name);
    void write_hash(const RecordName &name, const StoredFields &fields, std::span<const int32_t> written);
    void remove_hash(const RecordName &name);

    bool read_object(const RecordName &name, std::string &bytes);
    void write_object(const RecordName &name, std::string_view bytes);
    void remove_object(const RecordName &name);

    std::vector<std::string> keys(int32_t db, std::string_view type);

private:
    struct Database {
        std::unordered_map<std::string, std::map<std::string, MemHash, std::less<>>> hashes;  // by type, then by key
        std::map<std::string, std::string, std::less<>> objects;
    };

    // A change, as the followers of its type and of its record are told of it.
    struct Change {
        Change(const RecordName &name, std::string &&text);

        std::string of_type;
        std::string of_record;  // empty: the same
        std::string notification;
    };

    void tell(const Change &change) noexcept;

    // A fork waits until no thread is at work here, so that the child finds everything whole and nothing locked.
    static void before_fork();
    static void after_fork_in_parent();
    static void after_fork_in_child();

    std::mutex mutex_;
    std::unordered_map<int32_t, Database> databases_;
    std::unordered_map<std::string, std::set<Incoming *>> followers_;
};

}  // namespace mom
