// card: a card in its slot, as the process that watches the slots tells of it.
#include <memory>
#include <nlohmann/json.hpp>

#include <trel_cap/records.h>

#include "chassis/explanation.h"
#include "command_line/exit_status.h"
#include "verbs/card_options.h"
#include "verbs/print.h"
#include "verbs/value.h"
#include "verbs/verbs.h"

namespace capctl {

using namespace command_line;
using chassis::Card;
using record::Record;

namespace {

struct CardVerb {
    std::string action;
    CardOptions options;
    std::string name;
    Command command;

    int run(Session &session) const;
    int insert(Session &session, const KnownNode &known) const;
    int remove(Session &session, const KnownNode &known) const;
};

std::string node_text(int32_t node) { return "node " + chassis::node_argument(node); }

// One slot holds one card, and a card is in one slot.
void check_slot(const KnownNode &known, const Record &record, int32_t node) {
    const Record *const there = known.snapshot().find(record.key());
    if (there != nullptr && there->as<CardInfo>().card_nodeid != node) {
        throw Failure(kNegative, record.key() + ": the card of " + node_text(there->as<CardInfo>().card_nodeid) +
                                     " is in that slot; remove it first, or name another --slot");
    }
    for (const Record *card : known.records().cards) {
        if (card->key() != record.key()) {
            throw Failure(kNegative,
                          node_text(node) + ": its card is in another slot, " + card->key() + "; remove it first");
        }
    }
}

bool is_at_place_of(const CardInfo &stored, const Card &card) {
    return stored.index->devid == card.devid && stored.index->slotid == card.slotid &&
           stored.index->sslotid == card.sslotid;
}

// Of a card that is stored, what is not said stays as it is.
Record inserted(const KnownNode &known, const Card &card) {
    const auto &cards = known.records().cards;
    if (cards.empty() || !is_at_place_of(cards.back()->as<CardInfo>(), card)) {
        return card_info(card);
    }
    Record record = *cards.back();
    record.set("config_dev_type", card.config_dev_type);
    record.set("is_online", true);
    record.set("static_info.node_type", card.node_type);
    return record;
}

int CardVerb::insert(Session &session, const KnownNode &known) const {
    Card card = options.card(known);
    card.is_online = true;
    Record record = inserted(known, card);
    if (!name.empty()) {
        record.set("name", name);
    }
    check_slot(known, record, card.node);
    session.store().write(record);
    print_written(session, record);
    return kDone;
}

int CardVerb::remove(Session &session, const KnownNode &known) const {
    if (known.records().cards.empty()) {
        throw Failure(kNegative, node_text(options.node()) + ": no card of it is inserted");
    }
    for (const Record *card : known.records().cards) {
        session.store().remove(*card);
        print_written(session, *card);
    }
    return kDone;
}

int CardVerb::run(Session &session) const {
    check_choice(action, {"insert", "remove"});
    options.check();
    if (action == "remove") {
        constexpr char kWhy[] = "remove takes the node only: its card is removed, whatever it is";
        options.refuse_all(kWhy);
        command.refuse({"--name"}, kWhy);
    }
    const KnownNode known(session.store(), options.node());
    return action == "insert" ? insert(session, known) : remove(session, known);
}

}  // namespace

void add_card(Verbs &verbs) {
    const auto card = std::make_shared<CardVerb>();
    const Command command = verbs.add("card", "Tell that a card is in its slot, or is gone",
                                      "  trel_capctl card insert 17\n"
                                      "  trel_capctl card insert 0x21 --class fab --slot 5 --name 'fabric left'\n"
                                      "  trel_capctl card remove 17\n",
                                      [card](Session &session) { return card->run(session); });
    command.add_option("insert|remove", card->action, "What becomes of it").required();
    card->command = command;
    card->options.add_to(command);
    command.add_option("--name", card->name, "What it is called").type_name("TEXT");
}

}  // namespace capctl
