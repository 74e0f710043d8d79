// The exported functions: who may call, with what arguments; the work is done elsewhere.
#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <new>

#include "client/attachment.h"
#include "client/client.h"
#include "core/caller.h"
#include "core/error.h"
#include "core/store_name.h"
#include "ox_mom.h"
#include "records/decoding.h"
#include "records/encoding.h"
#include "records/result.h"

using mom::Caller;
using mom::Client;
using mom::fail;

namespace {

constexpr std::string_view kDefaultStore = "mem:";
constexpr size_t kFirstStatus = sizeof(MomClientStatus);  // of the first version of this library, whatever is added

// The client behind a handle that the caller may use; nullptr, with the code, when not.
Client *open(const MomClient *handle, const Caller &caller, int32_t *code) {
    if (!handle) {
        *code = fail(OX_MOM_E_ARGUMENT, "client is NULL");
        return nullptr;
    }
    return handle->open(caller, code);
}

// Whatever failed before or meanwhile, a call that succeeds leaves no story.
int32_t ended(int32_t code, Caller &caller) {
    if (code >= 0) {
        caller.words[0] = '\0';
    }
    return code;
}

// None of these is noexcept: a callback that ends its thread is unwound through them.
template <class Work>
int32_t run(MomClient *handle, const Caller &caller, Work work) {
    int32_t code = 0;
    Client *client = open(handle, caller, &code);
    if (!client) {
        return code;
    }
    try {
        const Client::CallScope scope(*client);
        code = work(*client);
        if (code < 0) {
            client->failed(code);
        }
    } catch (const std::bad_alloc &) {
        return fail(OX_MOM_E_MEMORY, "out of memory");
    }
    return code;
}

template <class Work>
int32_t call(MomClient *handle, Work work) {
    Caller &caller = mom::caller;
    return ended(run(handle, caller, work), caller);
}

// The same for what needs a message.
template <class Work>
int32_t call(MomClient *handle, const ProtobufCMessage *message, Work work) {
    return call(handle, [&](Client &client) {
        if (!message || !message->descriptor) {
            return fail(OX_MOM_E_ARGUMENT, "%s", message ? "the message has no descriptor" : "the message is NULL");
        }
        return work(client, *message->descriptor);
    });
}

// The same for what needs a connected database too.
template <class Work>
int32_t call(MomClient *handle, int32_t db, const ProtobufCMessage *message, Work work) {
    return call(handle, message, [&](Client &client, const ProtobufCMessageDescriptor &type) {
        const int32_t code = client.check_connected(db);
        return code != 0 ? code : work(client, type);
    });
}

int32_t expect_kind(const ProtobufCMessageDescriptor &type, bool indexed) {
    if ((mom::index_of(type) != nullptr) == indexed) {
        return 0;
    }
    return fail(OX_MOM_E_ARGUMENT,
                indexed ? "%s is a single object: it has no fields of its own"
                        : "%s has an index: it is no single object",
                type.name);
}

// Names the addressed record. The name is good until the client's next request.
int32_t address(Client &client, int32_t db, const ProtobufCMessage &message, mom::RecordName &name) {
    std::string &key = client.workspace().key;
    key.clear();
    const int32_t code = mom::append_key(message, key);
    name = {.db = db, .type = message.descriptor->name, .key = key};
    return code;
}

// Without an arena afterwards, the call itself was wrong; with one, the code is the result's too.
int32_t read_hash(Client &client, int32_t db, const ProtobufCMessage &message, mom::ResultArenaPtr &arena) {
    const ProtobufCMessageDescriptor &type = *message.descriptor;
    mom::StoredFields &fields = client.workspace().fields;
    fields.clear();
    mom::RecordName name;
    int32_t code = expect_kind(type, true);
    code = code != 0 ? code : address(client, db, message, name);
    code = code != 0 ? code : client.check_connected(db);
    if (code == OX_MOM_E_ARGUMENT) {
        return code;
    }
    code = code != 0 ? code : client.requested_store().read_hash(name, fields);
    size_t stored_bytes = 0;
    for (const auto &field : fields) {
        stored_bytes += field.value.size();
    }
    mom::ResultArenaPtr made(mom::ResultArena::create(mom::result_capacity(type, stored_bytes, fields.size())));
    MomHashResult *result = made ? mom::make_result(*made) : nullptr;
    if (!result) {
        return fail(OX_MOM_E_MEMORY, "out of memory");
    }
    result->error_code = code;
    code = code != 0 ? code : mom::decode_hash(type, fields, name.key, *made, *result);
    arena = std::move(made);
    return code;
}

int32_t read_object(Client &client, int32_t db, const ProtobufCMessage &message, ProtobufCMessage *&record) {
    const ProtobufCMessageDescriptor &type = *message.descriptor;
    std::string_view bytes;
    bool found = false;
    const int32_t code =
        client.requested_store().read_object({.db = db, .type = type.name, .key = type.name}, bytes, found);
    if (code != 0 || !found) {
        return code;
    }
    mom::ResultArenaPtr arena(mom::ResultArena::create(mom::result_capacity(type, bytes.size(), 0)));
    record = arena ? mom::decode_message(type, bytes, *arena) : nullptr;
    if (!record) {
        return arena && !arena->exhausted() ? fail(OX_MOM_E_DECODE, "%s does not decode as its type", type.name)
                                            : fail(OX_MOM_E_MEMORY, "out of memory");
    }
    // The record is the first thing in its arena: it leads back there when it is released.
    static_cast<void>(arena.release());
    return 0;
}

// What a caller's struct has room for. A later one's members that are not known here are 0.
void show(Client &client, MomClientStatus &status) {
    MomClientStatus known{};
    client.show(known);
    known.size = status.size;
    std::memset(&status, 0, known.size);
    std::memcpy(&status, &known, std::min<size_t>(known.size, sizeof known));
}

// $OX_MOM_TIMEOUT_MS, or the default; 0 when it is no number above 0.
int request_timeout() {
    const char *text = std::getenv("OX_MOM_TIMEOUT_MS");
    if (!text) {
        return OX_MOM_REQUEST_TIMEOUT_MS;
    }
    int limit = 0;
    const auto [end, error] = std::from_chars(text, text + std::strlen(text), limit);
    if (error != std::errc() || *end != '\0' || limit < 1) {
        fail(OX_MOM_E_ARGUMENT, "OX_MOM_TIMEOUT_MS: milliseconds above 0 expected, not \"%s\"", text);
        return 0;
    }
    return limit;
}

}  // namespace

extern "C" {

MomClient *ox_mom_client_create(const char *store) try {
    const char *from_environment = std::getenv("OX_MOM_STORE");
    const std::string_view name = store ? store : from_environment ? from_environment : kDefaultStore;
    const int timeout = request_timeout();
    const auto parsed = timeout > 0 ? mom::parse_store_name(name) : std::nullopt;
    MomClient *client = parsed ? Client::create(*parsed, mom::Millis(timeout)) : nullptr;
    ended(client ? 0 : OX_MOM_E_MEMORY, mom::caller);
    return client;
} catch (const std::bad_alloc &) {
    fail(OX_MOM_E_MEMORY, "out of memory");
    return nullptr;
}

void ox_mom_client_destroy(MomClient *client) {
    if (client) {
        // Why an earlier call failed is often said only after this one.
        run(client, mom::caller, [](Client &opened) {
            opened.destroy();
            return 0;
        });
    }
}

int ox_mom_client_fd(const MomClient *client) {
    Caller &caller = mom::caller;
    int32_t code = 0;
    const Client *opened = open(client, caller, &code);
    return opened ? ended(opened->fd(), caller) : code;
}

int32_t ox_mom_client_process(MomClient *client, int32_t timeout_ms) {
    return call(client, [&](Client &opened) { return opened.process(timeout_ms); });
}

int32_t ox_mom_client_status(MomClient *client, MomClientStatus *status) {
    return call(client, [&](Client &opened) {
        if (!status || status->size < kFirstStatus) {
            return fail(OX_MOM_E_ARGUMENT, "status is NULL, or its size is not set");
        }
        show(opened, *status);
        return 0;
    });
}

int32_t ox_mom_client_connect_sync(MomClient *client, int32_t db) {
    return call(client, [&](Client &opened) { return opened.connect(db); });
}

int32_t ox_mom_client_set_reconnect_cb(MomClient *client, int32_t db, MomReconnectCb cb, void *) {
    return call(client, [&](Client &opened) { return opened.set_reconnect_cb(db, cb); });
}

MomHashResult *ox_mom_hgetall_sync(MomClient *client, int32_t db, const ProtobufCMessage *request) {
    mom::ResultArenaPtr arena;
    call(client, request,
         [&](Client &opened, const ProtobufCMessageDescriptor &) { return read_hash(opened, db, *request, arena); });
    return arena ? mom::ResultArena::first<MomHashResult>(arena.release()) : nullptr;
}

void ox_mom_hash_res_free(MomHashResult *result) {
    if (result) {
        mom::ResultArena::destroy(mom::ResultArena::of(result));
    }
}

int32_t ox_mom_hmset_sync(MomClient *client, int32_t db, const ProtobufCMessage *record, const int32_t *field_ids,
                          uint32_t n_field_ids) {
    return call(client, db, record, [&](Client &opened, const ProtobufCMessageDescriptor &type) {
        if (!field_ids || n_field_ids == 0) {
            return fail(OX_MOM_E_ARGUMENT, "%s: no field named to write", type.name);
        }
        const std::span written(field_ids, n_field_ids);
        mom::RecordName name;
        mom::EncodedFields encoded;
        int32_t code = expect_kind(type, true);
        code = code != 0 ? code : address(opened, db, *record, name);
        code = code != 0 ? code : encoded.encode(*record, written);
        return code != 0 ? code : opened.requested_store().write_hash(name, encoded.fields(), written);
    });
}

ProtobufCMessage *ox_mom_get_sync(MomClient *client, int32_t db, const ProtobufCMessage *request, int32_t *error) {
    ProtobufCMessage *record = nullptr;
    const int32_t code = call(client, db, request, [&](Client &opened, const ProtobufCMessageDescriptor &type) {
        const int32_t wrong_kind = expect_kind(type, false);
        return wrong_kind != 0 ? wrong_kind : read_object(opened, db, *request, record);
    });
    if (error) {
        *error = code;
    }
    return record;
}

int32_t ox_mom_ox_obj_free(ProtobufCMessage *record) {
    if (record) {
        mom::ResultArena::destroy(mom::ResultArena::of(record));
    }
    return 0;
}

int32_t ox_mom_set_sync(MomClient *client, int32_t db, const ProtobufCMessage *record) {
    return call(client, db, record, [&](Client &opened, const ProtobufCMessageDescriptor &type) {
        const int32_t code = expect_kind(type, false);
        return code != 0 ? code
                         : opened.requested_store().write_object({.db = db, .type = type.name, .key = type.name},
                                                                 mom::encode_object(*record));
    });
}

int32_t ox_mom_del_sync(MomClient *client, int32_t db, const ProtobufCMessage *request) {
    return call(client, db, request, [&](Client &opened, const ProtobufCMessageDescriptor &type) {
        mom::RecordName name;
        if (const int32_t code = address(opened, db, *request, name)) {
            return code;
        }
        return mom::index_of(type) ? opened.requested_store().remove_hash(name)
                                   : opened.requested_store().remove_object(name);
    });
}

int32_t ox_mom_subscribe(MomClient *client, int32_t db, const ProtobufCMessage *request, int32_t, MomMsgCb cb, void *) {
    return call(client, db, request, [&](Client &opened, const ProtobufCMessageDescriptor &type) {
        return cb ? opened.subscribe(db, type, cb) : fail(OX_MOM_E_ARGUMENT, "%s: the callback is NULL", type.name);
    });
}

int32_t ox_mom_subscribe_field(MomClient *client, int32_t db, const ProtobufCMessage *request, int32_t n_requests,
                               const int32_t *field_ids, const MomFieldCb *cbs, void *const *args, int32_t n_fields) {
    return call(client, db, request, [&](Client &opened, const ProtobufCMessageDescriptor &type) {
        if (n_requests != 1) {
            return fail(OX_MOM_E_ARGUMENT, "%s: one request expected, not %d", type.name, n_requests);
        }
        if (!field_ids || !cbs || n_fields < 1) {
            return fail(OX_MOM_E_ARGUMENT, "%s: no field named to follow, or no callback", type.name);
        }
        for (int32_t i = 0; i < n_fields; ++i) {
            const auto number = static_cast<unsigned>(field_ids[i]);
            if (!cbs[i] || !protobuf_c_message_descriptor_get_field(&type, number)) {
                return fail(OX_MOM_E_ARGUMENT, "%s: field %d is none of its fields, or has no callback", type.name,
                            field_ids[i]);
            }
        }
        const int32_t code = expect_kind(type, true);
        return code != 0 ? code
                         : opened.subscribe_fields(db, *request, {field_ids, static_cast<size_t>(n_fields)}, cbs, args);
    });
}

int32_t ox_mom_scan_sync(MomClient *client, int32_t db, const ProtobufCMessage *request, int32_t, MomMsgCb cb, void *) {
    return call(client, db, request, [&](Client &opened, const ProtobufCMessageDescriptor &type) {
        return cb ? opened.scan(db, type, cb) : fail(OX_MOM_E_ARGUMENT, "%s: the callback is NULL", type.name);
    });
}

int32_t ox_mom_attach(MomClient *client, int fd, uint32_t events, const MomAttachment *attachment) {
    return call(client, [&](Client &opened) {
        return attachment && attachment->on_ready ? opened.attachments().attach(fd, events, *attachment)
                                                  : fail(OX_MOM_E_ARGUMENT, "a function to call expected");
    });
}

int32_t ox_mom_alter(MomClient *client, int fd, uint32_t events) {
    return call(client, [&](Client &opened) { return opened.attachments().alter(fd, events); });
}

int32_t ox_mom_detach(MomClient *client, int fd) {
    return call(client, [&](Client &opened) {
        opened.attachments().detach(fd);
        return 0;
    });
}

const char *ox_mom_strerror(int32_t code) {
    switch (code) {
        case 0:
            return "success";
#define OX_MOM_ERROR_TEXT(name, number, text)                                                                          \
    case number:                                                                                                       \
        return text;
            OX_MOM_ERRORS(OX_MOM_ERROR_TEXT)
#undef OX_MOM_ERROR_TEXT
        default:
            return "unknown error";
    }
}

const char *ox_mom_last_error(void) { return mom::last_error(); }

}  // extern "C"
