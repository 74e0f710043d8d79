// Requests: records built on the stack, which point at the caller's URL. Nothing is allocated or copied.
#pragma once

#include <type_traits>

#include "trel_cap/records.h"

namespace trel_cap {

// A record as its generated initialiser has it.
template <typename Record>
Record initial();

#define TREL_CAP_INITIAL(Record, initialiser)                                                                          \
    template <>                                                                                                        \
    inline Record initial() {                                                                                          \
        return initialiser;                                                                                            \
    }
TREL_CAP_INITIAL(CapTableIndex, CAP_TABLE_INDEX__INIT)
TREL_CAP_INITIAL(CapTable, CAP_TABLE__INIT)
TREL_CAP_INITIAL(CapHpsTable, CAP_HPS_TABLE__INIT)
TREL_CAP_INITIAL(CapFabTable, CAP_FAB_TABLE__INIT)
TREL_CAP_INITIAL(CapCmTable, CAP_CM_TABLE__INIT)
TREL_CAP_INITIAL(CapGlbTableIndex, CAP_GLB_TABLE_INDEX__INIT)
TREL_CAP_INITIAL(CapGlbTable, CAP_GLB_TABLE__INIT)
TREL_CAP_INITIAL(CapCmGlbTable, CAP_CM_GLB_TABLE__INIT)
TREL_CAP_INITIAL(CapGlbState, CAP_GLB_STATE__INIT)
TREL_CAP_INITIAL(CapHpsGlbState, CAP_HPS_GLB_STATE__INIT)
TREL_CAP_INITIAL(CapCmGlbState, CAP_CM_GLB_STATE__INIT)
TREL_CAP_INITIAL(CapFabGlbState, CAP_FAB_GLB_STATE__INIT)
TREL_CAP_INITIAL(CapFeReadyIndex, CAP_FE_READY_INDEX__INIT)
TREL_CAP_INITIAL(CapFeReady, CAP_FE_READY__INIT)
TREL_CAP_INITIAL(CapCmReadyIndex, CAP_CM_READY_INDEX__INIT)
TREL_CAP_INITIAL(CapCmReady, CAP_CM_READY__INIT)
TREL_CAP_INITIAL(CardInfoIndex, CARD_INFO_INDEX__INIT)
TREL_CAP_INITIAL(CardInfo, CARD_INFO__INIT)
TREL_CAP_INITIAL(AppDfCardDenyCheckResult, APP_DF_CARD_DENY_CHECK_RESULT__INIT)
#undef TREL_CAP_INITIAL

// A capability record with its index. It points into itself, so it stays where it is made.
template <typename Record>
struct UrlRequest {
    explicit UrlRequest(const char *url) {
        index.url = const_cast<char *>(url);  // generated types know no const; requests are only read
        record.index = &index;
    }
    UrlRequest(const UrlRequest &) = delete;
    UrlRequest &operator=(const UrlRequest &) = delete;

    CapTableIndex index = initial<CapTableIndex>();
    Record record = initial<Record>();
};

// The same for a record that is addressed by a node and a URL.
template <typename Record>
struct NodeRequest {
    NodeRequest(int32_t node, const char *url) {
        index.node = node;
        index.url = const_cast<char *>(url);
        record.index = &index;
    }
    NodeRequest(const NodeRequest &) = delete;
    NodeRequest &operator=(const NodeRequest &) = delete;

    CapGlbTableIndex index = initial<CapGlbTableIndex>();
    Record record = initial<Record>();
};

// The request for all records of a type: an empty record, with an empty index where the type has one.
template <typename Record>
struct TypeRequest {
    Record record = initial<Record>();
};

template <typename Record>
requires requires(Record record) { record.index; }
struct TypeRequest<Record> {
    TypeRequest() { record.index = &index; }
    TypeRequest(const TypeRequest &) = delete;
    TypeRequest &operator=(const TypeRequest &) = delete;

    std::remove_pointer_t<decltype(Record::index)> index = initial<std::remove_pointer_t<decltype(Record::index)>>();
    Record record = initial<Record>();
};

}  // namespace trel_cap
