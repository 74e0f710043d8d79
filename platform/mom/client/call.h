// Who may call: what every exported function of a client begins and ends with.
#pragma once

#include <cstdint>
#include <new>

#include "client/client.h"
#include "client/handle.h"
#include "core/caller.h"
#include "core/error.h"
#include "ox_mom.h"

namespace mom {

// The client behind a handle that the caller may use; nullptr, with the code, when not.
inline Client *open_handle(const MomClient *handle, const Caller &calling, int32_t *code) {
    if (handle == nullptr) {
        *code = fail(OX_MOM_E_ARGUMENT, "client is NULL");
        return nullptr;
    }
    return handle->open(calling, code);
}

// Whatever failed before or meanwhile, a call that succeeds leaves no story.
inline int32_t ended(int32_t code, Caller &calling) {
    if (code >= 0) {
        calling.words[0] = '\0';
    }
    return code;
}

// None of these is noexcept: a callback that ends its thread is unwound through them.
template <class Work>
int32_t run(MomClient *handle, const Caller &calling, Work work) {
    int32_t code = 0;
    Client *client = open_handle(handle, calling, &code);
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
    Caller &calling = caller;
    return ended(run(handle, calling, work), calling);
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

// The same for what loads records of a type.
template <class Work>
int32_t load(MomClient *handle, int32_t db, const ProtobufCMessage *request, Work work) {
    return call(handle, db, request, [&](Client &client, const ProtobufCMessageDescriptor &type) {
        try {
            const int32_t code = work(client, type);
            client.note_load(db, type, code);
            return code;
        } catch (const std::bad_alloc &) {
            client.note_load(db, type, OX_MOM_E_MEMORY);
            throw;
        }
    });
}

}  // namespace mom
