// Messages of the stored types, built on the stack together with their index.
#pragma once

#include "p_dev.pb-c.h"
#include "p_libpub.pb-c.h"
#include "s_frame.pb-c.h"

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

namespace mom_test {

inline constexpr int32_t kCardDb = 1;
inline constexpr int32_t kGlobalDb = 28;

// Field numbers of the capability tables.
inline constexpr int32_t kIndex = 5;
inline constexpr int32_t kBool = 6;
inline constexpr int32_t kInt = 7;
inline constexpr int32_t kStr = 8;
inline constexpr int32_t kPri = 21;
inline constexpr int32_t kState = 22;

template <typename Message>
const ProtobufCMessageDescriptor *descriptor() = delete;

#define MOM_TEST_DESCRIPTOR(Message, name)                                                                             \
    template <>                                                                                                        \
    inline const ProtobufCMessageDescriptor *descriptor<Message>() {                                                   \
        return &name##__descriptor;                                                                                    \
    }
MOM_TEST_DESCRIPTOR(CapTable, cap_table)
MOM_TEST_DESCRIPTOR(CapFabTable, cap_fab_table)
MOM_TEST_DESCRIPTOR(CapTableIndex, cap_table_index)
MOM_TEST_DESCRIPTOR(CapCmReady, cap_cm_ready)
MOM_TEST_DESCRIPTOR(CapCmReadyIndex, cap_cm_ready_index)
MOM_TEST_DESCRIPTOR(AppDfCardDenyCheckResult, app_df_card_deny_check_result)
MOM_TEST_DESCRIPTOR(CapGlbTable, cap_glb_table)
MOM_TEST_DESCRIPTOR(CapGlbTableIndex, cap_glb_table_index)
MOM_TEST_DESCRIPTOR(CardInfo, card_info)
MOM_TEST_DESCRIPTOR(CardInfoIndex, card_info_index)
MOM_TEST_DESCRIPTOR(CardStaticInfo, card_static_info)
MOM_TEST_DESCRIPTOR(CardStaticInfoIndex, card_static_info_index)
MOM_TEST_DESCRIPTOR(CapGlbState, cap_glb_state)
MOM_TEST_DESCRIPTOR(CapCmGlbState, cap_cm_glb_state)
MOM_TEST_DESCRIPTOR(CapFabGlbState, cap_fab_glb_state)
MOM_TEST_DESCRIPTOR(CapHpsGlbState, cap_hps_glb_state)
#undef MOM_TEST_DESCRIPTOR

// A record with its index beside it.
template <typename Record>
struct Hash {
    using Index = std::remove_pointer_t<decltype(Record::index)>;

    Index index;
    Record record;

    Hash() {
        protobuf_c_message_init(descriptor<Index>(), &index);
        protobuf_c_message_init(descriptor<Record>(), &record);
        record.index = &index;
    }
    Hash(const Hash &) = delete;
    Hash &operator=(const Hash &) = delete;

    const ProtobufCMessage *message() const { return &record.base; }
};

template <typename Record>
struct Single {
    Record record;

    explicit Single(bool ready = false) {
        protobuf_c_message_init(descriptor<Record>(), &record);
        record.ready = ready;
    }

    const ProtobufCMessage *message() const { return &record.base; }
};

// A record addressed by URL: CapTable and its class variants.
template <typename Record>
struct ByUrl : Hash<Record> {
    explicit ByUrl(const std::string &url, int32_t value = 0) : url_(url) {
        this->index.url = url_.data();
        this->record.int32_value = value;
    }

private:
    std::string url_;
};
using Cap = ByUrl<CapTable>;

// A record addressed by node and URL.
struct NodeCap : Hash<CapGlbTable> {
    NodeCap(int32_t node, const std::string &url, int32_t value = 0) : url_(url) {
        index.node = node;
        index.url = url_.data();
        record.int32_value = value;
    }

private:
    std::string url_;
};

struct Card : Hash<CardInfo> {
    Card(int32_t t_mod, int32_t devid, int32_t slotid, int32_t sslotid) {
        index.t_mod = t_mod;
        index.devid = devid;
        index.slotid = slotid;
        index.sslotid = sslotid;
    }
};

inline std::string packed(const ProtobufCMessage *message) {
    std::string bytes(protobuf_c_message_get_packed_size(message), '\0');
    protobuf_c_message_pack(message, reinterpret_cast<uint8_t *>(bytes.data()));
    return bytes;
}

inline std::string text_of(const ProtobufCBinaryData &bytes) {
    return {reinterpret_cast<const char *>(bytes.data), bytes.len};
}

}  // namespace mom_test
