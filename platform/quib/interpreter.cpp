#include "interpreter.h"

#include <span>
#include <string>
#include <utility>
#include <vector>

#include "binding.h"
#include "command_line/text.h"
#include "command_line/words.h"
#include "invocation.h"
#include "lookup.h"
#include "ox_mom.h"
#include "protocol.h"
#include "store_status.h"

namespace quib {

using command_line::Row;
using command_line::shown;
using command_line::Word;

namespace {

constexpr std::string_view kHelpArguments = " [COMMAND]";
constexpr std::string_view kStoreText = "shows how the program stands with its store";
constexpr std::string_view kHelpText = "lists the commands, or tells of one";

Answer finished(ExitStatus status, const std::string &diagnostic = {}) {
    Answer answer;
    append_end(answer.frames, status, diagnostic);
    return answer;
}

Answer printed(std::string_view text) {
    Answer answer;
    append_frame(answer.frames, kFrameOutput, text);
    append_end(answer.frames, kDone);
    return answer;
}

Answer list_for_completion(const Commands &commands) {
    std::string text;
    for (const Command &command : commands.all()) {
        text += command.name + '\t' + command.format_text + '\n';
    }
    return printed(text);
}

// Of help: a name, its arguments, what it is for.
Row row_of(const Command &command) { return {command.name, describe(command.format), command.text}; }

// Of a word of the module's own.
Row row_of(std::string_view own) {
    if (own == kHelp) {
        return {std::string(kHelp), std::string(kHelpArguments), std::string(kHelpText)};
    }
    return {std::string(kStore), "", std::string(kStoreText)};
}

Row row_of(const Lookup &lookup) { return lookup.command != nullptr ? row_of(*lookup.command) : row_of(lookup.own); }

Answer list_for_operator(const Commands &commands) {
    std::vector<Row> rows;
    for (const Command &command : commands.all()) {
        rows.push_back(row_of(command));
    }
    if (!commands.has(kStore)) {
        rows.push_back(row_of(kStore));
    }
    rows.push_back(row_of(kHelp));
    for (Row &row : rows) {
        row[2].insert(0, row[2].empty() ? "" : "  ");
    }
    return printed(command_line::table(rows));
}

std::string usage_of(const Row &row) { return row[0] + row[1]; }

// Its usage, and what it is for.
std::string explain(const Row &row) { return usage_of(row) + '\n' + (row[2].empty() ? "" : row[2] + '\n'); }

Answer help(const Commands &commands, std::span<const Word> words) {
    if (words.empty()) {
        return list_for_operator(commands);
    }
    if (words.size() > 1) {
        return finished(kUsage, shown(words[1].text) + " is one argument too many; usage: " + usage_of(row_of(kHelp)));
    }
    const Lookup lookup = find_command(commands, words[0].text);
    if (!lookup.error.empty()) {
        return finished(kUsage, lookup.error);
    }
    return printed(explain(row_of(lookup)));
}

// The store's codes have words, others have not.
std::string failure_of(const std::string &command, int32_t status) {
    const std::string words = ox_mom_strerror(status);
    return command + " failed with status " + std::to_string(status) +
           (words == ox_mom_strerror(INT32_MIN) ? "" : ": " + words);
}

Answer run(const std::string &command, QuibHandler handler, std::vector<Value> &values) {
    Capture capture;
    if (!capture.began()) {
        return finished(kRefused,
                        "the program has no room for the output: no descriptors, no memory, or a limit on its files");
    }
    const Outcome outcome = invoke(handler, values);
    const int32_t status = outcome.status < 0 ? outcome.status : outcome.told_aside;
    Answer answer{.output = capture.end(), .frames = {}};
    if (answer.output.cut) {
        append_diagnostic(answer.frames, "the output was cut after " + std::to_string(kOutputLimit) + " bytes");
    }
    if (status < 0 && (answer.output.size == 0 || outcome.status >= 0)) {
        append_diagnostic(answer.frames, failure_of(command, status));
    }
    append_end(answer.frames, status < 0 ? kNegative : kDone);
    return answer;
}

Answer show_store(MomClient *client, std::span<const Word> words) {
    if (!words.empty()) {
        return finished(kUsage, shown(words[0].text) + " is one argument too many; usage: " + usage_of(row_of(kStore)));
    }
    MomClientStatus status{};
    status.size = sizeof status;
    const int32_t code = ox_mom_client_status(client, &status);
    return code == 0 ? printed(in_words(status)) : finished(kNegative, failure_of(std::string(kStore), code));
}

Answer interpret_own(std::string_view own, const Commands &commands, MomClient *client, std::span<const Word> words) {
    return own == kHelp ? help(commands, words) : show_store(client, words);
}

}  // namespace

Answer interpret(const Commands &commands, MomClient *client, std::string_view line) {
    const command_line::Split split_line = command_line::split(line);
    const std::span<const Word> words(split_line.words);
    if (!split_line.error.empty()) {
        return finished(kUsage, split_line.error);
    }
    if (words.empty()) {
        return finished(kDone);
    }
    if (words[0].text == kForCompletion && words.size() == 1) {
        return list_for_completion(commands);
    }
    const Lookup lookup = find_command(commands, words[0].text);
    if (!lookup.error.empty()) {
        return finished(kUsage, lookup.error);
    }
    if (lookup.command == nullptr) {
        return interpret_own(lookup.own, commands, client, words.subspan(1));
    }
    Binding binding = bind(lookup.command->format, words.subspan(1));
    if (!binding.error.empty()) {
        return finished(kUsage, binding.error + "; usage: " + usage_of(row_of(*lookup.command)));
    }
    // The command itself may replace commands while it runs.
    return run(std::string(lookup.command->name), lookup.command->handler, binding.values);
}

}  // namespace quib
