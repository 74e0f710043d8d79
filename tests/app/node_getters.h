// The getters of node capabilities, and variables of a caller's with neighbours that nobody may touch.
#pragma once

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "library_test.h"

namespace trel_cap_tests {

enum class NodeValue { kBool, kInt32, kStr };

// What a caller passes to whichever getter.
struct Caller {
    static constexpr int32_t kHeld = 0x2a;
    static constexpr size_t kRoom = 1024;

    std::array<uint8_t, 3> boolean = {0x55, kHeld, 0x55};
    std::array<int32_t, 3> integer = {0x55, kHeld, 0x55};
    std::array<char, kRoom> text;
    std::array<uint32_t, 3> length = {0x55, kHeld, 0x55};
    int32_t size = 64;      // as the getter is told
    bool no_value = false;  // null in place of value or str
    bool no_length = false;

    Caller() { text.fill('x'); }

    // The text as far as it may be written, and whether the rest is as it was.
    bool is_clear_behind(size_t written) const {
        return std::all_of(text.begin() + static_cast<std::ptrdiff_t>(written), text.end(),
                           [](char byte) { return byte == 'x'; });
    }
    bool is_zeroed() const {
        return std::all_of(text.begin(), text.begin() + size, [](char byte) { return byte == '\0'; });
    }
    bool operator==(const Caller &) const = default;
};

struct NodeGetter {
    const char *name;
    const char *logged;  // the name in its messages
    const ProtobufCMessageDescriptor *record;
    NodeValue kind;
    int32_t (*get)(MomClient *client, int32_t node, const char *url, Caller &caller);

    int32_t field() const { return kind == NodeValue::kBool ? 6 : kind == NodeValue::kInt32 ? 7 : 8; }
};

template <auto kFunction>
int32_t get_bool(MomClient *client, int32_t node, const char *url, Caller &caller) {
    return kFunction(client, node, url, caller.no_value ? nullptr : &caller.boolean[1]);
}
template <auto kFunction>
int32_t get_int32(MomClient *client, int32_t node, const char *url, Caller &caller) {
    return kFunction(client, node, url, caller.no_value ? nullptr : &caller.integer[1]);
}
template <auto kFunction>
int32_t get_str(MomClient *client, int32_t node, const char *url, Caller &caller) {
    return kFunction(client, node, url, caller.size, caller.no_value ? nullptr : caller.text.data(),
                     caller.no_length ? nullptr : &caller.length[1]);
}

#define NODE_GETTERS(family, logged, record)                                                                           \
    {"trel_cap_ce_get_" #family "_cap_bool", "trel_cap_ce_get_" #logged "_cap_bool", &record##__descriptor,            \
     NodeValue::kBool, get_bool<trel_cap_ce_get_##family##_cap_bool>},                                                 \
        {"trel_cap_ce_get_" #family "_cap_int32", "trel_cap_ce_get_" #logged "_cap_int32", &record##__descriptor,      \
         NodeValue::kInt32, get_int32<trel_cap_ce_get_##family##_cap_int32>},                                          \
    {                                                                                                                  \
        "trel_cap_ce_get_" #family "_cap_str", "trel_cap_ce_get_" #logged "_cap_str", &record##__descriptor,           \
            NodeValue::kStr, get_str<trel_cap_ce_get_##family##_cap_str>                                               \
    }

// HPS and fabric cards are read as line cards are, and by their getters.
inline const NodeGetter kNodeGetters[] = {
    NODE_GETTERS(fe, fe, cap_glb_table),
    NODE_GETTERS(cm, cm, cap_cm_glb_table),
    NODE_GETTERS(hps, fe, cap_glb_table),
    NODE_GETTERS(fab, fe, cap_glb_table),
};

class NodeCapabilityTest : public LibraryTest, public ::testing::WithParamInterface<NodeGetter> {
protected:
    static constexpr int32_t kNode = 513;
    const NodeGetter &getter = GetParam();
    const std::string url = "/port/mtu limit";
    Caller caller;

    int32_t get(const std::string &wanted) { return getter.get(client, kNode, wanted.c_str(), caller); }

    Record table(const std::string &its_url, const Fields &fields = {}, int32_t node = kNode) const {
        return Record::of(*getter.record, fields).with_index({{1, node}, {2, its_url}});
    }
    // A record that has all values: false, 0 and "" but for the one that is asked for.
    Record holding(const std::string &its_url) const {
        switch (getter.kind) {
            case NodeValue::kBool:
                return table(its_url, {{6, 1}});
            case NodeValue::kInt32:
                return table(its_url, {{7, 9216}});
            default:
                return table(its_url, {{8, std::string("jumbo")}});
        }
    }
    HashAnswer found() const { return HashAnswer::found(holding(url), {5, getter.field()}); }

    Log error(const std::string &message) const { return {100, getter.logged, message}; }
    Log detail(const std::string &message) const { return {40, getter.logged, message}; }
    Log enter(const std::string &wanted) const {
        return detail(text("global %p, node 513, url %s", static_cast<void *>(client), wanted.c_str()));
    }
    Call request(const std::string &wanted) const { return call::hgetall_sync(client, 28, table(wanted)); }

    Caller untouched() const {
        Caller expected;
        expected.size = caller.size;
        expected.no_value = caller.no_value;
        expected.no_length = caller.no_length;
        return expected;
    }
    // What a caller holds once a getter has begun.
    Caller reset() const {
        Caller expected = untouched();
        switch (getter.kind) {
            case NodeValue::kBool:
                expected.boolean[1] = 0;
                break;
            case NodeValue::kInt32:
                expected.integer[1] = -1;
                break;
            default:
                std::fill_n(expected.text.begin(), caller.size, '\0');
                expected.length[1] = 0;
        }
        return expected;
    }
    Caller delivered() const {
        Caller expected = reset();
        switch (getter.kind) {
            case NodeValue::kBool:
                expected.boolean[1] = 1;
                break;
            case NodeValue::kInt32:
                expected.integer[1] = 9216;
                break;
            default:
                std::memcpy(expected.text.data(), "jumbo", 5);
                expected.length[1] = 5;
        }
        return expected;
    }
    Log delivered_message() const {
        switch (getter.kind) {
            case NodeValue::kBool:
                return detail("node 513, url /port/mtu limit value 1");
            case NodeValue::kInt32:
                return detail("node 513, url /port/mtu limit value 9216");
            default:
                return detail("node 513, url /port/mtu limit, str: jumbo, length 5");
        }
    }
};

inline std::string name_of_getter(const ::testing::TestParamInfo<NodeGetter> &getter) { return getter.param.name; }

}  // namespace trel_cap_tests
