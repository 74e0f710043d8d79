#include "lookup.h"

#include <algorithm>
#include <vector>

#include "edit_distance.h"
#include "words.h"

namespace quib {

namespace {

std::vector<std::string_view> names_of(const Commands &commands) {
    std::vector<std::string_view> names;
    for (const Command &command : commands.all()) {
        names.push_back(command.name);
    }
    names.push_back(kHelp);
    return names;
}

std::string joined(const std::vector<std::string_view> &names) {
    std::string text;
    for (const std::string_view name : names) {
        text.append(text.empty() ? "" : ", ").append(name);
    }
    return text;
}

// The names nearest to the word, if they are near enough for a slip of the fingers.
std::vector<std::string_view> similar(const std::vector<std::string_view> &names, std::string_view word) {
    constexpr size_t kLongest = size_t{2} * QUIB_NAME_MAX;
    std::vector<std::string_view> nearest;
    if (word.size() > kLongest) {
        return nearest;
    }
    size_t least = std::max<size_t>(1, word.size() / 3);
    for (const std::string_view name : names) {
        const size_t how_far = edit_distance(word, name);
        if (how_far < least) {
            nearest.clear();
        }
        if (how_far <= least) {
            least = how_far;
            nearest.push_back(name);
        }
    }
    return nearest;
}

}  // namespace

Lookup find_command(const Commands &commands, std::string_view word) {
    std::vector<std::string_view> names = names_of(commands);
    std::vector<std::string_view> meant;
    for (const std::string_view name : names) {
        if (name == word) {
            meant = {name};
            break;
        }
        if (!word.empty() && name.starts_with(word)) {
            meant.push_back(name);
        }
    }
    if ((meant.empty() && !word.empty() && kStore.starts_with(word)) || (word == kStore && !commands.has(kStore))) {
        meant = {kStore};
    }
    if (meant.empty()) {
        names.push_back(kStore);
        const auto nearest = similar(names, word);
        const std::string hint = nearest.empty() ? "help lists the commands" : "did you mean " + joined(nearest) + "?";
        return {.command = nullptr, .own = {}, .error = "unknown command " + shown(word) + "; " + hint};
    }
    if (meant.size() > 1) {
        return {.command = nullptr, .own = {}, .error = shown(word) + " is ambiguous: " + joined(meant)};
    }
    const auto command = std::ranges::find(commands.all(), meant.front(), &Command::name);
    if (command != commands.all().end()) {
        return {.command = &*command, .own = {}, .error = {}};
    }
    return {.command = nullptr, .own = meant.front() == kHelp ? kHelp : kStore, .error = {}};
}

}  // namespace quib
