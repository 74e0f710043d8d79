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

// What somebody has to do, and why.
Json missing_json(std::string_view condition, const std::string &key, Actor actor, const std::string &why,
                  const std::string &remedy) {
    return {{"condition", condition}, {"record", key}, {"actor", name_of(actor)}, {"why", why}, {"remedy", remedy}};
}

Json missing_json(const Judgement &judgement) {
    Json missing = Json::array();
    for (const Condition &each : judgement.conditions) {
        if (each.is_missing()) {
            missing.push_back(
                missing_json(name_of(each.kind), each.key, each.actor, why(judgement, each), remedy(judgement, each)));
        }
    }
    return missing;
}

// Nothing but its number: what else a judgement has is as usual, and no record says so.
Json unknown_json(const Judgement &judgement) {
    const Condition &installed = judgement.conditions.front();
    return {{"node", judgement.card.node},
            {"verdict", name_of(judgement.verdict)},
            {"conditions", Json::array()},
            {"missing",
             {missing_json(name_of(installed.kind), "", installed.actor, why(judgement, installed),
                           remedy(judgement, installed))}},
            {"told", Json::array()},
            {"notes", Json::array()}};
}

Json told_json(const Told &told) {
    return {{"event", told.event}, {"name", name_of_event(told.event)}, {"list", name_of(told.list)},
            {"ready", told.ready}, {"in_advance", told.in_advance},     {"record", told.key}};
}

}  // namespace

Json to_json(const Judgement &judgement) {
    if (!judgement.is_known) {
        return unknown_json(judgement);
    }
    const Card &card = judgement.card;
    Json json = {{"node", card.node},
                 {"class", nullptr},
                 {"slot", slot_of(card)},
                 {"model", card.config_dev_type},
                 {"name", card.name},
                 {"node_type", nullptr},
                 {"verdict", name_of(judgement.verdict)},
                 {"conditions", Json::array()},
                 {"missing", missing_json(judgement)},
                 {"told", Json::array()},
                 {"notes", notes(judgement)}};
    if (judgement.card_class) {
        json["class"] = name_of(*judgement.card_class);
    }
    if (judgement.told_type) {
        json["node_type"] = *judgement.told_type;
    }
    for (const Condition &condition : judgement.conditions) {
        json["conditions"].push_back(condition_json(judgement, condition));
    }
    for (const Told &told : judgement.told) {
        json["told"].push_back(told_json(told));
    }
    return json;
}

Json to_json(const Scope &scope) {
    Json json = {{"scope", scope.name()},   {"class", name_of(scope.card_class)},
                 {"cards", scope.cards},    {"verdict", scope.ready ? "ready" : "not ready"},
                 {"record", scope.key()},   {"stored", scope.stored},
                 {"missing", Json::array()}};
    if (scope.is_missing()) {
        json["missing"].push_back(missing_json(name_of(Condition::Kind::kClassReady), std::string(scope.key()),
                                               Actor::kReadinessCalculation, why(scope), remedy(scope)));
    }
    return json;
}

}  // namespace chassis
