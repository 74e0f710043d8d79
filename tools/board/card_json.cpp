#include "board/card_json.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "chassis/judgement_json.h"

namespace board {

using chassis::Condition;
using chassis::Judgement;
using chassis::Verdict;

namespace {

bool fails(const Judgement &judgement, Condition::Kind kind) {
    return std::any_of(judgement.conditions.begin(), judgement.conditions.end(),
                       [kind](const Condition &each) { return each.kind == kind && !each.met; });
}

}  // namespace

std::string_view state_of(const Judgement &judgement) {
    if (judgement.verdict != Verdict::kNotReady) {
        return name_of(judgement.verdict);
    }
    if (fails(judgement, Condition::Kind::kInstalled)) {
        return "not installed";
    }
    return fails(judgement, Condition::Kind::kNotDenied) ? "denied" : name_of(judgement.verdict);
}

nlohmann::ordered_json card_json(const Judgement &judgement) {
    nlohmann::ordered_json json = to_json(judgement);
    json["state"] = state_of(judgement);
    json["place"] = {judgement.card.devid, judgement.card.slotid, judgement.card.sslotid};
    return json;
}

}  // namespace board
