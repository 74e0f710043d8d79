#include "store_client.h"

#include <cstdlib>

#include "command_line/exit_status.h"
#include "command_line/text.h"

namespace capctl {

using namespace command_line;

namespace {

// By the names of the OX_MOM_E_ codes: a new one does not compile until it has an entry.
enum StatusByName : int {
    ON_ARGUMENT = kFailed,
    ON_MEMORY = kFailed,
    ON_THREAD = kFailed,
    ON_FORK = kFailed,
    ON_STORE = kUsage,
    ON_NOT_CONNECTED = kFailed,
    ON_CONNECT = kNoConnection,
    ON_LOST = kNoConnection,
    ON_TIMEOUT = kTimeOut,
    ON_REFUSED = kRefused,
    ON_TYPE = kUnreadable,
    ON_DECODE = kUnreadable,
    ON_DESTROYED = kFailed,
};

ExitStatus status_of(int32_t store_code) {
    switch (store_code) {
#define STATUS_CASE(name, code, text)                                                                                  \
    case OX_MOM_E_##name:                                                                                              \
        return static_cast<ExitStatus>(ON_##name);
        OX_MOM_ERRORS(STATUS_CASE)
#undef STATUS_CASE
        default:
            return kFailed;
    }
}

[[noreturn]] void fail(int32_t code) {
    const std::string reason = ox_mom_last_error();
    throw Failure(status_of(code), reason.empty() ? ox_mom_strerror(code) : reason);
}

void check(int32_t code) {
    if (code != 0) {
        fail(code);
    }
}

}  // namespace

StoreClient::StoreClient(const std::string &name) : client_(ox_mom_client_create(name.c_str())) {
    if (!client_) {
        throw Failure(kUsage, ox_mom_last_error());
    }
}

void StoreClient::connect(int32_t db) { check(ox_mom_client_connect_sync(client_.get(), db)); }

HashResult StoreClient::read_hash(int32_t db, const ProtobufCMessage &request) {
    HashResult result(ox_mom_hgetall_sync(client_.get(), db, &request));
    if (!result) {
        throw Failure(kFailed, ox_mom_last_error());
    }
    check(result->error_code);
    return result;
}

void StoreClient::write_hash(int32_t db, const ProtobufCMessage &record, std::span<const int32_t> fields) {
    check(ox_mom_hmset_sync(client_.get(), db, &record, fields.data(), static_cast<uint32_t>(fields.size())));
}

Object StoreClient::read_object(int32_t db, const ProtobufCMessage &request) {
    int32_t error = 0;
    Object record(ox_mom_get_sync(client_.get(), db, &request, &error));
    check(error);
    return record;
}

void StoreClient::write_object(int32_t db, const ProtobufCMessage &record) {
    check(ox_mom_set_sync(client_.get(), db, &record));
}

std::string store_name(const std::string &option) {
    std::string name = option;
    if (const char *variable = std::getenv("OX_MOM_STORE"); name.empty() && variable != nullptr) {
        name = variable;
    }
    if (name.empty()) {
        throw Failure(kUsage, "no store is named: give --store NAME, or set OX_MOM_STORE");
    }
    if (name.starts_with("mem:")) {
        throw Failure(kUsage, "store " + quote(name) +
                                  ": an embedded store lives and ends with its process, so there " +
                                  "is nothing to reach; name a server's (unix:///path, redis://host, sentinel://...)");
    }
    return name;
}

}  // namespace capctl
