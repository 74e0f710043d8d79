// What the classes of cards differ in: their records, and the events and registrations by which applications follow
// them.
#pragma once

#include <trel_cap/events.h>

#include <cstdint>
#include <string_view>

#include "chassis/card.h"

namespace chassis {

// The registrations of applications, by what follows with them.
enum class List { kLineCards, kFabric, kControlModules, kHps, kLineCardsAndHps };

std::string_view name_of(List list);          // lc, fab, cm, hps, lc_and_hps
std::string_view registration_of(List list);  // the function that registers: trel_cap_event_callback_reg

std::string_view name_of_event(int32_t event);  // SYSTEM, FE_NODE, ...

struct ClassRules {
    CardClass card_class;
    List list;
    int32_t class_event;
    int32_t node_event;
    // The events that one asks for who follows this class alone.
    uint32_t own_events;
    // Cards of this type alone are announced in advance: ready, and not yet in real time.
    int32_t announced_type;
    // The event that has to be asked for so that they are.
    int32_t announced_with;
    // Its readiness, and that of its nodes, by the names of the records' types.
    std::string_view scope;
    std::string_view state_type;
    std::string_view node_type;
};

const ClassRules &rules_of(CardClass card_class);

// Whether the application's check decides over cards of a type. Those of no known type are checked too.
constexpr bool is_checked(int32_t node_type) {
    return node_type != 1 && node_type != 2 && node_type != 5 && node_type != 7;
}

}  // namespace chassis
