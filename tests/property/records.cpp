#include "records.h"

#include "trel_cap/trel_cap.h"

namespace property {
namespace {

using test_support::Fields;
using test_support::Record;

// Stands in fields that nobody is to look at.
constexpr int32_t kOther = 0x5a5a5a;

const ProtobufCMessageDescriptor &state_type(Processor processor) {
    switch (processor) {
        case Processor::kFab:
            return cap_fab_glb_state__descriptor;
        case Processor::kCm:
            return cap_cm_glb_state__descriptor;
        case Processor::kHps:
            return cap_hps_glb_state__descriptor;
        default:
            return cap_glb_state__descriptor;
    }
}

Record readiness(const ProtobufCMessageDescriptor &type, const Report &report) {
    const Record record = Record::of(type, {{6, report.ready},
                                            {7, kOther},
                                            {8, report.devid},
                                            {9, report.slotid},
                                            {10, report.sslotid},
                                            {11, report.node_type},
                                            {12, report.real_time}});
    return report.flaw == Flaw::kNoIndex ? record : record.with_index({{1, report.node}, {2, report.config_dev_type}});
}

Fields card_index(const Report &report) {
    return {{1, kOther}, {2, report.devid}, {3, report.slotid}, {4, report.sslotid}};
}

Record card(const Report &report) {
    const int32_t opposite = report.is_online != 0 ? 0 : 1;
    Record record = Record::of(card_info__descriptor, {{6, report.config_dev_type},
                                                       {7, report.is_online},
                                                       {9, opposite},
                                                       {11, kOther},
                                                       {12, std::string("card")},
                                                       {13, opposite},
                                                       {15, kOther},
                                                       {16, kOther},
                                                       {17, report.node},
                                                       {19, opposite},
                                                       {22, kOther}});
    if (report.flaw != Flaw::kNoStaticInfo) {
        record = record.with_message(14, {{6, report.node_type}, {7, kOther}});
    }
    return report.flaw == Flaw::kNoIndex ? record : record.with_index(card_index(report));
}

Record check(const Report &report) {
    const Record record = Record::of(
        app_df_card_deny_check_result__descriptor,
        {{6, report.denied ? APP_DF_CHECK_DENY : APP_DF_CHECK_PASS}, {7, report.config_dev_type}, {8, report.node}});
    return report.flaw == Flaw::kNoIndex ? record : record.with_index(card_index(report));
}

}  // namespace

Record record_of(Processor processor, const Report &report) {
    if (follows_a_state(processor)) {
        return Record::of(state_type(processor), {{5, report.ready}});
    }
    switch (processor) {
        case Processor::kInstall:
            return card(report);
        case Processor::kCheck:
            return check(report);
        case Processor::kCmNode:
            return readiness(cap_cm_ready__descriptor, report);
        default:
            return readiness(cap_fe_ready__descriptor, report);
    }
}

}  // namespace property
