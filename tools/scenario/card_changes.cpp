#include "scenario/card_changes.h"

namespace scenario {

namespace {

constexpr auto kSet = Write::Kind::kSet;
constexpr auto kDelete = Write::Kind::kDelete;

std::string words(const char *action, const NamedCard &card) {
    return std::string(action) + " " + card.name + ", node " + std::to_string(card.card.node);
}

}  // namespace

void insert(Course &course, const NamedCard &card) {
    course.add(words("insert", card) + ", slot " + std::to_string(card.card.slotid), kSet,
               chassis::card_info(card.card));
}

void remove(Course &course, const NamedCard &card) {
    course.add(words("remove", card), kDelete, chassis::card_info(card.card));
}

void check(Course &course, const NamedCard &card, const std::string &result) {
    course.add(words("check", card) + ": " + result, result == "withdraw" ? kDelete : kSet,
               chassis::check_result(card.card, result == "pass"));
}

void make_ready(Course &course, const NamedCard &card, bool real_time) {
    course.add(words("ready", card) + (real_time ? "" : ", not in real time"), kSet,
               chassis::node_ready(card.card, true, real_time));
}

void make_unready(Course &course, const NamedCard &card) {
    course.add(words("unready", card), kSet, chassis::node_ready(card.card, false, true));
}

void withdraw(Course &course, const NamedCard &card) {
    course.add(words("withdraw", card), kDelete, chassis::node_ready(card.card, false, false));
}

void change_scope(Course &course, const std::string &scope, bool ready) {
    course.add((ready ? "scope_ready " : "scope_unready ") + scope, kSet, chassis::scope_ready(scope, ready));
}

}  // namespace scenario
