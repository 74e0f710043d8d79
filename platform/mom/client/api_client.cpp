// The exported functions of a client as such: made, run, asked after.
#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>

#include "client/call.h"
#include "core/credentials.h"
#include "core/store_name.h"

using namespace mom;

namespace {

constexpr std::string_view kDefaultStore = "mem:";
constexpr size_t kFirstStatus = sizeof(MomClientStatus);  // of the first version of this library, whatever is added

// As much as the caller's struct has room for. A later one's members that are not known here are 0.
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
    if (text == nullptr) {
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
    const std::string_view name = store != nullptr              ? store
                                  : from_environment != nullptr ? from_environment
                                                                : kDefaultStore;
    const int timeout = request_timeout();
    auto parsed = timeout > 0 ? parse_store_name(name) : std::nullopt;
    MomClient *client = parsed && complete_credentials(*parsed) ? Client::create(*parsed, Millis(timeout)) : nullptr;
    ended(client != nullptr ? 0 : OX_MOM_E_MEMORY, caller);
    return client;
} catch (const std::bad_alloc &) {
    fail(OX_MOM_E_MEMORY, "out of memory");
    return nullptr;
}

void ox_mom_client_destroy(MomClient *client) {
    if (client != nullptr) {
        // Why an earlier call failed is often said only after this one.
        run(client, caller, [](Client &opened) {
            opened.destroy();
            return 0;
        });
    }
}

int ox_mom_client_fd(const MomClient *client) {
    Caller &calling = caller;
    int32_t code = 0;
    const Client *opened = open_handle(client, calling, &code);
    return opened != nullptr ? ended(opened->fd(), calling) : code;
}

int32_t ox_mom_client_process(MomClient *client, int32_t timeout_ms) {
    return call(client, [&](Client &opened) { return opened.process(timeout_ms); });
}

int32_t ox_mom_client_status(MomClient *client, MomClientStatus *status) {
    return call(client, [&](Client &opened) {
        if (status == nullptr || status->size < kFirstStatus) {
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

const char *ox_mom_last_error(void) { return last_error(); }

}  // extern "C"
