// Judgements as JSON, for programs and for the board's page.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "chassis/judgement.h"

namespace chassis {

// {"node": 3, "class": "lc", "slot": "0/3/0", "model": 900, "name": "", "node_type": 3, "verdict": "not ready",
//  "conditions": [{"condition": "checked", "met": false, "asked": true, "record": key, "stored": false,
//                  "actor": "application's checker", "why": text}, ...],
//  "told": [{"event": 1, "name": "FE_NODE", "list": "lc", "ready": true, "in_advance": false, "record": key}, ...],
//  "notes": [text, ...]}
// class is null for a node of no class; slot is device/slot/sub-slot; why is there where a condition is not met.
nlohmann::ordered_json to_json(const Judgement &judgement);

}  // namespace chassis
