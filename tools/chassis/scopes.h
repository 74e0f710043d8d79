// The readiness of the device and of the classes, and whether a card waits for it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "chassis/judgement.h"

namespace chassis {

// Of line cards it is the device's.
struct Scope {
    CardClass card_class;
    bool ready;
    bool stored;   // its record is
    bool decodes;  // its record, if it is stored
    size_t cards;  // of the class; those of no class count as line cards, as which they are followed

    // Of a class without a card nobody misses the readiness.
    bool is_missing() const { return cards > 0 && !ready; }
    std::string_view name() const;  // glb, cm, fab, hps
    std::string_view key() const;   // of its record
};

// All four, by the order of class_names().
std::vector<Scope> scopes_of(const store::Snapshot &snapshot, const std::vector<Judgement> &judgements);

// The device, the class of fabric cards, ...
std::string what_is(const Scope &scope);
// Of one that is not ready: a sentence, and the command that makes it so.
std::string why(const Scope &scope);
std::string remedy(const Scope &scope);

}  // namespace chassis
