#include "interpreter.h"

#include <algorithm>
#include <span>
#include <string>
#include <utility>

#include "binding.h"
#include "invocation.h"
#include "lookup.h"
#include "words.h"

namespace quib {

namespace {

constexpr std::string_view kForCompletion = ".commands";
constexpr std::string_view kHelpArguments = " [COMMAND]";

Answer finished(ExitCode code, const std::string &diagnostic = {}) {
    Answer answer;
    append_end(answer.frames, code, diagnostic);
    return answer;
}

Answer printed(std::string_view text) {
    Answer answer;
    append_frame(answer.frames, kFrameOutput, text);
    append_end(answer.frames, kExitDone);
    return answer;
}

Answer list_for_completion(const Commands &commands) {
    std::string text;
    for (const Command &command : commands.all()) {
        text += command.name + '\t' + command.format_text + '\n';
    }
    return printed(text);
}

Answer list_for_operator(const Commands &commands) {
    size_t width = kHelp.size();
    for (const Command &command : commands.all()) {
        width = std::max(width, command.name.size());
    }
    std::string text;
    const auto add = [&](std::string_view name, std::string_view arguments) {
        text.append(name);
        if (!arguments.empty()) {
            text.append(width - name.size(), ' ').append(arguments);
        }
        text += '\n';
    };
    for (const Command &command : commands.all()) {
        add(command.name, describe(command.format));
    }
    add(kHelp, kHelpArguments);
    return printed(text);
}

std::string usage_of_help() { return std::string(kHelp).append(kHelpArguments); }

std::string usage_of(const Command &command) { return command.name + describe(command.format); }

Answer help(const Commands &commands, std::span<const Word> words) {
    if (words.empty()) {
        return list_for_operator(commands);
    }
    if (words.size() > 1) {
        return finished(kExitUsage, shown(words[1].text) + " is one argument too many; usage: " + usage_of_help());
    }
    const Lookup lookup = find_command(commands, words[0].text);
    if (!lookup.error.empty()) {
        return finished(kExitUsage, lookup.error);
    }
    return printed((lookup.help ? usage_of_help() : usage_of(*lookup.command)) + "\n");
}

Answer run(QuibHandler handler, std::vector<Value> &values) {
    Capture capture;
    if (!capture.began()) {
        return finished(kExitRefused,
                        "the program has no room for the output: no descriptors, no memory, or a limit on its files");
    }
    const int32_t status = invoke(handler, values);
    Answer answer{.output = capture.end(), .frames = {}};
    append_end(answer.frames, status < 0 ? kExitFailed : kExitDone,
               answer.output.cut ? "the output was cut after " + std::to_string(kOutputLimit) + " bytes" : "");
    return answer;
}

}  // namespace

Answer interpret(const Commands &commands, std::string_view line) {
    const Split split_line = split(line);
    const std::span<const Word> words(split_line.words);
    if (!split_line.error.empty()) {
        return finished(kExitUsage, split_line.error);
    }
    if (words.empty()) {
        return finished(kExitDone);
    }
    if (words[0].text == kForCompletion && words.size() == 1) {
        return list_for_completion(commands);
    }
    const Lookup lookup = find_command(commands, words[0].text);
    if (!lookup.error.empty()) {
        return finished(kExitUsage, lookup.error);
    }
    if (lookup.help) {
        return help(commands, words.subspan(1));
    }
    Binding binding = bind(lookup.command->format, words.subspan(1));
    if (!binding.error.empty()) {
        return finished(kExitUsage, binding.error + "; usage: " + usage_of(*lookup.command));
    }
    // The command itself may replace commands while it runs.
    return run(lookup.command->handler, binding.values);
}

}  // namespace quib
