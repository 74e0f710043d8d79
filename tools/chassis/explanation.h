// Judgements in plain words.
#pragma once

#include <string>
#include <vector>

#include "chassis/judgement.h"

namespace chassis {

// "line card", "fabric card", ...; "card of no class"; "card of a class not known yet".
std::string what_is(const Judgement &judgement);
// The class as one that is ready or not: the device, the class of fabric cards, ...
std::string class_in_words(CardClass card_class);
// A node as the command line takes it: with the highest bit in hexadecimal.
std::string node_argument(int32_t node);
// device/slot/sub-slot
std::string slot_of(const Card &card);

// Why a condition is not met: a sentence.
std::string why(const Judgement &judgement, const Condition &condition);
// The command that plays the process which has to act, for a desk without it; as it stands for a shell.
std::string remedy(const Judgement &judgement, const Condition &condition);
// What "ready in advance" means; a sentence.
std::string_view about_in_advance();
// Those conditions that are missing, each with who has to act: installed (slot watcher), ...
std::string missing_in_words(const Judgement &judgement);
// What an application is told, in words: FE_NODE (1), ready, ...
std::string in_words(const Told &told);
// Who has to act, with his task.
std::string in_words(Actor actor);
// What else one should know: who is told less than others, what does not count although it looks as if it did.
std::vector<std::string> notes(const Judgement &judgement);

// The whole explanation, lines.
std::string explain(const Judgement &judgement);

}  // namespace chassis
