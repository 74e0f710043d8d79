#include "verbs/card_options.h"

#include <trel_cap/records.h>

#include <array>

#include "command_line/exit_status.h"
#include "command_line/names.h"
#include "command_line/text.h"
#include "record/field_text.h"

namespace capctl {

using namespace command_line;
using chassis::Card;
using chassis::CardClass;

namespace {

store::Snapshot node_records(store::Store &store) {
    const std::array<const record::RecordType *, 4> types = {
        &record::type_of(card_info__descriptor), &record::type_of(app_df_card_deny_check_result__descriptor),
        &record::type_of(cap_fe_ready__descriptor), &record::type_of(cap_cm_ready__descriptor)};
    return store::Snapshot::of(store, types);
}

int32_t parse_place(const char *option, const std::string &text) {
    const int32_t number = record::parse_number(option, text);
    if (number < 0) {
        throw Failure(kUsage, std::string(option) + ": 0 or more expected, not " + quote(text));
    }
    return number;
}

void override_number(const char *option, const std::string &text, int32_t &value) {
    if (!text.empty()) {
        value = parse_place(option, text);
    }
}

// The record's is signed, a node's number is not: half of them are written in hexadecimal only.
int32_t parse_node(const std::string &text) {
    const int32_t number = record::parse_number("NODE", text);
    if (text.starts_with('-')) {
        throw Failure(kUsage, "NODE: 0 or more expected, not " + quote(text));
    }
    return number;
}

CardClass class_of_type(const std::string &text) {
    const auto of_type = chassis::class_of(record::parse_number("--type", text));
    if (!of_type) {
        throw Failure(kUsage, "--type: 1, 3 or 6 (line cards), 2 (cm), 5 (fab) or 7 (hps) expected, not " +
                                  quote(text) + "; set writes any, as in card_info:0:0:1:0 static_info.node_type=4");
    }
    return *of_type;
}

// A card that is of another class than the records say has nothing in common with it but its place.
Card card_of_class(const std::optional<Card> &known, CardClass card_class, int32_t node) {
    Card card = usual_card(card_class, node);
    if (known && chassis::class_of(known->node_type) == card_class) {
        return *known;
    }
    if (known) {
        card.devid = known->devid;
        card.slotid = known->slotid;
        card.sslotid = known->sslotid;
    }
    return card;
}

}  // namespace

KnownNode::KnownNode(store::Store &store, int32_t node)
    : snapshot_(node_records(store)), records_(chassis::records_of(snapshot_, node)) {}

void CardOptions::add_to(const Command &command) {
    command_ = command;
    command.add_option("NODE", node_, "The card's node, decimal or hexadecimal").required();
    command.add_option("--class", card_class_, "Its class; otherwise as stored, else lc")
        .type_name("lc|fab|cm|hps")
        .one_of(chassis::class_names());
    command.add_option("--type", type_, "Its node type: 1, 3 and 6 are line cards, 2 cm, 5 fab, 7 hps").type_name("N");
    command.add_option("--model", model_, "Its model (config_dev_type)").type_name("N");
    command.add_option("--slot", slot_, "Its slot; the node's number, unless one is stored").type_name("N");
    command.add_option("--dev", dev_, "The device that the slot is of; 0, unless one is stored").type_name("N");
    command.add_option("--subslot", subslot_, "Its sub-slot; 0, unless one is stored").type_name("N");
}

int32_t CardOptions::node() const { return parse_node(node_); }

// A node type says which class is meant.
std::optional<CardClass> CardOptions::card_class() const {
    const auto of_type = type_.empty() ? std::nullopt : std::optional(class_of_type(type_));
    if (card_class_.empty()) {
        return of_type;
    }
    const CardClass named = chassis::class_named(card_class_);
    if (!type_.empty() && of_type != named) {
        throw Failure(kUsage, "--type: " + quote(type_) + " is no node type of class " + card_class_);
    }
    return named;
}

void CardOptions::override_numbers(Card &card) const {
    override_number("--type", type_, card.node_type);
    override_number("--model", model_, card.config_dev_type);
    override_number("--slot", slot_, card.slotid);
    override_number("--dev", dev_, card.devid);
    override_number("--subslot", subslot_, card.sslotid);
}

void CardOptions::refuse_all(const std::string &why) const {
    command_.refuse({"--class", "--type", "--model", "--slot", "--dev", "--subslot"}, why);
}

void CardOptions::check() const {
    Card card = usual_card(card_class().value_or(CardClass::kLineCard), node());
    override_numbers(card);
}

Card CardOptions::card(const KnownNode &known) const {
    const std::optional<Card> stored = chassis::known_card(known.records());
    const auto wanted = card_class();
    Card card =
        wanted ? card_of_class(stored, *wanted, node()) : stored.value_or(usual_card(CardClass::kLineCard, node()));
    override_numbers(card);
    return card;
}

}  // namespace capctl
