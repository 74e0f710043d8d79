// Which record leads to which event, and who is told.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "chassis/classes.h"

namespace chassis {

// One thing that happens to a record, and one event that follows. Several that happen the same way follow each other in
// the order in which they are told.
struct EventRule {
    CardClass card_class;
    std::string_view record;  // its type
    // What becomes of it: inserted, removed; pass, deny, withdrawn; ready, ready in advance, unready, deleted; on, off,
    // deleted. In advance: ready, and not yet in real time.
    std::string_view change;
    std::optional<int32_t> event;  // nothing: no event follows
    bool ready;                    // of an event of a node: what it says
    List list;                     // who is told
    std::string_view condition;    // beside that the event is asked for
};

std::span<const EventRule> event_rules();

}  // namespace chassis
