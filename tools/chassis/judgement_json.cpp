#include "chassis/judgement_json.h"

#include <nlohmann/json.hpp>

#include "chassis/explanation.h"

namespace chassis {

using Json = nlohmann::ordered_json;

namespace {

Json condition_json(const Judgement &judgement, const Condition &condition) {
    Json json = {{"condition", name_of(condition.kind)},
                 {"met", condition.met},
                 {"asked", condition.asked},
                 {"record", condition.key},
                 {"stored", condition.stored},
                 {"actor", name_of(condition.actor)}};
    if (!condition.met) {
        json["why"] = why(judgement, condition);
    }
    return json;
}

Json told_json(const Told &told) {
    return {{"event", told.event}, {"name", name_of_event(told.event)}, {"list", name_of(told.list)},
            {"ready", told.ready}, {"in_advance", told.in_advance},     {"record", told.key}};
}

}  // namespace

Json to_json(const Judgement &judgement) {
    const Card &card = judgement.card;
    Json json = {{"node", card.node},
                 {"class", nullptr},
                 {"slot", slot_of(card)},
                 {"model", card.config_dev_type},
                 {"name", card.name},
                 {"node_type", card.node_type},
                 {"verdict", name_of(judgement.verdict)},
                 {"conditions", Json::array()},
                 {"told", Json::array()},
                 {"notes", notes(judgement)}};
    if (judgement.card_class) {
        json["class"] = name_of(*judgement.card_class);
    }
    for (const Condition &condition : judgement.conditions) {
        json["conditions"].push_back(condition_json(judgement, condition));
    }
    for (const Told &told : judgement.told) {
        json["told"].push_back(told_json(told));
    }
    return json;
}

}  // namespace chassis
