// A client's scans: every record of a type, as if each had just been written.
#include <algorithm>
#include <new>
#include <utility>

#include "client/client.h"
#include "core/error.h"
#include "core/tell.h"
#include "records/decoding.h"
#include "records/key.h"

namespace mom {

class Client::Scan final : public ScanVisitor {
public:
    Scan(Client &client, int32_t db, const ProtobufCMessageDescriptor &type, MomMsgCb cb, Channel *channel)
        : client_(client), db_(db), type_(type), cb_(cb), told_(channel != nullptr ? &channel->told : nullptr) {}

    bool on_hash(std::string_view key, const StoredFields &fields) override {
        const ScratchPool::Lease scratch(client_.scratches_);
        MomHashResult *result = make_result(scratch.arena());
        if (result == nullptr || decode_hash(type_, fields, key, scratch.arena(), *result) != 0) {
            return skip(key, scratch.arena());
        }
        if (told_ != nullptr) {
            bytes_.clear();
            const std::string_view index = append_fields(bytes_, fields);
            told_->keep(index, bytes_);
        }
        return call(OX_MOM_CMD_DELIVERED, result);
    }

    bool on_object(std::string_view bytes) {
        const ScratchPool::Lease scratch(client_.scratches_);
        ProtobufCMessage *record = decode_message(type_, bytes, scratch.arena());
        if (record == nullptr) {
            fail(OX_MOM_E_DECODE, "%s does not decode as its type", type_.name);
            return skip(type_.name, scratch.arena());
        }
        if (told_ != nullptr) {
            told_->keep({}, bytes);
        }
        return call(OX_MOM_CMD_WRITTEN, record);
    }

private:
    // A record that does not decode is no reason to end the scan. One that does not fit into memory is.
    static bool skip(std::string_view key, const Arena &arena) {
        if (arena.exhausted()) {
            throw std::bad_alloc();
        }
        std::string_view why = last_error();
        why.remove_prefix(std::min(key.size() + 1, why.size()));  // the key, which is said first
        tell(Level::kWarning, Words("record %.*s skipped: %.*s", static_cast<int>(key.size()), key.data(),
                                    static_cast<int>(why.size()), why.data()));
        return true;
    }

    bool call(int32_t cmd, void *result) {
        MomMsg message{.client = client_.handle_, .db = db_, .cmd = cmd, .result = result};
        cb_(client_.handle_, &message);
        return !client_.destroyed_;
    }

    Client &client_;
    int32_t db_;
    const ProtobufCMessageDescriptor &type_;
    MomMsgCb cb_;
    ToldRecords *told_;
    std::string bytes_;
};

// The channel of a type that is followed; nullptr when nobody does.
Channel *Client::followed(int32_t db, const ProtobufCMessageDescriptor &type) {
    Channel *channel = subscriptions_.find(channel_of(db, type.name));
    return channel != nullptr && channel->has_records() ? channel : nullptr;
}

void Client::note_load(int32_t db, const ProtobufCMessageDescriptor &type, int32_t code) {
    const bool no_answer = code == OX_MOM_E_LOST || code == OX_MOM_E_TIMEOUT;
    if (delivering_ > 0 && !destroyed_ && (no_answer || code == OX_MOM_E_MEMORY)) {
        // Without memory there is none to find out whether it is followed.
        load_failed_ = load_failed_ || code == OX_MOM_E_MEMORY || followed(db, type) != nullptr;
    }
}

void Client::load_again() {
    load_failed_ = false;
    store_->fall_behind("a callback could not load what is stored");  // until it can
}

int32_t Client::scan(int32_t db, const ProtobufCMessageDescriptor &type, MomMsgCb cb) {
    Scan scan(*this, db, type, cb, followed(db, type));
    int32_t code = 0;
    if (index_of(type) != nullptr) {
        code = requested_store().scan_hashes(db, type.name, scan);
    } else {
        std::string_view bytes;
        bool found = false;
        code = requested_store().read_object({.db = db, .type = type.name, .key = type.name}, bytes, found);
        if (code == 0 && found) {
            scan.on_object(bytes);
        }
    }
    return destroyed_ ? fail(OX_MOM_E_DESTROYED, "the client was destroyed by a callback of the scan") : code;
}

}  // namespace mom
