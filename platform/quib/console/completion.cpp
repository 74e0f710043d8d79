#include "completion.h"

#include <algorithm>
#include <sstream>

#include <protocol.h>

#include "command_line/names.h"
#include "command_line/words.h"
#include "own_words.h"

namespace console {

namespace {

// The words before the one that the cursor is in, and what there is of that.
struct Place {
    std::vector<std::string> before;
    std::string begun;
};

Place place_in(std::string_view line) {
    const command_line::Split split = command_line::split(line);
    Place place;
    for (const command_line::Word &word : split.words) {
        place.before.push_back(word.text);
    }
    if (split.in_word) {
        place.begun = place.before.back();
        place.before.pop_back();
    }
    return place;
}

std::vector<std::string> names_of(const std::vector<Command> &commands) {
    std::vector<std::string> names(commands.size());
    std::transform(commands.begin(), commands.end(), names.begin(),
                   [](const Command &command) { return command.name; });
    return names;
}

// By its name, or by the beginning of only one.
const Command *find_command(const std::vector<Command> &commands, const std::string &word) {
    const std::vector<std::string> meant = command_line::meant_names(word, names_of(commands));
    const auto is_it = [&meant](const Command &each) { return meant.size() == 1 && each.name == meant.front(); };
    const auto found = std::find_if(commands.begin(), commands.end(), is_it);
    return found == commands.end() ? nullptr : &*found;
}

// The end of a word is part of the choice: a blank where more is to come, nothing after "url=".
std::vector<std::string> first_words(const std::vector<Command> &commands) {
    std::vector<std::string> words = {std::string(kExit), std::string(quib::kHelp), std::string(kQuit)};
    for (const std::string_view own : {kList, quib::kStore}) {
        if (!has_command(commands, own)) {
            words.emplace_back(own);
        }
    }
    for (const Command &command : commands) {
        words.push_back(command.name + (command.takes_arguments ? " " : ""));
    }
    return words;
}

std::vector<std::string> argument_words(const Command &command, const std::vector<std::string> &before) {
    std::vector<std::string> words;
    for (const std::string &name : command.arguments) {
        const std::string word = name + "=";
        const bool given =
            std::any_of(before.begin(), before.end(), [&word](const auto &each) { return each.starts_with(word); });
        if (!given) {
            words.push_back(word);
        }
    }
    return words;
}

std::vector<std::string> words_at(const Place &place, const std::vector<Command> &commands) {
    if (place.before.empty()) {
        return first_words(commands);
    }
    if (place.before[0] == quib::kHelp) {
        return place.before.size() == 1 ? names_of(commands) : std::vector<std::string>();
    }
    const Command *command = find_command(commands, place.before[0]);
    return command == nullptr ? std::vector<std::string>() : argument_words(*command, place.before);
}

std::string common_beginning(const std::vector<std::string> &words) {
    std::string common = words.front();
    for (const std::string &word : words) {
        const auto parting = std::mismatch(common.begin(), common.end(), word.begin(), word.end());
        common.erase(parting.first, common.end());
    }
    return common;
}

}  // namespace

bool has_command(const std::vector<Command> &commands, std::string_view name) {
    return std::any_of(commands.begin(), commands.end(), [name](const Command &each) { return each.name == name; });
}

std::vector<Command> parse_commands(std::string_view answer) {
    std::vector<Command> commands;
    std::istringstream lines{std::string(answer)};
    for (std::string line; std::getline(lines, line);) {
        const size_t tab = line.find('\t');
        const std::string format = tab == std::string::npos ? "" : line.substr(tab + 1);
        Command command = {line.substr(0, tab), {}, format != "void" && !format.empty()};
        std::istringstream words(format);
        for (std::string word; words >> word;) {
            if (const size_t equals = word.find('='); equals != std::string::npos) {
                command.arguments.push_back(word.substr(0, equals));
            }
        }
        commands.push_back(command);
    }
    return commands;
}

Completion complete(const std::vector<Command> &commands, std::string_view line) {
    const Place place = place_in(line);
    Completion completion;
    for (const std::string &word : words_at(place, commands)) {
        if (word.starts_with(place.begun)) {
            completion.choices.push_back(word);
        }
    }
    if (completion.choices.empty()) {
        return completion;
    }
    completion.missing = common_beginning(completion.choices).substr(place.begun.size());
    if (completion.choices.size() == 1 || !completion.missing.empty()) {
        completion.choices.clear();
    }
    std::sort(completion.choices.begin(), completion.choices.end());
    return completion;
}

std::string in_columns(const std::vector<std::string> &words, size_t width) {
    constexpr size_t kGap = 2;
    size_t column = kGap;
    for (const std::string &word : words) {
        column = std::max(column, word.size() + kGap);
    }
    const size_t columns = std::max<size_t>(1, width / column);
    const size_t rows = (words.size() + columns - 1) / columns;
    std::string text;
    for (size_t row = 0; row < rows; ++row) {
        std::string line;
        for (size_t i = row; i < words.size(); i += rows) {
            line.resize((i / rows) * column, ' ');
            line += words[i];
        }
        text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
    }
    return text;
}

}  // namespace console
