// The four card classes: what their processors differ in.
#pragma once

#include <cstdint>
#include <vector>

#include "processor_test.h"

namespace trel_cap_tests::processors {

struct CardClass {
    const char *name;

    // The announcement of what is installed in advance: what it waits for, and what its notifier logs.
    const char *announcement;
    int32_t (*announce)();
    const char *all_validated;
    std::vector<uint8_t *(*)()> sources;
    uint8_t *(*calc_ready)();
    uint32_t *(*flag_word)();
    uint32_t announcement_bit;
    const char *notifier;
    const char *mismatch;  // "node ... node %d node_type %d"
    const char *sender;    // "..., event %d, node %d|0x%x, ready %d"
    int32_t node_type;
    int node_event;
    const List &list;

    // The processor of the class's state record.
    const char *state_processor;
    MomMsgCb process_state;
    const ProtobufCMessageDescriptor *state_type;
    const char *query;
    const char *calc_word;  // how its messages call the value,
    const char *flag_name;  // and the flag word
    uint8_t *(*state_validated)();
    int class_event;
    uint32_t class_event_bit;
    bool sends_event_8;
    bool announces_first;
};

extern const CardClass kLineCardClass;
extern const CardClass kFabricClass;
extern const CardClass kControlModuleClass;
extern const CardClass kHpsClass;
inline const CardClass *const kCardClasses[] = {&kLineCardClass, &kFabricClass, &kControlModuleClass, &kHpsClass};

inline std::string class_name(const ::testing::TestParamInfo<const CardClass *> &info) { return info.param->name; }

// Everything that the announcement waits for.
void allow_announcement(const CardClass &card_class);
// Of all classes, with all bits of all flag words.
void allow_everything();

// One node of each class, and one line card that is another's class, each to be announced.
std::vector<CapNodeRecord> preinstalled_entries();

// What an announcement does with these entries in the list, when its sources have all been read and it goes ahead.
Events announced(const CardClass &card_class, const std::vector<CapNodeRecord> &entries);

}  // namespace trel_cap_tests::processors
