// The processors and the readers of notifications, given any message: every command, records with anything in them or
// without an index, and NULL in every pointer. What the store holds meanwhile is arbitrary, too.
#include "bytes.h"

#include <ox_mom.h>
#include <trel_cap/trel_cap.h>

#include <array>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "record/message.h"

namespace {

struct Processor {
    MomMsgCb process;
    const ProtobufCMessageDescriptor *type;
    int32_t db;
};

constexpr std::array kProcessors{
    Processor{trel_cap_ce_glb_ready_pmsg_f, &cap_glb_state__descriptor, TREL_CAP_DB_CAPABILITIES},
    Processor{trel_cap_ce_fab_glb_ready_pmsg_f, &cap_fab_glb_state__descriptor, TREL_CAP_DB_CAPABILITIES},
    Processor{trel_cap_ce_cm_glb_ready_pmsg_f, &cap_cm_glb_state__descriptor, TREL_CAP_DB_CAPABILITIES},
    Processor{trel_cap_ce_hps_glb_ready_pmsg_f, &cap_hps_glb_state__descriptor, TREL_CAP_DB_CAPABILITIES},
    Processor{trel_cap_fe_node_pmsg_f, &cap_fe_ready__descriptor, TREL_CAP_DB_CAPABILITIES},
    Processor{trel_cap_fab_node_pmsg_f, &cap_fe_ready__descriptor, TREL_CAP_DB_CAPABILITIES},
    Processor{trel_cap_cm_node_pmsg_f, &cap_cm_ready__descriptor, TREL_CAP_DB_CAPABILITIES},
    Processor{trel_cap_hps_node_pmsg_f, &cap_fe_ready__descriptor, TREL_CAP_DB_CAPABILITIES},
    Processor{trel_cap_install_node_pmsg_f, &card_info__descriptor, TREL_CAP_DB_CARDS},
    Processor{trel_cap_app_df_pmsg_f, &app_df_card_deny_check_result__descriptor, TREL_CAP_DB_CAPABILITIES},
};

constexpr std::array kAnnouncements{trel_cap_notify_pre_install_node_pro, trel_cap_notify_pre_fab_install_node_pro,
                                    trel_cap_notify_pre_cm_install_node_pro, trel_cap_notify_pre_hps_install_node_pro};

constexpr std::array<int32_t, 4> kCommands{OX_MOM_CMD_WRITTEN, OX_MOM_CMD_DELETED, OX_MOM_CMD_DELIVERED,
                                           OX_MOM_CMD_SUBSCRIBED};

int32_t on_event(int32_t event, void *arg) {
    const bool is_of_node = event == TREL_CAP_EVENT_FE_NODE || event == TREL_CAP_EVENT_FAB_NODE ||
                            event == TREL_CAP_EVENT_CM_NODE || event == TREL_CAP_EVENT_HPS_NODE;
    fuzz::expect(is_of_node == (arg != nullptr), "an event of a node, and no other, says which");
    fuzz::expect(!is_of_node || static_cast<CapNodeReady *>(arg)->ready <= 1, "a node is ready or not");
    return event;
}

// An application that asks for every event. It takes no notice of the store: what is processed is given here.
MomClient *start() {
    MomClient *client = ox_mom_client_create("mem:");
    fuzz::expect(client != nullptr && trel_cap_init(client, "fuzz") == 0, "the library starts");
    trel_cap_log_level(6);
    for (const auto reg : {trel_cap_event_callback_reg, trel_cap_fab_event_callback_reg, trel_cap_cm_event_callback_reg,
                           trel_cap_hps_event_callback_reg, trel_cap_lc_and_hps_event_callback_reg}) {
        fuzz::expect(reg("fuzz", on_event, UINT32_MAX) == 0, "a callback is registered");
    }
    return client;
}

// A record of the type with any fields; some of its strings and messages are NULL.
record::Message random_record(const ProtobufCMessageDescriptor &type, fuzz::Bytes &bytes) {
    const std::string_view encoded = bytes.text();
    record::Message message(
        protobuf_c_message_unpack(&type, nullptr, encoded.size(), reinterpret_cast<const uint8_t *>(encoded.data())));
    if (message == nullptr) {
        message = record::make_message(type);
    }
    for (const ProtobufCFieldDescriptor &field : std::span(type.fields, type.n_fields)) {
        if (field.type == PROTOBUF_C_TYPE_MESSAGE && !bytes.coin()) {
            record::make_message_in(*message, field);
        }
    }
    return message;
}

// What a message's result points to.
class Result {
public:
    Result(const ProtobufCMessageDescriptor &type, int32_t cmd, fuzz::Bytes &bytes) {
        const size_t way = bytes.below(8);
        record_ = way == 0 ? nullptr : random_record(type, bytes);
        for (size_t n = bytes.below(4); n > 0; --n) {
            fields_.push_back(static_cast<int32_t>(bytes.byte()));
        }
        hash_.record = record_.get();
        hash_.field_ids = fields_.empty() ? nullptr : fields_.data();
        hash_.n_field_ids = static_cast<uint32_t>(fields_.size());
        hash_.error_code = bytes.below(8) == 0 ? bytes.number() : 0;
        pointer_ = way == 1                      ? nullptr
                   : cmd == OX_MOM_CMD_DELIVERED ? static_cast<void *>(&hash_)
                                                 : static_cast<void *>(record_.get());
    }

    void *pointer() const { return pointer_; }
    MomHashResult &hash() { return hash_; }

private:
    record::Message record_;
    std::vector<int32_t> fields_;
    MomHashResult hash_ = {};
    void *pointer_ = nullptr;
};

void process(MomClient *client, fuzz::Bytes &bytes) {
    const Processor &processor = kProcessors[bytes.below(kProcessors.size())];
    const size_t which = bytes.below(kCommands.size() + 1);
    const int32_t cmd = which < kCommands.size() ? kCommands[which] : bytes.number();
    Result result(*processor.type, cmd, bytes);
    MomMsg message = {.client = client, .db = processor.db, .cmd = cmd, .result = result.pointer()};
    processor.process(client, bytes.below(16) == 0 ? nullptr : &message);
}

void read_notification(MomClient *client, fuzz::Bytes &bytes) {
    Result result(cap_table__descriptor, OX_MOM_CMD_DELIVERED, bytes);
    MomMsg message = {.client = client,
                      .db = TREL_CAP_DB_CAPABILITIES,
                      .cmd = OX_MOM_CMD_DELIVERED,
                      .result = bytes.below(16) == 0 ? nullptr : &result.hash()};
    MomMsg *given = bytes.below(16) == 0 ? nullptr : &message;
    // Of exactly that size, so that one byte too many is seen.
    const uint32_t size = 1 + bytes.byte();
    const auto buffer = std::make_unique<char[]>(size);
    char *url = bytes.below(16) == 0 ? nullptr : buffer.get();
    uint32_t length = 0;
    uint32_t *length_place = bytes.below(16) == 0 ? nullptr : &length;
    uint8_t flag = 0;
    int32_t number = 0;
    switch (bytes.below(3)) {
        case 0:
            trel_cap_ce_get_g_cap_bool_by_pmsg(given, size, url, &flag, length_place);
            break;
        case 1:
            trel_cap_ce_get_g_cap_int32_by_pmsg(given, size, url, &number, length_place);
            break;
        default:
            trel_cap_get_glb_view_bool_by_pmsg(given, size, url, &flag, length_place);
    }
    fuzz::expect(length < size, "what is read fits");
    fuzz::expect(buffer[length] == '\0', "what is read ends");
}

// For the scan that a processor makes once it is subscribed.
class Written {
public:
    explicit Written(MomClient *client) : client_(client) {}
    Written(const Written &) = delete;
    Written &operator=(const Written &) = delete;
    // A run leaves nothing to the next.
    ~Written() {
        for (const auto &[db, record] : records_) {
            ox_mom_del_sync(client_, db, record.get());
        }
    }

    void add(fuzz::Bytes &bytes) {
        const Processor &processor = kProcessors[bytes.below(kProcessors.size())];
        record::Message record = random_record(*processor.type, bytes);
        std::vector<int32_t> fields;
        for (const ProtobufCFieldDescriptor &field : std::span(processor.type->fields, processor.type->n_fields)) {
            fields.push_back(static_cast<int32_t>(field.id));
        }
        const auto count = static_cast<uint32_t>(fields.size());
        if (ox_mom_hmset_sync(client_, processor.db, record.get(), fields.data(), count) != 0) {
            ox_mom_set_sync(client_, processor.db, record.get());
        }
        records_.emplace_back(processor.db, std::move(record));
    }

private:
    MomClient *client_;
    std::vector<std::pair<int32_t, record::Message>> records_;
};

// The list holds together, and each node in it is found.
void check_list() {
    auto *head = reinterpret_cast<CapNode *>(&cap_nodes_list);
    for (CapNode *each = head->next; each != nullptr && each != head; each = each->next) {
        fuzz::expect(each->next != nullptr && each->next->prev == each, "the list holds together");
        const CapNodeRecord &its = each->record;
        const CapNode *found = trel_cap_sw_node_and_type_search(its.node, its.config_dev_type);
        fuzz::expect(found != nullptr && found->record.node == its.node &&
                         found->record.config_dev_type == its.config_dev_type,
                     "a node that is there is found");
    }
}

void clear_list() {
    auto *head = reinterpret_cast<CapNode *>(&cap_nodes_list);
    while (head->next != nullptr && head->next != head) {
        const CapNodeRecord &first = head->next->record;
        trel_cap_sw_node_del(first.node, first.config_dev_type);
    }
    trel_cap_fe_ready_clear_all_validated_flag();
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static MomClient *const client = start();
    fuzz::Bytes bytes(data, size);
    Written written(client);
    while (!bytes.empty()) {
        switch (bytes.below(8)) {
            case 0:
                read_notification(client, bytes);
                break;
            case 1:
                written.add(bytes);
                break;
            case 2:
                kAnnouncements[bytes.below(kAnnouncements.size())]();
                break;
            case 3:
                trel_cap_reconnect_db_config(client, bytes.number(), bytes.number());
                break;
            default:
                process(client, bytes);
        }
        check_list();
    }
    clear_list();
    return 0;
}
