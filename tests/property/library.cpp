#include "library.h"

#include <dlfcn.h>

#include <utility>

#include <gtest/gtest.h>

#include "messages.h"
#include "observed.h"
#include "trel_cap/trel_cap.h"

namespace property {
namespace {

using test_support::Call;
using test_support::Record;
using test_support::ScriptedPlatform;

// Of the present step, as in a step.
thread_local uint32_t failing_additions = 0;

CapNodeRecord record_of(const Node &node) {
    const auto flag = [](int32_t value) { return static_cast<uint8_t>(value); };
    return {.node = node.node,
            .config_dev_type = node.config_dev_type,
            .devid = node.devid,
            .slotid = node.slotid,
            .sslotid = node.sslotid,
            .is_online = flag(node.is_online),
            .cns = flag(node.cns),
            .ready = flag(node.ready),
            .node_type = node.node_type,
            .real_time = flag(node.real_time),
            .dm_install = flag(node.dm_install),
            .app_df_chk = flag(node.app_df_chk)};
}

std::vector<Question> questions(const ScriptedPlatform &platform) {
    std::vector<Question> all;
    for (const Call &call : platform.calls()) {
        const auto about = [&](Question::Kind kind) {
            const auto db = static_cast<int32_t>(std::get<int64_t>(call.arguments.at(1)));
            const auto &request = std::get<Record>(call.arguments.at(2));
            EXPECT_EQ(std::get<const void *>(call.arguments.at(0)), ScriptedPlatform::client());
            return Question{kind, db, request.get()->descriptor->name, std::nullopt};
        };
        if (call.function == "ox_mom_get_sync") {
            all.push_back(about(Question::kState));
        } else if (call.function == "ox_mom_scan_sync" || call.function == "ox_mom_subscribe") {
            all.push_back(about(call.function == "ox_mom_scan_sync" ? Question::kScan : Question::kSubscription));
            all.back().processor = processor_of(std::get<const void *>(call.arguments.at(4)));
        }
    }
    return all;
}

}  // namespace

Library::Library(ScriptedPlatform &platform) : platform_(platform) {
    trel_cap_sw_init();
    g_trel_cap_zlog_category = ScriptedPlatform::category();
}

Library::~Library() { forget_everything(); }

Outcome Library::play(const Step &step) {
    script(step);
    Outcome outcome;
    outcome.code = std::visit([this](const auto &action) { return act(action); }, step.action);
    outcome.heard = std::move(callbacks().heard);
    outcome.questions = questions(platform_);
    outcome.state = observed_state();
    outcome.all_loaded = observed_all_loaded();
    if (const auto node = node_of(step)) {
        outcome.preinstall_card = trel_cap_is_preinstall_card(*node);
    }
    return outcome;
}

void Library::script(const Step &step) {
    callbacks() = {.clearing_events = step.clearing_events, .heard = {}};
    failing_additions = step.failing_additions;
    platform_.forget();
    g_trel_cap_zlog_level = step.log_level;
    platform_.scan_sync = test_support::Script<test_support::ScanAnswer>({});
    platform_.get_sync = test_support::Script<test_support::ObjectAnswer>({});
    platform_.subscribe = test_support::Script<int32_t>(0);
    const auto *deliver = std::get_if<Deliver>(&step.action);
    for (const ScanAnswer &answer : step.answers.scans) {
        test_support::ScanAnswer scripted{answer.status, {}};
        for (const Report &report : answer.reports) {
            scripted.messages.push_back(message_of(deliver->processor, report));
        }
        platform_.scan_sync.then(scripted);
    }
    for (const StateAnswer &answer : step.answers.states) {
        platform_.get_sync.then(state_of(deliver->processor, answer));
    }
    for (const int32_t status : step.answers.subscriptions) {
        platform_.subscribe.then(status);
    }
}

int32_t Library::act(const Deliver &action) {
    test_support::Message message = message_of(action.processor, action.report);
    const int32_t db = action.processor == Processor::kInstall ? TREL_CAP_DB_CARDS : TREL_CAP_DB_CAPABILITIES;
    return function_of(action.processor)(ScriptedPlatform::client(), message.to(ScriptedPlatform::client(), db));
}

int32_t Library::act(const DeliverNothing &action) {
    return function_of(action.processor)(ScriptedPlatform::client(), nullptr);
}

int32_t Library::act(const ClearValidated &) {
    trel_cap_fe_ready_clear_all_validated_flag();
    return 0;
}

int32_t Library::act(const Reconnect &) {
    return trel_cap_reconnect_db_config(ScriptedPlatform::client(), TREL_CAP_DB_CAPABILITIES, 1);
}

int32_t Library::act(const AskForEvents &action) { return ask_for_events(action); }

int32_t Library::act(const Add &action) {
    return trel_cap_sw_node_init_cur(record_of(action.node)) == nullptr ? -1 : 0;
}

int32_t Library::act(const Delete &action) { return trel_cap_sw_node_del(action.node, action.config_dev_type); }

}  // namespace property

// In front of the library's own, for lack of memory when a step says so.
extern "C" CapNode *trel_cap_sw_node_init_cur(CapNodeRecord record) {
    using Function = CapNode *(CapNodeRecord);
    static auto *const behind = reinterpret_cast<Function *>(dlsym(RTLD_NEXT, "trel_cap_sw_node_init_cur"));
    const bool fails = (property::failing_additions & 1) != 0;
    property::failing_additions >>= 1;
    return fails ? nullptr : behind(record);
}
