// The store on a server: what it asks, and how records are kept there.
#include <algorithm>
#include <array>
#include <initializer_list>
#include <new>

#include "core/error.h"
#include "core/store.h"
#include "core/tell.h"
#include "ox_mom.h"
#include "records/key.h"
#include "records/notification.h"
#include "redis/requests.h"
#include "redis/scripts.h"

namespace mom {

namespace redis {

namespace {

constexpr size_t kScanBatch = 256;  // records asked for at once

// Each batch has the time of a request, and all together have so many times that: what is scanned slowly, batch after
// batch in time, does not keep its caller for ever. The time that the visitor takes is not counted.
constexpr int kScanLimits = 10;

constexpr size_t kDigest = 1;  // the place of a script's digest among the words of the command that runs it

// A script, and the digest by which the server knows it once it has been loaded.
struct Script {
    const char *body;
    std::string digest;
};

bool to_fields(const Reply &reply, StoredFields &fields) {
    fields.clear();
    fields.reserve(reply.elements.size() / 2);
    for (size_t i = 0; i + 1 < reply.elements.size(); i += 2) {
        fields.push_back({.number = field_number(reply.elements[i].text), .value = reply.elements[i + 1].text});
    }
    return reply.type == Reply::Type::kArray;
}

// The code of an answer that says no, with the reason in last_error().
int32_t refusal(std::string_view key, const Reply &reply) {
    const std::string_view text = reply.is_error() ? reply.text : "an answer of another kind than asked for";
    const bool other_kind = !reply.is_error() || text.find("WRONGTYPE") != std::string_view::npos;
    return fail(other_kind ? OX_MOM_E_TYPE : OX_MOM_E_REFUSED, "%.*s: %.*s", static_cast<int>(key.size()), key.data(),
                static_cast<int>(text.size()), text.data());
}

class RedisStore final : public Store {
public:
    RedisStore(StoreName name, Loop &loop, StoreListener &listener, Millis timeout)
        : listener_(listener), requests_(std::move(name), loop, listener, timeout) {}

    int32_t connect(int32_t db) override;
    bool is_connected(int32_t db) const override { return connected_[static_cast<size_t>(db)]; }
    int32_t follow(const std::string &channel) override { return requests_.link().follow(channel); }
    void fall_behind(const char *why) noexcept override { requests_.link().lose(why); }
    size_t untold() override { return 0; }

    int32_t read_hash(const RecordName &name, StoredFields &fields) override {
        int32_t code = 0;
        const Reply *reply = read(name.db, {"HGETALL", name.key}, requests_.limit(), &code);
        return reply == nullptr ? code : to_fields(*reply, fields) ? 0 : refusal(name.key, *reply);
    }

    int32_t write_hash(const RecordName &name, const StoredFields &fields, std::span<const int32_t> written) override {
        head_.clear();
        append_hash_head(head_, OX_MOM_CMD_DELIVERED, written);
        begin_hash_command(name);
        add_to_command(fields);
        return run(write_hash_, name);
    }

    int32_t remove_hash(const RecordName &name, const StoredFields &index) override {
        head_.clear();
        append_hash_head(head_, OX_MOM_CMD_DELETED, {});
        begin_hash_command(name);
        add_to_command(index);
        return run(remove_hash_, name);
    }

    int32_t read_object(const RecordName &name, std::string_view &bytes, bool &found) override {
        int32_t code = 0;
        const Reply *reply = read(name.db, {"GET", name.key}, requests_.limit(), &code);
        if (reply == nullptr) {
            return code;
        }
        found = reply->type == Reply::Type::kString;
        bytes = reply->text;
        return found || reply->type == Reply::Type::kNil ? 0 : refusal(name.key, *reply);
    }

    int32_t write_object(const RecordName &name, std::string_view bytes) override {
        head_.clear();
        append_object_head(head_, OX_MOM_CMD_WRITTEN);
        begin_object_command(name);
        command_.push_back(bytes);
        return run(write_object_, name);
    }

    int32_t remove_object(const RecordName &name) override {
        head_.clear();
        append_object_head(head_, OX_MOM_CMD_DELETED);
        begin_object_command(name);
        return run(remove_object_, name);
    }

    int32_t scan_hashes(int32_t db, std::string_view type, ScanVisitor &visitor) override;

private:
    using Repeat = Requests::Repeat;

    const Reply *read(int32_t db, std::initializer_list<std::string_view> command, TimePoint end, int32_t *code) {
        return requests_.make(db, std::span(command.begin(), command.size()), Repeat::kOnce, end, arena_, code);
    }

    // The words that scripts begin with, but for the script itself, which run() knows. The head is in head_ already.
    void begin_hash_command(const RecordName &name) {
        channel_.clear();
        append_channel(channel_, name.db, name.key);
        const auto of_type = std::string_view(channel_).substr(0, channel_.size() - name.key.size() + name.type.size());
        set_ = kSetPrefix;
        set_ += name.type;
        command_.assign({"EVALSHA", {}, "2", name.key, set_, of_type, channel_, head_});
    }

    void add_to_command(const StoredFields &fields) {
        numbers_.clear();
        numbers_.reserve(fields.size());
        for (const StoredField &field : fields) {
            command_.push_back(numbers_.emplace_back(std::to_string(field.number)));
            command_.push_back(field.value);
        }
    }

    void begin_object_command(const RecordName &name) {
        channel_.clear();
        append_channel(channel_, name.db, name.key);
        command_.assign({"EVALSHA", {}, "1", name.key, channel_, head_});
    }

    int32_t run(Script &script, const RecordName &name);
    int32_t load(Script &script, int32_t db, TimePoint end);

    StoreListener &listener_;
    std::array<bool, kDatabases> connected_{};
    Requests requests_;
    Arena arena_;
    std::vector<std::string_view> command_;
    // The texts that a command's words refer to. Kept from one to the next, so that a write allocates nothing here.
    std::string channel_;
    std::string set_;
    std::string head_;
    std::vector<std::string> numbers_;
    Script write_hash_{.body = kWriteHashScript, .digest = {}};
    Script remove_hash_{.body = kRemoveHashScript, .digest = {}};
    Script write_object_{.body = kWriteObjectScript, .digest = {}};
    Script remove_object_{.body = kRemoveObjectScript, .digest = {}};
};

int32_t RedisStore::connect(int32_t db) {
    bool &connected = connected_[static_cast<size_t>(db)];
    if (connected) {
        return 0;
    }
    const int32_t code = requests_.connect(db);
    connected = code == 0;
    if (connected) {
        listener_.on_up();
    }
    return code;
}

int32_t RedisStore::run(Script &script, const RecordName &name) {
    // The server forgets scripts when it restarts: what it does not know any more is loaded again, once.
    const TimePoint end = requests_.limit();
    for (bool loaded_now = false;; loaded_now = true) {
        int32_t code = script.digest.empty() || loaded_now ? load(script, name.db, end) : 0;
        if (code != 0) {
            return code;
        }
        command_[kDigest] = script.digest;
        const Reply *reply = requests_.make(name.db, command_, Repeat::kNever, end, arena_, &code);
        if (reply == nullptr) {
            return code;
        }
        if (reply->type == Reply::Type::kInteger) {
            return 0;
        }
        if (loaded_now || !reply->text.starts_with("NOSCRIPT")) {
            return refusal(name.key, *reply);
        }
    }
}

int32_t RedisStore::load(Script &script, int32_t db, TimePoint end) {
    int32_t code = 0;
    const Reply *reply = read(db, {"SCRIPT", "LOAD", script.body}, end, &code);
    if (reply == nullptr) {
        return code;
    }
    if (reply->type != Reply::Type::kString) {
        return refusal("a script", *reply);
    }
    script.digest = reply->text;
    return 0;
}

int32_t RedisStore::scan_hashes(int32_t db, std::string_view type, ScanVisitor &visitor) {
    // Arenas of its own, and whole batches: the visitor may make requests, or scan.
    Arena keys_arena;
    Arena batch_arena;
    int32_t code = 0;
    const std::string set = std::string(kSetPrefix).append(type);
    const std::array<std::string_view, 2> command{"SMEMBERS", set};
    const Reply *members = requests_.make(db, command, Repeat::kOnce, requests_.limit(), keys_arena, &code);
    if (members == nullptr) {
        return code;
    }
    if (members->type != Reply::Type::kArray) {
        return refusal(set, *members);
    }
    std::string commands;
    std::vector<const Reply *> batch;
    StoredFields fields;
    Clock::duration left = requests_.timeout() * kScanLimits;
    for (std::span<const Reply> keys = members->elements; !keys.empty();) {
        const auto part = keys.first(std::min(kScanBatch, keys.size()));
        keys = keys.subspan(part.size());
        commands.clear();
        for (const Reply &key : part) {
            append_command(commands, std::array<std::string_view, 2>{"HGETALL", key.text});
        }
        const TimePoint start = Clock::now();
        const TimePoint end = start + std::min<Clock::duration>(requests_.timeout(), left);
        code = requests_.make_batch(db, commands, part.size(), end, batch_arena, batch);
        if (code != 0) {
            return code;
        }
        left -= Clock::now() - start;
        for (size_t i = 0; i < part.size(); ++i) {
            if (!to_fields(*batch[i], fields)) {
                tell(Level::kWarning,
                     Words("record %.*s skipped: %.*s", static_cast<int>(part[i].text.size()), part[i].text.data(),
                           static_cast<int>(batch[i]->text.size()), batch[i]->text.data()));
            } else if (!fields.empty() && !visitor.on_hash(part[i].text, fields)) {
                return 0;
            }
        }
    }
    return 0;
}

}  // namespace

}  // namespace redis

std::unique_ptr<Store> make_redis_store(StoreName name, Loop &loop, StoreListener &listener, Millis timeout) {
    return std::make_unique<redis::RedisStore>(std::move(name), loop, listener, timeout);
}

}  // namespace mom
