#include "capabilities.h"

#include <trel_cap/trel_cap.h>

#include "cards.h"
#include "must.h"

namespace demo {

namespace {

// The one field that carries the value; the record's others stay as they are in the store.
void put(MomClient *client, const ProtobufCMessage &record, int32_t field) {
    must(ox_mom_hmset_sync(client, TREL_CAP_DB_CAPABILITIES, &record, &field, 1));
}

std::string publish_boolean(MomClient *client, std::string url, bool value) {
    CapTableIndex index = CAP_TABLE_INDEX__INIT;
    CapTable record = CAP_TABLE__INIT;
    index.url = url.data();
    record.index = &index;
    record.bool_value = value ? 1 : 0;
    put(client, record.base, TREL_CAP_FIELD_BOOL);
    return url + " = " + (value ? "true" : "false");
}

// Of the device (CapTable), or of a card class, whose record looks alike.
template <class Table>
std::string publish_integer(MomClient *client, Table record, std::string url, int32_t value) {
    CapTableIndex index = CAP_TABLE_INDEX__INIT;
    index.url = url.data();
    record.index = &index;
    record.int32_value = value;
    put(client, record.base, TREL_CAP_FIELD_INT32);
    return url + " = " + std::to_string(value);
}

std::string publish_integer(MomClient *client, const char *url, int32_t value) {
    const CapTable record = CAP_TABLE__INIT;
    return publish_integer(client, record, url, value);
}

}  // namespace

std::vector<std::string> publish_capabilities(MomClient *client) {
    return {publish_boolean(client, kStackSupport, true), publish_integer(client, kVlanMax, 4094),
            publish_integer(client, kMtuLimit, 9216)};
}

std::vector<std::string> publish_lower_mtu(MomClient *client) {
    return {publish_integer(client, kMtuLimit, kLowerMtu)};
}

std::vector<std::string> publish_card_capability(MomClient *client) {
    std::string url = kPortSpeeds;
    std::string value = kPortSpeedsValue;
    CapGlbTableIndex index = CAP_GLB_TABLE_INDEX__INIT;
    CapGlbTable record = CAP_GLB_TABLE__INIT;
    index.node = node_of(kFirstSlot);
    index.url = url.data();
    record.index = &index;
    record.str_value = value.data();
    put(client, record.base, TREL_CAP_FIELD_STR);
    return {"slot " + std::to_string(kFirstSlot) + ": " + url + " = " + value};
}

std::vector<std::string> publish_fabric_capability(MomClient *client) {
    const CapFabTable record = CAP_FAB_TABLE__INIT;
    return {"all fabric cards: " + publish_integer(client, record, kFabricLinks, kFabricLinksValue)};
}

}  // namespace demo
