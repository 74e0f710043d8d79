// The commands that read and write capabilities.

#include <thread>

#include "library_test.h"
#include "printed.h"

namespace trel_cap_tests {
namespace {

using test_support::Field;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int32_t kNode = -7;

Record node_table(const std::string &url, const Fields &fields = {}) {
    return Record::of(cap_glb_table__descriptor, fields).with_index({{1, kNode}, {2, url}});
}

struct Getter {
    const char *name;  // of the function behind the command
    int32_t (*run)(const char *url);
    const char *prefix;  // what stands before the URL in the command's first line
    Record (*record)(const std::string &url, const Fields &fields);
    uint32_t field;
    const char *label;  // what stands before the value
};

const Getter kGetters[] = {
    {"trel_cap_ce_get_g_cap_int32", trel_cap_dbg_ce_get_g_cap_int32, "", cap_table, 7, "value "},
    {"trel_cap_ce_get_g_cap_bool", trel_cap_dbg_ce_get_g_cap_bool, "", cap_table, 6, "value "},
    {"trel_cap_ce_get_fe_cap_bool", [](const char *url) { return trel_cap_dbg_ce_get_fe_cap_bool(kNode, url); },
     "node -7, ", node_table, 6, "value "},
    {"trel_cap_ce_get_fe_cap_int32", [](const char *url) { return trel_cap_dbg_ce_get_fe_cap_int32(kNode, url); },
     "node -7, ", node_table, 7, "value "},
    {"trel_cap_ce_get_fe_cap_str", [](const char *url) { return trel_cap_dbg_ce_get_fe_cap_str(kNode, url); },
     "node -7, ", node_table, 8, "str "},
};

template <class Command>
std::string name_of(const ::testing::TestParamInfo<Command> &command) {
    return command.param.name;
}

class CapabilityCommand : public LibraryTest {
protected:
    CapabilityCommand() {
        g_trel_cap_global = client;
        g_trel_cap_zlog_level = 1;
    }
    // The commands themselves log nothing.
    void expect_errors_of(const char *function, size_t count) const {
        const auto logs = platform.logs();
        EXPECT_EQ(logs.size(), count);
        EXPECT_THAT(logs, Each(::testing::AllOf(::testing::Field("function", &Log::function, function),
                                                ::testing::Field("level", &Log::level, 100))));
    }
};

class GetCommand : public CapabilityCommand, public ::testing::WithParamInterface<Getter> {
protected:
    const Getter &getter = GetParam();

    Printed run(const std::string &url) const {
        return print([&] { return getter.run(url.c_str()); });
    }
    std::string first_line(const std::string &url) const { return getter.prefix + ("url " + url) + '\n'; }
    Field value(int32_t number) const {
        return getter.field == 8 ? Field(8, std::to_string(number)) : Field(getter.field, number);
    }
    HashAnswer found(const std::string &url, const Field &its_value) const {
        return HashAnswer::found(getter.record(url, {its_value}), {static_cast<int32_t>(getter.field)});
    }
    Call read(const std::string &url, MomClient *with) const {
        return call::hgetall_sync(with, 28, getter.record(url, {}));
    }
    std::vector<Call> reads(size_t count) const { return std::vector<Call>(count, read("/a", client)); }
};

INSTANTIATE_TEST_SUITE_P(Getters, GetCommand, ::testing::ValuesIn(kGetters), name_of<Getter>);

TEST_P(GetCommand, PrintsTheValue) {
    for (const int32_t number : {1, 0}) {
        platform.hgetall_sync.always(found("/a b", value(number)));
        EXPECT_EQ(run("/a b"), (Printed{0, first_line("/a b") + getter.label + std::to_string(number) + '\n'}));
    }
    EXPECT_THAT(platform.calls("ox_mom_hgetall_sync"), ElementsAre(read("/a b", client), read("/a b", client)));
    EXPECT_THAT(platform.logs(), IsEmpty());
}

TEST_P(GetCommand, MakesAFailingReadThreeTimes) {
    platform.hgetall_sync.then(HashAnswer::none())
        .then(HashAnswer::no_record())
        .then(HashAnswer::found(getter.record("/a", {}), {}));
    EXPECT_EQ(run("/a"), (Printed{-24, first_line("/a") + "failed,rv -22\n"}));
    EXPECT_EQ(platform.calls("ox_mom_hgetall_sync"), reads(3));
    expect_errors_of(getter.name, 3);
}

TEST_P(GetCommand, MakesThemWithAClosedLogToo) {
    g_trel_cap_zlog_level = 0;
    EXPECT_EQ(run("/a"), (Printed{-21, first_line("/a") + "failed,rv -21\n"}));
    EXPECT_EQ(platform.calls("ox_mom_hgetall_sync"), reads(3));
}

TEST_P(GetCommand, MayOvercomeAFailureAndStillReportsIt) {
    platform.hgetall_sync.then(HashAnswer::none()).then(found("/a", value(1))).then(HashAnswer::error(5));
    EXPECT_EQ(run("/a"), (Printed{-21, first_line("/a") + "failed,rv 0\n"}));
    platform.hgetall_sync.then(HashAnswer::no_record()).then(HashAnswer::none()).then(found("/a", value(1)));
    EXPECT_EQ(run("/a"), (Printed{0, first_line("/a") + "failed,rv -21\n"}));
}

TEST_P(GetCommand, ReadsWithTheCallingThreadsClient) {
    g_trel_cap_global = other_client;
    run("/a");
    EXPECT_THAT(platform.calls("ox_mom_hgetall_sync"), Each(read("/a", other_client)));

    platform.forget();
    Printed printed;
    std::thread([&] { printed = run("/a"); }).join();
    EXPECT_EQ(printed, (Printed{-4, first_line("/a") + "failed,rv -4\n"}));
    EXPECT_THAT(platform.calls(), IsEmpty());
    EXPECT_THAT(platform.logs(), ElementsAre(Log{100, getter.name, "global NULL pointer, addr error!\n"},
                                             Log{100, getter.name, "global NULL pointer, addr error!\n"},
                                             Log{100, getter.name, "global NULL pointer, addr error!\n"}));
}

TEST_P(GetCommand, LeavesTheChecksToTheGetter) {
    const std::string url = url_of_length(256);
    EXPECT_EQ(run(url), (Printed{-4, first_line(url) + "failed,rv -4\n"}));
    EXPECT_EQ(print([this] { return getter.run(nullptr); }), (Printed{-4, first_line("(null)") + "failed,rv -4\n"}));
    EXPECT_THAT(platform.calls(), IsEmpty());
    expect_errors_of(getter.name, 6);
}

using CapabilityValues = CapabilityCommand;

TEST_F(CapabilityValues, OfIntegersAreSigned) {
    for (const int32_t number : {INT32_MIN, -1, INT32_MAX}) {
        platform.hgetall_sync.always(HashAnswer::found(cap_table("/a", {{7, number}}), {7}));
        EXPECT_EQ(print([] { return trel_cap_dbg_ce_get_g_cap_int32("/a"); }).output,
                  text("url /a\nvalue %d\n", number));
        platform.hgetall_sync.always(HashAnswer::found(node_table("/a", {{7, number}}), {7}));
        EXPECT_EQ(print([] { return trel_cap_dbg_ce_get_fe_cap_int32(kNode, "/a"); }).output,
                  text("node -7, url /a\nvalue %d\n", number));
    }
}

TEST_F(CapabilityValues, OfStringsAreCutAt255Bytes) {
    for (const size_t length : {size_t{0}, size_t{254}, size_t{255}, size_t{256}, size_t{300}}) {
        const std::string stored = std::string(length, 'v');
        platform.hgetall_sync.always(HashAnswer::found(node_table("/a", {{8, stored}}), {8}));
        EXPECT_EQ(print([] { return trel_cap_dbg_ce_get_fe_cap_str(kNode, "/a"); }),
                  (Printed{0, "node -7, url /a\nstr " + stored.substr(0, 255) + '\n'}));
    }
}

struct Setter {
    const char *name;
    int32_t (*run)(const char *url, int32_t value);
    const char *label;
    uint32_t field;
};

const Setter kValueSetters[] = {
    {"trel_cap_ce_set_g_cap_bool", trel_cap_dbg_ce_set_g_cap_bool, "val", 6},
    {"trel_cap_ce_set_g_cap_int32", trel_cap_dbg_ce_set_g_cap_int32, "val", 7},
};
const Setter kStateSetters[] = {
    {"trel_cap_ce_set_g_cap_state", trel_cap_dbg_ce_set_g_cap_state, "state", 22},
};

class SetCommand : public CapabilityCommand, public ::testing::WithParamInterface<Setter> {
protected:
    const Setter &setter = GetParam();

    Printed run(const char *url, int32_t value) const {
        return print([&] { return setter.run(url, value); });
    }
    std::string first_line(const std::string &url, int32_t value) const {
        return text("url %s, %s %d\n", url.c_str(), setter.label, value);
    }
    Call write(MomClient *with, const std::string &url, int32_t value) const {
        return call::hmset_sync(with, 28, cap_table(url, {{setter.field, value}}),
                                {static_cast<int32_t>(setter.field)});
    }
    std::vector<Call> writes(size_t count) const { return std::vector<Call>(count, write(client, "/a", 2)); }
};
using ValueSetCommand = SetCommand;
using StateSetCommand = SetCommand;

INSTANTIATE_TEST_SUITE_P(Values, SetCommand, ::testing::ValuesIn(kValueSetters), name_of<Setter>);
INSTANTIATE_TEST_SUITE_P(States, SetCommand, ::testing::ValuesIn(kStateSetters), name_of<Setter>);
INSTANTIATE_TEST_SUITE_P(Values, ValueSetCommand, ::testing::ValuesIn(kValueSetters), name_of<Setter>);
INSTANTIATE_TEST_SUITE_P(States, StateSetCommand, ::testing::ValuesIn(kStateSetters), name_of<Setter>);

TEST_P(SetCommand, WritesTheValueAndSaysNothingMore) {
    for (const int32_t value : {1, 0, 5, INT32_MIN}) {
        platform.forget();
        EXPECT_EQ(run("/a b", value), (Printed{0, first_line("/a b", value)}));
        EXPECT_THAT(platform.events(), ElementsAre(write(client, "/a b", value)));
    }
}

TEST_P(SetCommand, WritesWithTheCallingThreadsClient) {
    g_trel_cap_global = other_client;
    run("/a", 2);
    EXPECT_THAT(platform.events(), ElementsAre(write(other_client, "/a", 2)));

    platform.forget();
    Printed printed;
    std::thread([&] { printed = run("/a", 2); }).join();
    EXPECT_EQ(printed, (Printed{-4, first_line("/a", 2) + "failed,rv -4\n"}));
    EXPECT_THAT(platform.events(), ElementsAre(Log{100, setter.name, "global NULL pointer, addr error!\n"},
                                               Log{100, setter.name, "global NULL pointer, addr error!\n"},
                                               Log{100, setter.name, "global NULL pointer, addr error!\n"}));
}

TEST_P(SetCommand, LeavesTheChecksToTheSetter) {
    const std::string url = url_of_length(256);
    EXPECT_EQ(run(url.c_str(), 2), (Printed{-4, first_line(url, 2) + "failed,rv -4\n"}));
    EXPECT_EQ(run(nullptr, 2), (Printed{-4, first_line("(null)", 2) + "failed,rv -4\n"}));
    EXPECT_THAT(platform.calls(), IsEmpty());
    expect_errors_of(setter.name, 6);
}

TEST_P(ValueSetCommand, MakesAFailingWriteThreeTimes) {
    for (const int32_t level : {0, 1}) {
        platform.forget();
        g_trel_cap_zlog_level = level;
        platform.hmset_sync.then(-105).then(-106).then(-107);
        EXPECT_EQ(run("/a", 2), (Printed{-107, first_line("/a", 2) + "failed,rv -106\n"}));
        EXPECT_EQ(platform.calls(), writes(3));
    }
    expect_errors_of(setter.name, 3);
}

TEST_P(ValueSetCommand, MayOvercomeAFailureAndStillReportsIt) {
    platform.hmset_sync.then(5).then(0).then(-107);
    EXPECT_EQ(run("/a", 2), (Printed{-107, first_line("/a", 2) + "failed,rv 0\n"}));
    platform.hmset_sync.then(-105).then(7).then(0);
    EXPECT_EQ(run("/a", 2), (Printed{0, first_line("/a", 2) + "failed,rv 7\n"}));
    EXPECT_EQ(platform.calls(), writes(6));
}

// The setter behind it does not tell of refusals.
TEST_P(StateSetCommand, DoesNotLearnOfARefusal) {
    platform.hmset_sync.always(-105);
    EXPECT_EQ(run("/a", 2), (Printed{0, first_line("/a", 2)}));
    EXPECT_EQ(platform.calls(), writes(1));
    expect_errors_of(setter.name, 1);
}

}  // namespace
}  // namespace trel_cap_tests
