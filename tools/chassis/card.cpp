#include "chassis/card.h"

#include <trel_cap/records.h>

#include <algorithm>
#include <iterator>

#include "command_line/exit_status.h"
#include "command_line/names.h"
#include "command_line/text.h"

namespace chassis {

using namespace command_line;
using record::Record;

namespace {

struct ClassWords {
    CardClass card_class;
    const char *name;
    int32_t node_type;
    int32_t model;
};

constexpr ClassWords kClasses[] = {
    {CardClass::kLineCard, "lc", 3, 900},
    {CardClass::kFabric, "fab", 5, 500},
    {CardClass::kControlModule, "cm", 2, 300},
    {CardClass::kHps, "hps", 7, 700},
};

struct Scope {
    const char *name;
    const ProtobufCMessageDescriptor &type;
};

constexpr Scope kScopes[] = {
    {"glb", cap_glb_state__descriptor},
    {"cm", cap_cm_glb_state__descriptor},
    {"fab", cap_fab_glb_state__descriptor},
    {"hps", cap_hps_glb_state__descriptor},
};

template <class Words>
std::vector<std::string> names_in(const Words &words) {
    std::vector<std::string> names;
    std::transform(std::begin(words), std::end(words), std::back_inserter(names),
                   [](const auto &each) { return each.name; });
    return names;
}

template <class Words>
auto &named(const Words &words, const char *what, std::string_view name) {
    const auto *found =
        std::find_if(std::begin(words), std::end(words), [&](const auto &each) { return name == each.name; });
    if (found == std::end(words)) {
        const std::vector<std::string> names = names_in(words);
        throw Failure(kUsage, std::string(what) + ": " + alternatives(names) + " expected, not " + quote(name) +
                                  did_you_mean(name, names));
    }
    return *found;
}

const ClassWords &words_of(CardClass card_class) {
    return *std::find_if(std::begin(kClasses), std::end(kClasses),
                         [&](const ClassWords &each) { return each.card_class == card_class; });
}

// Both are addressed by where the card is.
Record at_place(const ProtobufCMessageDescriptor &type, const Card &card) {
    Record record(record::type_of(type));
    record.set("index.devid", card.devid);
    record.set("index.slotid", card.slotid);
    record.set("index.sslotid", card.sslotid);
    record.set("config_dev_type", card.config_dev_type);
    record.set("card_nodeid", card.node);
    return record;
}

}  // namespace

std::string_view name_of(CardClass card_class) { return words_of(card_class).name; }

CardClass class_named(std::string_view name) { return named(kClasses, "--class", name).card_class; }

std::vector<std::string> class_names() { return names_in(kClasses); }

std::optional<CardClass> class_of(int32_t node_type) {
    switch (node_type) {
        case 1:
        case 3:
        case 6:
            return CardClass::kLineCard;
        case 2:
            return CardClass::kControlModule;
        case 5:
            return CardClass::kFabric;
        case 7:
            return CardClass::kHps;
        default:
            return std::nullopt;
    }
}

Card usual_card(CardClass card_class, int32_t node) {
    Card card;
    card.node = node;
    card.node_type = words_of(card_class).node_type;
    card.config_dev_type = words_of(card_class).model;
    card.slotid = node & INT32_MAX;
    return card;
}

Record card_info(const Card &card) {
    Record record = at_place(card_info__descriptor, card);
    record.set("is_online", card.is_online);
    record.set("static_info.index.type", card.config_dev_type);
    record.set("static_info.node_type", card.node_type);
    if (!card.name.empty()) {
        record.set("name", card.name);
    }
    return record;
}

Record check_result(const Card &card, bool passed) {
    Record record = at_place(app_df_card_deny_check_result__descriptor, card);
    record.set("stat", int32_t{passed ? APP_DF_CHECK_PASS : APP_DF_CHECK_DENY});
    return record;
}

Record node_ready(const Card &card, bool ready, bool real_time) {
    const bool is_control_module = class_of(card.node_type) == CardClass::kControlModule;
    Record record(record::type_of(is_control_module ? cap_cm_ready__descriptor : cap_fe_ready__descriptor));
    record.set("index.node", card.node);
    record.set("index.config_dev_type", card.config_dev_type);
    record.set("ready", ready);
    record.set("config_dev_type", card.config_dev_type);
    record.set("devid", card.devid);
    record.set("slotid", card.slotid);
    record.set("sslotid", card.sslotid);
    record.set("node_type", card.node_type);
    record.set("real_time", real_time);
    return record;
}

Record scope_ready(std::string_view scope, bool ready) {
    if (scope == name_of(CardClass::kLineCard)) {
        throw Failure(kUsage, "SCOPE: " + alternatives(names_in(kScopes)) + " expected, not " + quote(scope) +
                                  "; line cards are ready with the device, which is glb");
    }
    Record record(record::type_of(named(kScopes, "SCOPE", scope).type));
    record.set("ready", ready);
    return record;
}

std::vector<std::string> scope_names() { return names_in(kScopes); }

}  // namespace chassis
