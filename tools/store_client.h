// The store, for one command.
#pragma once

#include <ox_mom.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace capctl {

struct HashResultDeleter {
    void operator()(MomHashResult *result) const { ox_mom_hash_res_free(result); }
};
using HashResult = std::unique_ptr<MomHashResult, HashResultDeleter>;

struct ObjectDeleter {
    void operator()(ProtobufCMessage *record) const { ox_mom_ox_obj_free(record); }
};
using Object = std::unique_ptr<ProtobufCMessage, ObjectDeleter>;

// Every member throws a Failure when the store cannot do it.
class StoreClient {
public:
    explicit StoreClient(const std::string &name);

    void connect(int32_t db);
    // A missing record is a result without one.
    HashResult read_hash(int32_t db, const ProtobufCMessage &request);
    void write_hash(int32_t db, const ProtobufCMessage &record, std::span<const int32_t> fields);
    // A missing record is a null pointer.
    Object read_object(int32_t db, const ProtobufCMessage &request);
    void write_object(int32_t db, const ProtobufCMessage &record);

private:
    struct ClientDeleter {
        void operator()(MomClient *client) const { ox_mom_client_destroy(client); }
    };
    std::unique_ptr<MomClient, ClientDeleter> client_;
};

// The store to use: what --store was given, else $OX_MOM_STORE.
std::string store_name(const std::string &option);

}  // namespace capctl
