#include "lookup.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "command_line/names.h"
#include "command_line/text.h"
#include "protocol.h"

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
    std::vector<std::string> meant = command_line::meant_names(word, names);
    if ((word == kStore && !commands.has(kStore)) || (meant.empty() && !word.empty() && kStore.starts_with(word))) {
        meant = {std::string(kStore)};
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
