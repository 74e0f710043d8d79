#include "command_line/options.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <new>

#include "command_line/exit_status.h"
#include "command_line/names.h"
#include "command_line/program.h"
#include "command_line/streams.h"
#include "command_line/text.h"

namespace command_line {

namespace {

// Of the program, of its verb if there is one, and of their groups, which are programs without a name.
std::vector<const CLI::Option *> options_of(const CLI::App &app) {
    std::vector<const CLI::Option *> options = app.get_options();
    for (const CLI::App *part :
         app.get_subcommands([](const CLI::App *each) { return each->get_name().empty() || each->parsed(); })) {
        const auto its = options_of(*part);
        options.insert(options.end(), its.begin(), its.end());
    }
    return options;
}

std::vector<std::string> option_names(const CLI::App &app) {
    std::vector<std::string> names;
    for (const CLI::Option *option : options_of(app)) {
        for (const std::string &name : option->get_lnames()) {
            if (!option->get_group().empty()) {
                names.push_back("--" + name);
            }
        }
    }
    return names;
}

std::vector<std::string> verbs(const CLI::App &app) {
    std::vector<std::string> names;
    for (const CLI::App *verb : app.get_subcommands([](const CLI::App *each) { return !each->get_name().empty(); })) {
        names.push_back(verb->get_name());
    }
    return names;
}

// The verb that the words named; without one, or in a program without verbs, the program.
const CLI::App &at_hand(const CLI::App &app) {
    const auto parsed =
        app.get_subcommands([](const CLI::App *each) { return !each->get_name().empty() && each->parsed(); });
    return parsed.empty() ? app : *parsed.front();
}

bool lacks_verb(const CLI::App &app) { return &at_hand(app) == &app && !verbs(app).empty(); }

std::vector<const CLI::Option *> arguments_of(const CLI::App &verb) {
    return verb.get_options([](const CLI::Option *option) { return option->get_positional(); });
}

// The first word that has no meaning.
std::string first_unknown(const CLI::App &app) {
    const std::vector<std::string> words = app.remaining(true);
    return words.empty() ? "" : words.front();
}

// The mistake in it, or nothing: then it is one too many.
std::string unknown(const CLI::App &app) {
    const std::string whole = first_unknown(app);
    const std::string word = whole.substr(0, whole.find('='));
    if (word.starts_with('-')) {
        return "unknown option " + quote(word) + did_you_mean(word, option_names(app));
    }
    return lacks_verb(app) ? "unknown verb " + quote(word) + did_you_mean(word, verbs(app)) : "";
}

std::string one_too_many(const CLI::App &app) {
    std::string taken;
    const CLI::App &verb = at_hand(app);
    for (const CLI::Option *argument : arguments_of(verb)) {
        taken.append(" ").append(argument->get_name(true));
    }
    return quote(first_unknown(app)) + " is one argument too many; " + verb.get_name() +
           (taken.empty() ? " takes none" : " takes" + taken);
}

// As it begins within a sentence.
std::string uncapitalised(std::string text) {
    const auto is_capital = [&](size_t at) { return text.size() > at && text[at] >= 'A' && text[at] <= 'Z'; };
    if (is_capital(0) && !is_capital(1)) {
        text[0] = static_cast<char>(text[0] - 'A' + 'a');
    }
    return text;
}

// Something may be missing because its name was mistyped, or an unknown option has taken its place.
std::string missing(const CLI::App &app, const CLI::ParseError &error) {
    const std::string first = first_unknown(app);
    if (std::string why = unknown(app); first.starts_with('-') || (!first.empty() && why.ends_with('?'))) {
        return why;
    }
    for (const CLI::Option *argument : arguments_of(at_hand(app))) {
        if (argument->get_required() && argument->count() == 0) {
            return argument->get_name(true) + " is missing: " + uncapitalised(argument->get_description());
        }
    }
    return error.what();
}

// Of the options of a group one at most may be given.
std::string too_many_of_group(const CLI::App &app) {
    for (const CLI::App *group :
         at_hand(app).get_subcommands([](const CLI::App *each) { return each->get_name().empty(); })) {
        std::vector<std::string> given;
        for (const CLI::Option *option : group->get_options()) {
            if (option->count() != 0) {
                given.push_back(option->get_name());
            }
        }
        if (given.size() > 1) {
            return only_one_of(given);
        }
    }
    return "";
}

// The message begins with the name of the option, whose values are not as many as it takes.
std::string mismatch(const CLI::App &app, const std::string &message) {
    for (const CLI::Option *option : options_of(app)) {
        const std::string name = option->get_name();
        const std::string bare = name.substr(std::min(name.find_first_not_of('-'), name.size()));
        const std::string named = message.substr(0, message.find_first_of(": "));
        if (named != name && named != bare) {
            continue;
        }
        if (option->get_items_expected_max() == 0) {
            return name + " was given a value, and takes none";
        }
        return option->count() > 1 ? name + ": it was given " + std::to_string(option->count()) + " times"
                                   : name + ": " + option->get_type_name() + " is missing";
    }
    return message;
}

std::string reason(const CLI::App &app, const CLI::ParseError &error) {
    std::string why;
    if (dynamic_cast<const CLI::ExtrasError *>(&error) != nullptr) {
        why = unknown(app);
        return why.empty() ? one_too_many(app) : why;
    }
    if (dynamic_cast<const CLI::RequiredError *>(&error) != nullptr) {
        why = too_many_of_group(app);
        return why.empty() ? missing(app, error) : why;
    }
    if (dynamic_cast<const CLI::ExcludesError *>(&error) != nullptr) {
        const std::string message = error.what();
        return only_one_of({message.substr(0, message.find(' ')), message.substr(message.rfind(' ') + 1)});
    }
    return dynamic_cast<const CLI::ArgumentMismatch *>(&error) != nullptr ? mismatch(app, error.what()) : error.what();
}

constexpr size_t kFirstColumn = 26;
constexpr size_t kWidth = 80;

// Lines that fit into the second column. None begins with a dash, as those of options do.
std::string wrapped(const std::string &text) {
    std::string lines;
    size_t column = 0;
    for (size_t at = 0; at < text.size();) {
        size_t end = std::min(text.find(' ', at), text.size());
        while (end + 1 < text.size() && text[end + 1] == '-') {
            end = std::min(text.find(' ', end + 1), text.size());
        }
        const size_t length = columns_of(std::string_view(text).substr(at, end - at));
        const bool fits = column + 1 + length <= kWidth - kFirstColumn;
        if (column != 0) {
            lines += fits ? ' ' : '\n';
        }
        lines.append(text, at, end - at);
        column = column != 0 && fits ? column + 1 + length : length;
        at = end + 1;
    }
    return lines;
}

}  // namespace

HelpFormatter::HelpFormatter() {
    column_width(kFirstColumn);
    label("Positionals", "Arguments");
}

std::string HelpFormatter::make_option_opts(const CLI::Option *option) const {
    return option->get_type_size() == 0 || option->get_positional() ? "" : " " + option->get_type_name();
}

std::string HelpFormatter::make_option_desc(const CLI::Option *option) const {
    return wrapped(CLI::Formatter::make_option_desc(option));
}

std::string HelpFormatter::make_subcommand(const CLI::App *verb) const {
    std::string line = "  " + verb->get_name();
    line.resize(std::max(line.size() + 2, kFirstColumn), ' ');
    for (const char c : wrapped(verb->get_description())) {
        line += c;
        line.append(c == '\n' ? kFirstColumn : 0, ' ');
    }
    return line + '\n';
}

void add_shared_options(CLI::App &app, const char *version, const char *about_output, std::string &output,
                        const std::vector<std::string> &formats) {
    app.set_version_flag("--version", app.get_name() + " " + version);
    app.get_option("--help")->description("Print this and exit");
    app.get_option("--version")->description("Print the version and exit");
    app.add_option("-o,--output", output, about_output)->type_name("FORMAT")->check(one_of(formats));
}

CLI::Validator one_of(std::vector<std::string> words) {
    return {[words = std::move(words)](std::string &word) {
                const bool is_one = std::find(words.begin(), words.end(), word) != words.end();
                return is_one ? "" : alternatives(words) + " expected, not " + quote(word) + did_you_mean(word, words);
            },
            ""};
}

CLI::Validator positive_number() {
    return {[](std::string &word) {
                uint64_t number = 0;
                const char *end = word.data() + word.size();
                const auto [stopped, error] = std::from_chars(word.data(), end, number);
                const bool is_one = error == std::errc() && stopped == end && number > 0;
                return is_one ? "" : "a whole number from 1 expected, not " + quote(word);
            },
            ""};
}

std::string hint(const CLI::App &app) {
    const CLI::App &verb = at_hand(app);
    return "\nTry " + app.get_name() + (&verb == &app ? "" : " " + verb.get_name()) + " --help.";
}

namespace {

void check_memory() {
    if (ran_out_of_memory()) {
        throw std::bad_alloc();
    }
}

// The text to print instead of doing anything; empty when there is none.
std::string parsed(CLI::App &app, std::vector<std::string> words) {
    std::reverse(words.begin(), words.end());  // as CLI11 takes them
    try {
        app.parse(std::move(words));
    } catch (const CLI::CallForHelp &) {
        if (lacks_verb(app) && !first_unknown(app).empty()) {
            throw Failure(kUsage, unknown(app) + hint(app));
        }
        return app.help();
    } catch (const CLI::CallForVersion &version) {
        return version.what() + std::string("\n");
    } catch (const CLI::ParseError &error) {
        check_memory();
        throw Failure(kUsage, reason(app, error) + hint(app));
    }
    return {};
}

}  // namespace

bool parse(CLI::App &app, std::vector<std::string> words) {
    const std::string text = parsed(app, std::move(words));
    check_memory();
    write_output(text);
    return text.empty();
}

}  // namespace command_line
