#include "lookup.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

#include "command_line/suggestion.h"
#include "command_line/text.h"

namespace quib {

using command_line::shown;

namespace {

Lookup failed(std::string error) { return {.command = nullptr, .own = {}, .error = std::move(error)}; }

}  // namespace

Lookup find_command(const Commands &commands, std::string_view word) {
    std::vector<std::string> names;
    for (const Command &command : commands.all()) {
        names.push_back(command.name);
    }
    names.emplace_back(kHelp);
    std::vector<std::string> meant;
    std::ranges::copy_if(names, std::back_inserter(meant),
                         [&](const std::string &name) { return !word.empty() && name.starts_with(word); });
    const bool is_whole = std::ranges::count(meant, word) != 0;
    if (is_whole || word == kStore || (meant.empty() && !word.empty() && kStore.starts_with(word))) {
        meant = {std::string(is_whole ? word : kStore)};
    }
    if (meant.empty()) {
        names.emplace_back(kStore);
        const std::string hint = command_line::did_you_mean(word, names);
        return failed("unknown command " + shown(word) + (hint.empty() ? "; help lists the commands" : hint));
    }
    if (meant.size() > 1) {
        return failed(shown(word) + " is ambiguous: " + command_line::joined(meant));
    }
    const auto command = std::ranges::find(commands.all(), meant.front(), &Command::name);
    if (command != commands.all().end()) {
        return {.command = &*command, .own = {}, .error = {}};
    }
    return {.command = nullptr, .own = meant.front() == kHelp ? kHelp : kStore, .error = {}};
}

}  // namespace quib
