#include "chassis/scopes.h"

#include <algorithm>

#include "chassis/explanation.h"

namespace chassis {

std::string_view Scope::name() const { return rules_of(card_class).scope; }

std::string_view Scope::key() const { return rules_of(card_class).state_type; }

std::vector<Scope> scopes_of(const store::Snapshot &snapshot, const std::vector<Judgement> &judgements) {
    std::vector<Scope> scopes;
    for (const std::string &name : class_names()) {
        const CardClass card_class = class_named(name);
        const std::string_view key = rules_of(card_class).state_type;
        const bool decodes = !snapshot.unreadable().contains(key);
        const auto cards = std::count_if(judgements.begin(), judgements.end(), [&](const Judgement &each) {
            return each.card_class.value_or(CardClass::kLineCard) == card_class;
        });
        scopes.push_back({.card_class = card_class,
                          .ready = is_class_ready(snapshot, card_class),
                          .stored = snapshot.find(key) != nullptr || !decodes,
                          .decodes = decodes,
                          .cards = static_cast<size_t>(cards)});
    }
    return scopes;
}

std::string what_is(const Scope &scope) { return class_in_words(scope.card_class); }

std::string why(const Scope &scope) {
    const std::string key(scope.key());
    if (!scope.decodes) {
        return key + " is stored, but does not decode, so that " + what_is(scope) + " is not ready";
    }
    return (scope.stored ? key + " says that " + what_is(scope) + " is not ready"
                         : "there is no " + key + ", so that " + what_is(scope) + " is not ready");
}

std::string remedy(const Scope &scope) { return "trel_capctl ready " + std::string(scope.name()) + " on"; }

}  // namespace chassis
