#include "client/requests.h"

#include <array>
#include <utility>

#include "core/error.h"
#include "records/decoding.h"
#include "records/encoding.h"
#include "records/key.h"
#include "records/result.h"

namespace mom {

namespace {

// Takes the steps until one fails.
template <class... Steps>
int32_t in_turn(Steps &&...steps) {
    int32_t code = 0;
    static_cast<void>((((code = steps()) == 0) && ...));
    return code;
}

// Names the addressed record. The name is good until the client's next request.
int32_t address(Client &client, int32_t db, const ProtobufCMessage &message, RecordName &name) {
    std::string &key = client.workspace().key;
    key.clear();
    const int32_t code = append_key(message, key);
    name = {.db = db, .type = message.descriptor->name, .key = key};
    return code;
}

RecordName object_of(const ProtobufCMessageDescriptor &type, int32_t db) {
    return {.db = db, .type = type.name, .key = type.name};
}

size_t size_of(const StoredFields &fields) {
    size_t size = 0;
    for (const StoredField &field : fields) {
        size += field.value.size();
    }
    return size;
}

}  // namespace

int32_t expect_kind(const ProtobufCMessageDescriptor &type, bool is_hash) {
    if ((index_of(type) != nullptr) == is_hash) {
        return 0;
    }
    return fail(OX_MOM_E_ARGUMENT,
                is_hash ? "%s is a single object: it has no fields of its own"
                        : "%s has an index: it is no single object",
                type.name);
}

int32_t read_hash(Client &client, int32_t db, const ProtobufCMessage &request, ArenaPtr &arena) {
    const ProtobufCMessageDescriptor &type = *request.descriptor;
    StoredFields &fields = client.workspace().fields;
    fields.clear();
    RecordName name;
    int32_t code = in_turn([&] { return expect_kind(type, true); }, [&] { return address(client, db, request, name); },
                           [&] { return client.check_connected(db); });
    if (code == OX_MOM_E_ARGUMENT) {
        return code;
    }
    if (code == 0) {
        code = client.requested_store().read_hash(name, fields);
    }
    ArenaPtr made(Arena::create(result_capacity(type, size_of(fields), fields.size())));
    MomHashResult *result = made ? make_result(*made) : nullptr;
    if (result == nullptr) {
        return fail(OX_MOM_E_MEMORY, "out of memory");
    }
    if (code == 0) {
        code = decode_hash(type, fields, name.key, *made, *result);
    }
    result->error_code = code;
    arena = std::move(made);
    return code;
}

int32_t write_hash(Client &client, int32_t db, const ProtobufCMessage &record, std::span<const int32_t> written) {
    if (written.empty()) {
        return fail(OX_MOM_E_ARGUMENT, "%s: no field named to write", record.descriptor->name);
    }
    RecordName name;
    EncodedFields &encoded = client.workspace().encoded;
    return in_turn([&] { return expect_kind(*record.descriptor, true); },
                   [&] { return address(client, db, record, name); }, [&] { return encoded.encode(record, written); },
                   [&] { return client.requested_store().write_hash(name, encoded.fields(), written); });
}

int32_t read_object(Client &client, int32_t db, const ProtobufCMessage &request, ProtobufCMessage *&record) {
    const ProtobufCMessageDescriptor &type = *request.descriptor;
    std::string_view bytes;
    bool found = false;
    const int32_t code =
        in_turn([&] { return expect_kind(type, false); },
                [&] { return client.requested_store().read_object(object_of(type, db), bytes, found); });
    if (code != 0 || !found) {
        return code;
    }
    ArenaPtr arena(Arena::create(result_capacity(type, bytes.size(), 0)));
    record = arena ? decode_message(type, bytes, *arena) : nullptr;
    if (record == nullptr) {
        return arena && !arena->exhausted() ? fail(OX_MOM_E_DECODE, "%s does not decode as its type", type.name)
                                            : fail(OX_MOM_E_MEMORY, "out of memory");
    }
    // It leads back to its arena when it is released.
    static_cast<void>(arena.release());
    return 0;
}

int32_t write_object(Client &client, int32_t db, const ProtobufCMessage &record) {
    const ProtobufCMessageDescriptor &type = *record.descriptor;
    return in_turn([&] { return expect_kind(type, false); },
                   [&] { return client.requested_store().write_object(object_of(type, db), encode_object(record)); });
}

int32_t remove_record(Client &client, int32_t db, const ProtobufCMessage &request) {
    constexpr std::array kIndexAlone = {static_cast<int32_t>(kIndexField)};
    const bool is_hash = index_of(*request.descriptor) != nullptr;
    EncodedFields &encoded = client.workspace().encoded;
    RecordName name;
    return in_turn([&] { return address(client, db, request, name); },
                   [&] { return is_hash ? encoded.encode(request, kIndexAlone) : 0; },
                   [&] {
                       Store &store = client.requested_store();
                       return is_hash ? store.remove_hash(name, encoded.fields()) : store.remove_object(name);
                   });
}

}  // namespace mom
