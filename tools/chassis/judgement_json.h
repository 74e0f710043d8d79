// Judgements as JSON, for programs and for the board's page.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "chassis/judgement.h"
#include "chassis/scopes.h"

namespace chassis {

// {"node": 3, "class": "lc", "slot": "0/3/0", "model": 900, "name": "", "node_type": 3, "verdict": "not ready",
//  "conditions": [{"condition": "checked", "met": false, "asked": true, "record": key, "stored": false,
//                  "actor": "application's checker", "why": text}, ...],
//  "missing": [{"condition": "checked", "record": key, "actor": "application's checker", "why": text,
//               "remedy": command}, ...],
//  "told": [{"event": 1, "name": "FE_NODE", "list": "lc", "ready": true, "in_advance": false, "record": key}, ...],
//  "notes": [text, ...]}
// class is null for a node of no class, node_type where no record tells it; slot is device/slot/sub-slot; why is there
// where a condition is not met. missing has the conditions that are asked and not met: none of a card that is ready. A
// node that no record names has its number alone, from class to node_type nothing.
nlohmann::ordered_json to_json(const Judgement &judgement);

// {"scope": "glb", "class": "lc", "cards": 2, "verdict": "not ready", "record": "cap_glb_state", "stored": false,
//  "missing": as above}
// Nothing is missing of a class that has no card.
nlohmann::ordered_json to_json(const Scope &scope);

}  // namespace chassis
