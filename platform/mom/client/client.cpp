#include "client/client.h"

#include <algorithm>
#include <new>
#include <optional>
#include <utility>

#include "core/error.h"

namespace mom {

Client::Client(const StoreName &name) : standing_(name.shown) {}

Client::~Client() = default;

MomClient *Client::create(const StoreName &name, Millis timeout) {
    std::unique_ptr<Client> client(new Client(name));
    if (!client->loop_.open()) {
        fail(OX_MOM_E_MEMORY, "no descriptors or memory left for a client");
        return nullptr;
    }
    client->store_ = name.kind == StoreName::Kind::kMem ? make_mem_store(name.name, client->loop_, *client)
                                                        : make_redis_store(name, client->loop_, *client, timeout);
    client->handle_ = MomClient::of(*client);
    return client.release()->handle_;
}

Client::CallScope::~CallScope() {
    client_.cancel_state_ = outer_cancel_state_;
    if (--client_.depth_ > 0) {
        return;
    }
    if (client_.destroyed_) {
        delete &client_;
    } else if (client_.has_waiting()) {
        client_.loop_.wake();
    }
}

void Client::destroy() {
    destroyed_ = true;
    handle_->close();
}

int32_t Client::check_number(int32_t db) {
    const bool valid = db >= 0 && db < kDatabases;
    return valid ? 0 : fail(OX_MOM_E_ARGUMENT, "database %d: 0 to %d expected", db, kDatabases - 1);
}

int32_t Client::check_connected(int32_t db) const {
    const int32_t code = check_number(db);
    if (code == 0 && !store_->is_connected(db)) {
        return fail(OX_MOM_E_NOT_CONNECTED, "database %d has not been connected", db);
    }
    return code;
}

int32_t Client::connect(int32_t db) {
    if (const int32_t code = check_number(db)) {
        return code;
    }
    const int32_t code = requested_store().connect(db);
    if (code != 0) {
        standing_.refused(code, last_error());
    }
    return code;
}

int32_t Client::set_reconnect_cb(int32_t db, MomReconnectCb cb) {
    const int32_t code = check_number(db);
    if (code == 0) {
        reconnect_cbs_[static_cast<size_t>(db)] = cb;
    }
    return code;
}

void Client::show(MomClientStatus &status) {
    const Subscriptions::Count count = subscriptions_.count();
    standing_.show(status);
    status.record_subscriptions = static_cast<uint32_t>(count.records);
    status.field_subscriptions = static_cast<uint32_t>(count.fields);
    status.waiting = queue_.size() + store_->untold();
    status.delivered = delivered_;
    status.requests = requests_;
    status.timed_out = timed_out_;
}

}  // namespace mom
