#include "messages.h"

#include "records.h"

namespace property {

using test_support::HashAnswer;
using test_support::Message;
using test_support::Record;

Message message_of(Processor processor, const Report &report) {
    const bool has_record = report.flaw != Flaw::kNoResult && report.flaw != Flaw::kNoRecord;
    if (follows_a_state(processor) || report.cmd == 3) {
        if (!has_record) {
            return Message(report.cmd);
        }
        return {report.cmd, record_of(processor, report)};
    }
    if (report.cmd == 29 || report.flaw == Flaw::kNoResult) {
        return Message(report.cmd);
    }
    HashAnswer answer = has_record ? HashAnswer::found(record_of(processor, report), {5}) : HashAnswer::no_record();
    answer.error_code = report.flaw == Flaw::kErrorCode ? -1 : 0;
    return {report.cmd, answer};
}

test_support::ObjectAnswer state_of(Processor processor, const StateAnswer &answer) {
    Report report;
    report.ready = answer.ready;
    return {answer.exists ? record_of(processor, report) : Record(), answer.error};
}

}  // namespace property
