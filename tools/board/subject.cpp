#include "board/subject.h"

#include <trel_cap/records.h>

#include <utility>

namespace board {

namespace {

bool is(const record::Record &record, const ProtobufCMessageDescriptor &descriptor) {
    return record.type().descriptor == &descriptor;
}

std::string_view text(const char *string) { return string == nullptr ? "" : string; }

}  // namespace

std::optional<int32_t> node_of(const record::Record &record) {
    if (is(record, card_info__descriptor)) {
        return record.as<CardInfo>().card_nodeid;
    }
    if (is(record, app_df_card_deny_check_result__descriptor)) {
        return record.as<AppDfCardDenyCheckResult>().card_nodeid;
    }
    if (is(record, cap_fe_ready__descriptor)) {
        return record.as<CapFeReady>().index->node;
    }
    if (is(record, cap_cm_ready__descriptor)) {
        return record.as<CapCmReady>().index->node;
    }
    return std::nullopt;
}

std::string_view scope_of(const record::Record &record) {
    for (const auto &[descriptor, scope] :
         {std::pair(&cap_glb_state__descriptor, "glb"), std::pair(&cap_cm_glb_state__descriptor, "cm"),
          std::pair(&cap_fab_glb_state__descriptor, "fab"), std::pair(&cap_hps_glb_state__descriptor, "hps")}) {
        if (is(record, *descriptor)) {
            return scope;
        }
    }
    return "";
}

std::string holder_of(const record::Record &record) {
    for (const auto &[descriptor, holder] :
         {std::pair(&cap_table__descriptor, "global"), std::pair(&cap_cm_table__descriptor, "class cm"),
          std::pair(&cap_fab_table__descriptor, "class fab"), std::pair(&cap_hps_table__descriptor, "class hps")}) {
        if (is(record, *descriptor)) {
            return holder;
        }
    }
    if (is(record, cap_glb_table__descriptor)) {
        return "fe " + std::to_string(record.as<CapGlbTable>().index->node);
    }
    if (is(record, cap_cm_glb_table__descriptor)) {
        return "cm " + std::to_string(record.as<CapCmGlbTable>().index->node);
    }
    return "";
}

std::string_view url_of(const record::Record &record) {
    if (is(record, cap_glb_table__descriptor)) {
        return text(record.as<CapGlbTable>().index->url);
    }
    if (is(record, cap_cm_glb_table__descriptor)) {
        return text(record.as<CapCmGlbTable>().index->url);
    }
    // The four tables of URLs alone are alike.
    return holder_of(record).empty() ? "" : text(record.as<CapTable>().index->url);
}

}  // namespace board
