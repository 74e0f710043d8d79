#include "writer.h"

#include <hiredis/hiredis.h>
#include <protobuf-c/protobuf-c.h>
#include <trel_cap/records.h>

#include <stdexcept>

#include "chassis/card.h"
#include "store/store.h"

namespace crowd {
namespace {

chassis::Card card_of(int32_t node) { return chassis::usual_card(chassis::CardClass::kLineCard, node); }

class ChassisWriter : public Writer {
public:
    ChassisWriter(const std::string &store, Shared &shared) : store_(store), shared_(shared) {}

    void insert(int32_t node) override {
        store_.write(chassis::card_info(card_of(node)));
        store_.write(chassis::check_result(card_of(node), true));
    }
    void set_ready(int32_t node, bool ready) override {
        const record::Record record = chassis::node_ready(card_of(node), ready, true);
        shared_.written_at.at(static_cast<size_t>(node)) = now_ns();
        store_.write(record);
    }

private:
    store::Store store_;
    Shared &shared_;
};

// Stores the record and publishes it, in one request.
class BareWriter : public Writer {
public:
    BareWriter(const std::string &store, Shared &shared)
        : context_(redisConnectUnix(path_of(store))), shared_(shared) {}
    BareWriter(const BareWriter &) = delete;
    BareWriter &operator=(const BareWriter &) = delete;
    ~BareWriter() override { redisFree(context_); }

    void insert(int32_t) override {}
    void set_ready(int32_t node, bool ready) override {
        CapFeReadyIndex index = CAP_FE_READY_INDEX__INIT;
        CapFeReady record = CAP_FE_READY__INIT;
        const chassis::Card card = card_of(node);
        index.node = node;
        index.config_dev_type = record.config_dev_type = card.config_dev_type;
        record.index = &index;
        record.ready = ready ? 1 : 0;
        record.devid = card.devid;
        record.slotid = card.slotid;
        record.node_type = card.node_type;
        record.real_time = 1;
        std::string bytes(protobuf_c_message_get_packed_size(&record.base), '\0');
        protobuf_c_message_pack(&record.base, reinterpret_cast<uint8_t *>(bytes.data()));
        shared_.written_at.at(static_cast<size_t>(node)) = now_ns();
        redisAppendCommand(context_, "SET crowd:%d %b", node, bytes.data(), bytes.size());
        redisAppendCommand(context_, "PUBLISH %s %b", kBareChannel, bytes.data(), bytes.size());
        receive();
        receive();
    }

private:
    void receive() {
        void *reply = nullptr;
        if (redisGetReply(context_, &reply) != REDIS_OK) {
            throw std::runtime_error(context_->errstr);
        }
        freeReplyObject(reply);
    }

    redisContext *context_;
    Shared &shared_;
};

}  // namespace

std::unique_ptr<Writer> writer_for(Kind kind, const std::string &store, Shared &shared) {
    if (kind == Kind::kApplication) {
        return std::make_unique<ChassisWriter>(store, shared);
    }
    return std::make_unique<BareWriter>(store, shared);
}

}  // namespace crowd
