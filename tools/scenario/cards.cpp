#include "scenario/cards.h"

#include <algorithm>
#include <cctype>
#include <string_view>

#include "command_line/names.h"

namespace scenario {

namespace {

constexpr char kAll[] = "all";

bool is_class(std::string_view word) {
    const std::vector<std::string> classes = chassis::class_names();
    return std::find(classes.begin(), classes.end(), word) != classes.end();
}

void check_name(const Value &key) {
    const std::string &name = key.text("a card's name");
    const bool letter_first = !name.empty() && std::isalpha(static_cast<unsigned char>(name.front())) != 0;
    if (!letter_first || name == kAll || is_class(name)) {
        key.expected("a card's name, which begins with a letter and is neither \"all\" nor a class,");
    }
}

void set(int32_t &member, const Fields &fields, const char *key) {
    if (const Value *value = fields.find(key)) {
        member = value->integer();
    }
}

NamedCard read_card(const Value &key, const Value &value) {
    const Fields fields(value, {"class", "node", "type", "model", "device", "slot", "subslot", "name", "online"});
    const chassis::CardClass card_class = chassis::class_named(fields.need("class").one_of(chassis::class_names()));
    chassis::Card card = chassis::usual_card(card_class, fields.need("node").integer());
    set(card.node_type, fields, "type");
    set(card.config_dev_type, fields, "model");
    set(card.devid, fields, "device");
    set(card.slotid, fields, "slot");
    set(card.sslotid, fields, "subslot");
    if (const Value *name = fields.find("name")) {
        card.name = name->text("the card's name");
    }
    if (const Value *online = fields.find("online")) {
        card.is_online = online->truth();
    }
    return {key.text(), card_class, card};
}

}  // namespace

Cards::Cards(const Value &map) {
    for (const auto &[key, value] : map.map()) {
        check_name(key);
        cards_.push_back(read_card(key, value));
    }
}

std::vector<const NamedCard *> Cards::all() const {
    std::vector<const NamedCard *> found;
    for (const NamedCard &card : cards_) {
        found.push_back(&card);
    }
    return found;
}

std::vector<std::string> Cards::words() const {
    std::vector<std::string> words = {kAll};
    const std::vector<std::string> classes = chassis::class_names();
    words.insert(words.end(), classes.begin(), classes.end());
    for (const NamedCard &card : cards_) {
        words.push_back(card.name);
    }
    return words;
}

void Cards::add_named(const Value &value, std::vector<const NamedCard *> &found) const {
    const std::string &word = value.one_of(words(), "a card, a class (lc, fab, cm, hps) or all");
    const size_t before = found.size();
    for (const NamedCard &card : cards_) {
        if (word == kAll || word == card.name || word == chassis::name_of(card.card_class)) {
            found.push_back(&card);
        }
    }
    if (found.size() == before) {
        value.fail("there is no such card in cards: " + word);
    }
}

std::vector<const NamedCard *> Cards::named(const Value &value) const {
    std::vector<const NamedCard *> found;
    for (const Value &word : value.list_or_one()) {
        add_named(word, found);
    }
    if (found.empty()) {
        value.expected("a card");
    }
    return found;
}

int32_t Cards::node(const Value &value) const {
    const std::string &word = value.text("a card or a node's number");
    if (!word.empty() && std::isalpha(static_cast<unsigned char>(word.front())) != 0) {
        std::vector<std::string> names;
        for (const NamedCard &card : cards_) {
            names.push_back(card.name);
        }
        static_cast<void>(value.one_of(names, "a card or a node's number"));
        return std::find_if(cards_.begin(), cards_.end(), [&](const NamedCard &card) { return card.name == word; })
            ->card.node;
    }
    return value.integer();
}

std::map<int32_t, std::string> Cards::node_names() const {
    std::map<int32_t, std::string> names;
    for (const NamedCard &card : cards_) {
        const auto [known, is_new] = names.emplace(card.card.node, card.name);
        if (!is_new) {
            known->second.clear();
        }
    }
    std::erase_if(names, [](const auto &each) { return each.second.empty(); });
    return names;
}

}  // namespace scenario
