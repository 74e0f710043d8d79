// Which exported functions the processors go through, so that a program may stand in front of them. This program does.

#include <deque>
#include <map>
#include <optional>
#include <pthread.h>

#include "card_classes.h"
#include "interposed.h"
#include "messages.h"

namespace {

using interposed::behind;

// What is said and seen, since the test's beginning.
struct Script {
    std::vector<std::string> calls;          // of the processor itself, not of what it calls
    std::map<std::string, int32_t> answers;  // by function, instead of its own
    std::deque<int32_t> query_answers;       // of the readiness queries, in turn
    uint8_t query_ready = 0;                 // and what they then say
    bool no_node = false;                    // for trel_cap_sw_node_init_cur
    CapNode *found = nullptr;                // what the searches find; nullptr: what there is
    int depth = 0;
};

Script &script() {
    static thread_local Script the_script;
    return the_script;
}

class Entered {
public:
    explicit Entered(const std::string &call) {
        if (script().depth++ == 0) {
            script().calls.push_back(call);
        }
    }
    ~Entered() { --script().depth; }
    Entered(const Entered &) = delete;
    Entered &operator=(const Entered &) = delete;
};

std::optional<int32_t> answer_of(const char *name) {
    const auto found = script().answers.find(name);
    return found == script().answers.end() ? std::nullopt : std::optional(found->second);
}

std::optional<int32_t> answer_of_query(uint8_t *ready) {
    if (script().query_answers.empty()) {
        return std::nullopt;
    }
    const int32_t answer = script().query_answers.front();
    script().query_answers.pop_front();
    *ready = script().query_ready;
    return answer;
}

const char *name_of(CapNodeVisitor visitor) {
#define NAME(function)                                                                                                 \
    { function, #function }
    static const std::map<CapNodeVisitor, const char *> names = {
        NAME(trel_cap_judge_node_ready),
        NAME(trel_cap_notify_pre_install_node_ready),
        NAME(trel_cap_notify_pre_fab_install_node_ready),
        NAME(trel_cap_notify_pre_cm_install_node_ready),
        NAME(trel_cap_notify_pre_hps_install_node_ready),
    };
#undef NAME
    const auto found = names.find(visitor);
    return found == names.end() ? "somebody else" : found->second;
}

}  // namespace

extern "C" {

#define STAND_IN(name, parameters, ...)                                                                                \
    int32_t name parameters {                                                                                          \
        const Entered entered(#name);                                                                                  \
        const int32_t answer = behind(&name, #name)(__VA_ARGS__);                                                      \
        return answer_of(#name).value_or(answer);                                                                      \
    }

#define STAND_IN_FOR_QUERY(name)                                                                                       \
    int32_t name(MomClient *global, uint8_t *ready) {                                                                  \
        const Entered entered(#name);                                                                                  \
        const auto answer = answer_of_query(ready);                                                                    \
        return answer.has_value() ? *answer : behind(&(name), #name)(global, ready);                                   \
    }

STAND_IN_FOR_QUERY(trel_cap_ce_get_glb_ready)
STAND_IN_FOR_QUERY(trel_cap_ce_get_fab_glb_ready)
STAND_IN_FOR_QUERY(trel_cap_ce_get_cm_glb_ready)
STAND_IN_FOR_QUERY(trel_cap_ce_get_hps_glb_ready)

STAND_IN(trel_cap_fe_ready_is_all_validated, ())
STAND_IN(trel_cap_fab_ready_is_all_validated, ())
STAND_IN(trel_cap_cm_ready_is_all_validated, ())
STAND_IN(trel_cap_hps_ready_is_all_validated, ())

STAND_IN(trel_cap_notify_pre_install_node_pro, ())
STAND_IN(trel_cap_notify_pre_fab_install_node_pro, ())
STAND_IN(trel_cap_notify_pre_cm_install_node_pro, ())
STAND_IN(trel_cap_notify_pre_hps_install_node_pro, ())

STAND_IN(trel_cap_callback_hander, (int32_t event, void *arg), event, arg)
STAND_IN(trel_cap_fab_callback_hander, (int32_t event, void *arg), event, arg)
STAND_IN(trel_cap_cm_callback_hander, (int32_t event, void *arg), event, arg)
STAND_IN(trel_cap_hps_callback_hander, (int32_t event, void *arg), event, arg)
STAND_IN(trel_cap_lc_and_hps_callback_hander, (int32_t event, void *arg), event, arg)

STAND_IN(trel_cap_sw_node_del, (int32_t node, int32_t config_dev_type), node, config_dev_type)

CapNode *trel_cap_sw_node_search(int32_t node) {
    const Entered entered("trel_cap_sw_node_search");
    return script().found != nullptr ? script().found
                                     : behind(&trel_cap_sw_node_search, "trel_cap_sw_node_search")(node);
}

CapNode *trel_cap_sw_node_and_type_search(int32_t node, int32_t config_dev_type) {
    const Entered entered("trel_cap_sw_node_and_type_search");
    return script().found != nullptr
               ? script().found
               : behind(&trel_cap_sw_node_and_type_search, "trel_cap_sw_node_and_type_search")(node, config_dev_type);
}

CapNode *trel_cap_sw_node_init_cur(CapNodeRecord record) {
    const Entered entered("trel_cap_sw_node_init_cur");
    return script().no_node ? nullptr : behind(&trel_cap_sw_node_init_cur, "trel_cap_sw_node_init_cur")(record);
}

void trel_cap_sw_dump_node(CapNodeRecord record) {
    const Entered entered("trel_cap_sw_dump_node");
    behind(&trel_cap_sw_dump_node, "trel_cap_sw_dump_node")(record);
}

// A processor leaves the locks to the dispatchers; one of its own would show among its calls.
int pthread_rwlock_rdlock(pthread_rwlock_t *lock) noexcept {
    const Entered entered("pthread_rwlock_rdlock");
    return behind(&pthread_rwlock_rdlock, "pthread_rwlock_rdlock")(lock);
}

int pthread_rwlock_wrlock(pthread_rwlock_t *lock) noexcept {
    const Entered entered("pthread_rwlock_wrlock");
    return behind(&pthread_rwlock_wrlock, "pthread_rwlock_wrlock")(lock);
}

void trel_cap_sw_node_walk_cur(CapNodeVisitor visitor, void *argument) {
    const Entered entered(std::string("trel_cap_sw_node_walk_cur, to ") + name_of(visitor));
    behind(&trel_cap_sw_node_walk_cur, "trel_cap_sw_node_walk_cur")(visitor, argument);
}
}

namespace trel_cap_tests::processors {
namespace {

using ::testing::ElementsAre;

constexpr const char *kSearch = "trel_cap_sw_node_search";
constexpr const char *kSearchWithType = "trel_cap_sw_node_and_type_search";
constexpr const char *kAdd = "trel_cap_sw_node_init_cur";
constexpr const char *kDump = "trel_cap_sw_dump_node";
constexpr const char *kJudge = "trel_cap_sw_node_walk_cur, to trel_cap_judge_node_ready";

class ProcessorCalls : public ProcessorTest {
protected:
    ProcessorCalls() : ProcessorTest("", nullptr) {
        script() = {};
        g_trel_cap_zlog_level = 1;
    }
    void begin(const std::vector<CapNodeRecord> &records) {
        start_with(records);
        script().calls.clear();
    }
    // The calls that a message leads to.
    std::vector<std::string> calls_of(MomMsgCb function, Message message, int32_t status = 0) {
        script().calls.clear();
        EXPECT_EQ(function(client, message.to(client, 28)), status);
        return script().calls;
    }
};

TEST_F(ProcessorCalls, OfLineCardNodes) {
    const MomMsgCb function = trel_cap_fe_node_pmsg_f;
    EXPECT_THAT(calls_of(function, delivered(fe_ready())), ElementsAre(kSearch, kAdd, kDump));
    begin({entry({.dm_install = 1, .app_df_chk = 1})});
    EXPECT_THAT(calls_of(function, delivered(fe_ready())), ElementsAre(kSearch, kDump, "trel_cap_callback_hander"));
    EXPECT_THAT(calls_of(function, delivered(fe_ready({.ready = 0}))),
                ElementsAre(kSearch, kDump, kJudge, "trel_cap_callback_hander"));
    EXPECT_THAT(calls_of(function, deleted(fe_ready())), ElementsAre(kSearch, kJudge, "trel_cap_callback_hander"));
    EXPECT_THAT(calls_of(function, Message(29)), ElementsAre("trel_cap_notify_pre_install_node_pro"));
}

TEST_F(ProcessorCalls, OfNodesOfTheClasses) {
    struct Nodes {
        MomMsgCb function;
        Record (*record)(const NodeReadiness &);
        int32_t node_type;
        const char *search;
        const char *dispatcher;
        const char *announcement;
    };
    const Nodes all[] = {
        {trel_cap_fab_node_pmsg_f, fe_ready, 5, kSearch, "trel_cap_fab_callback_hander",
         "trel_cap_notify_pre_fab_install_node_pro"},
        {trel_cap_cm_node_pmsg_f, cm_ready, 2, kSearch, "trel_cap_cm_callback_hander",
         "trel_cap_notify_pre_cm_install_node_pro"},
        {trel_cap_hps_node_pmsg_f, fe_ready, 7, kSearchWithType, "trel_cap_hps_callback_hander",
         "trel_cap_notify_pre_hps_install_node_pro"},
    };
    for (const Nodes &nodes : all) {
        SCOPED_TRACE(nodes.dispatcher);
        const NodeReadiness ready = {.node_type = nodes.node_type};
        const NodeReadiness unready = {.node_type = nodes.node_type, .ready = 0};
        begin({});
        EXPECT_THAT(calls_of(nodes.function, delivered(nodes.record(ready))), ElementsAre(nodes.search, kAdd, kDump));
        begin({entry({.dm_install = 1})});
        EXPECT_THAT(calls_of(nodes.function, delivered(nodes.record(ready))),
                    ElementsAre(nodes.search, kDump, nodes.dispatcher));
        EXPECT_THAT(calls_of(nodes.function, delivered(nodes.record(unready))),
                    ElementsAre(nodes.search, kDump, kJudge, nodes.dispatcher));
        EXPECT_THAT(calls_of(nodes.function, Message(29)), ElementsAre(nodes.announcement));
    }
}

// Seen only by who stands in front of the search: what it finds otherwise has that type.
TEST_F(ProcessorCalls, OnlyHpsLeavesTheTypeOfWhatIsFound) {
    const std::pair<MomMsgCb, Record (*)(const NodeReadiness &)> takers[] = {
        {trel_cap_fe_node_pmsg_f, fe_ready}, {trel_cap_fab_node_pmsg_f, fe_ready}, {trel_cap_cm_node_pmsg_f, cm_ready}};
    CapNode node{};
    script().found = &node;
    for (const auto &[function, record] : takers) {
        node.record = entry({.config_dev_type = 9});
        calls_of(function, delivered(record({.config_dev_type = 8})));
        EXPECT_EQ(node.record.config_dev_type, 8);
    }
    node.record = entry({.config_dev_type = 9});
    calls_of(trel_cap_hps_node_pmsg_f, delivered(fe_ready({.config_dev_type = 8, .ready = 1})));
    EXPECT_EQ(node.record.config_dev_type, 9);
    EXPECT_EQ(node.record.ready, 1);
}

TEST_F(ProcessorCalls, OfCards) {
    const MomMsgCb function = trel_cap_install_node_pmsg_f;
    EXPECT_THAT(calls_of(function, delivered(card_info())), ElementsAre(kSearch, kAdd, kDump));
    begin({ready_entry()});
    g_trel_cap_flag = g_trel_fab_cm_cap_flag = g_trel_hps_cap_flag = UINT32_MAX;
    const std::pair<int32_t, const char *> dispatchers[] = {{1, "trel_cap_callback_hander"},
                                                            {2, "trel_cap_cm_callback_hander"},
                                                            {5, "trel_cap_fab_callback_hander"},
                                                            {7, "trel_cap_hps_callback_hander"}};
    for (const auto &[node_type, dispatcher] : dispatchers) {
        EXPECT_THAT(calls_of(function, delivered(card_info({.node_type = node_type}))),
                    ElementsAre(kSearch, kDump, dispatcher));
    }
    EXPECT_THAT(calls_of(function, deleted(card_info())),
                ElementsAre("trel_cap_sw_node_del", kJudge, "trel_cap_callback_hander"));
    EXPECT_THAT(calls_of(function, Message(29)), ElementsAre("trel_cap_notify_pre_install_node_pro"));
}

TEST_F(ProcessorCalls, OfChecks) {
    const MomMsgCb function = trel_cap_app_df_pmsg_f;
    EXPECT_THAT(calls_of(function, delivered(check_result())), ElementsAre(kSearch, kAdd, kDump, kJudge));
    begin({ready_entry()});
    EXPECT_THAT(calls_of(function, delivered(check_result())),
                ElementsAre(kSearch, kDump, kJudge, "trel_cap_callback_hander"));
    EXPECT_THAT(calls_of(function, delivered(check_result({.stat = APP_DF_CHECK_DENY}))),
                ElementsAre(kSearch, kDump, "trel_cap_callback_hander"));
    EXPECT_THAT(calls_of(function, deleted(check_result())), ElementsAre(kSearch));
    EXPECT_THAT(calls_of(function, Message(29)), ElementsAre("trel_cap_notify_pre_install_node_pro"));
}

// Whatever the reason.
TEST_F(ProcessorCalls, ANodeThatCannotBeAddedEndsThem) {
    script().no_node = true;
    for (const MomMsgCb function : {trel_cap_fe_node_pmsg_f, trel_cap_fab_node_pmsg_f}) {
        EXPECT_THAT(calls_of(function, delivered(fe_ready()), -11), ElementsAre(kSearch, kAdd));
    }
    EXPECT_THAT(calls_of(trel_cap_hps_node_pmsg_f, delivered(fe_ready()), -11), ElementsAre(kSearchWithType, kAdd));
    EXPECT_THAT(calls_of(trel_cap_cm_node_pmsg_f, delivered(cm_ready()), -11), ElementsAre(kSearch, kAdd));
    EXPECT_THAT(calls_of(trel_cap_install_node_pmsg_f, delivered(card_info()), -11), ElementsAre(kSearch, kAdd));
    EXPECT_THAT(calls_of(trel_cap_app_df_pmsg_f, delivered(check_result()), -11), ElementsAre(kSearch, kAdd));
    EXPECT_THAT(platform.calls(), ::testing::IsEmpty());
}

// What a dispatcher, or the list, answers has no effect.
TEST_F(ProcessorCalls, TheirAnswersDoNotMatter) {
    for (const List *list : {&kLineCards, &kFabric, &kControlModules, &kHps, &kLineCardsAndHps}) {
        script().answers[list->kind.dispatch_name] = -16;
    }
    script().answers["trel_cap_sw_node_del"] = -17;
    begin({ready_entry()});
    allow_everything();
    calls_of(trel_cap_fe_node_pmsg_f, delivered(fe_ready()));
    calls_of(trel_cap_fe_node_pmsg_f, deleted(fe_ready()));
    calls_of(trel_cap_fab_node_pmsg_f, delivered(fe_ready({.node_type = 5, .ready = 0})));
    calls_of(trel_cap_cm_node_pmsg_f, delivered(cm_ready({.node_type = 2, .ready = 0})));
    calls_of(trel_cap_hps_node_pmsg_f, delivered(fe_ready({.node_type = 7, .ready = 0})));
    calls_of(trel_cap_app_df_pmsg_f, delivered(check_result({.stat = APP_DF_CHECK_DENY})));
    calls_of(trel_cap_install_node_pmsg_f, delivered(card_info()));
    calls_of(trel_cap_install_node_pmsg_f, deleted(card_info()));
    for (const CardClass *card_class : kCardClasses) {
        calls_of(card_class->process_state, written(Record::of(*card_class->state_type, {{5, 1}})));
        EXPECT_THAT(script().calls, ::testing::Contains(card_class->list.kind.dispatch_name));
    }
}

TEST_F(ProcessorCalls, AnAnnouncementsAnswerDoesNotMatter) {
    for (const CardClass *card_class : kCardClasses) {
        script().answers[card_class->announcement] = -18;
        calls_of(card_class->process_state, Message(1));
        calls_of(card_class->process_state, Message(29));
        EXPECT_THAT(script().calls, ::testing::Contains(card_class->announcement));
    }
    for (const MomMsgCb function : {trel_cap_fe_node_pmsg_f, trel_cap_fab_node_pmsg_f, trel_cap_cm_node_pmsg_f,
                                    trel_cap_hps_node_pmsg_f, trel_cap_install_node_pmsg_f, trel_cap_app_df_pmsg_f}) {
        EXPECT_EQ(calls_of(function, Message(29)).size(), 1U);
    }
}

class StateCalls : public ProcessorCalls, public ::testing::WithParamInterface<const CardClass *> {
protected:
    const CardClass &card_class = *GetParam();
    const char *const dispatcher = card_class.list.kind.dispatch_name;
};

INSTANTIATE_TEST_SUITE_P(Classes, StateCalls, ::testing::ValuesIn(kCardClasses), class_name);

TEST_P(StateCalls, OfAConfirmation) {
    script().query_answers = {0};
    script().query_ready = 1;
    *card_class.flag_word() = card_class.class_event_bit;
    g_trel_lc_and_hps_cap_flag = 0x100;
    std::vector<std::string> expected = {card_class.query, dispatcher};
    if (card_class.sends_event_8) {
        expected.emplace_back("trel_cap_lc_and_hps_callback_hander");
    }
    expected.insert(card_class.announces_first ? expected.begin() + 1 : expected.end(), card_class.announcement);
    EXPECT_EQ(calls_of(card_class.process_state, Message(29)), expected);
}

TEST_P(StateCalls, OfAQueryThatFails) {
    for (const int32_t level : {0, 1, 4, -1}) {
        g_trel_cap_zlog_level = level;
        platform.forget();
        script().query_ready = 1;
        script().query_answers = level == 0 ? std::deque<int32_t>{-1, -3} : std::deque<int32_t>{-1, -2, -3};
        EXPECT_EQ(calls_of(card_class.process_state, Message(29), -3),
                  std::vector<std::string>(level == 0 ? 2 : 3, card_class.query));
        const auto logs = platform.logs();
        if (level == 0) {
            EXPECT_THAT(logs, ::testing::IsEmpty());
        } else {
            EXPECT_EQ(logs.back(), (Log{100, card_class.state_processor, "failed,rv -2"}));
        }
        EXPECT_EQ(*card_class.calc_ready(), 0);
        EXPECT_EQ(*card_class.state_validated(), 0);
    }
    script().query_answers = {1, 2, 3};
    calls_of(card_class.process_state, Message(29), 3);
    EXPECT_EQ(*card_class.state_validated(), 0);
}

TEST_P(StateCalls, OfAnAnnouncement) {
    const std::string walk = std::string("trel_cap_sw_node_walk_cur, to ") + card_class.notifier;
    const char *const all_validated = card_class.all_validated;
    *card_class.calc_ready() = 1;
    *card_class.flag_word() = card_class.announcement_bit;

    // Itself a function that is stood in front of.
    const auto calls = [&] {
        script().calls.clear();
        script().depth = -1;
        EXPECT_EQ(card_class.announce(), 0);
        script().depth = 0;
        return script().calls;
    };
    EXPECT_THAT(calls(), ElementsAre(all_validated));
    for (const int32_t answer : {1, -5, 256}) {
        script().answers[all_validated] = answer;
        EXPECT_THAT(calls(), ElementsAre(all_validated, walk));
    }
    *card_class.calc_ready() = 0;
    EXPECT_THAT(calls(), ElementsAre(all_validated));
}

}  // namespace
}  // namespace trel_cap_tests::processors
