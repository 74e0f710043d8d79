#include "store.h"

#include <cstdlib>

#include "exit_code.h"
#include "text.h"

namespace capctl {

namespace {

[[noreturn]] void fail(int32_t code) {
    const std::string reason = ox_mom_last_error();
    throw Failure(exit_code_of(code), reason.empty() ? ox_mom_strerror(code) : reason);
}

void check(int32_t code) {
    if (code != 0) {
        fail(code);
    }
}

}  // namespace

Store::Store(const std::string &name) : client_(ox_mom_client_create(name.c_str())) {
    if (!client_) {
        throw Failure(kUsage, ox_mom_last_error());
    }
}

void Store::connect(int32_t db) { check(ox_mom_client_connect_sync(client_.get(), db)); }

HashResult Store::read_hash(int32_t db, const ProtobufCMessage &request) {
    HashResult result(ox_mom_hgetall_sync(client_.get(), db, &request));
    if (!result) {
        throw Failure(kFailed, ox_mom_last_error());
    }
    check(result->error_code);
    return result;
}

void Store::write_hash(int32_t db, const ProtobufCMessage &record, std::span<const int32_t> fields) {
    check(ox_mom_hmset_sync(client_.get(), db, &record, fields.data(), static_cast<uint32_t>(fields.size())));
}

Object Store::read_object(int32_t db, const ProtobufCMessage &request) {
    int32_t error = 0;
    Object record(ox_mom_get_sync(client_.get(), db, &request, &error));
    check(error);
    return record;
}

void Store::write_object(int32_t db, const ProtobufCMessage &record) {
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
