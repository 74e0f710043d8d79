#include "command_line/options.h"

#include <algorithm>
#include <new>

#include "command_line/exit_status.h"
#include "command_line/names.h"
#include "command_line/program.h"
#include "command_line/streams.h"
#include "command_line/text.h"

namespace command_line {

namespace {

// Of the program, of its verb if there is one, and of their groups, which are programs without a name.
std::vector<std::string> option_names(const CLI::App &app) {
    std::vector<std::string> names;
    for (const CLI::Option *option : app.get_options()) {
        for (const std::string &name : option->get_lnames()) {
            if (!option->get_group().empty()) {
                names.push_back("--" + name);
            }
        }
    }
    for (const CLI::App *part :
         app.get_subcommands([](const CLI::App *each) { return each->get_name().empty() || each->parsed(); })) {
        const std::vector<std::string> its = option_names(*part);
        names.insert(names.end(), its.begin(), its.end());
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

// What is wrong with the first word that has no meaning, or nothing: then it is one too many.
std::string unknown(const CLI::App &app) {
    const std::vector<std::string> words = app.remaining(true);
    const std::string word = words.empty() ? "" : words.front().substr(0, words.front().find('='));
    if (word.starts_with('-')) {
        return "unknown option " + quote(word) + did_you_mean(word, option_names(app));
    }
    const bool has_verb = !app.get_subcommands().empty() || verbs(app).empty();
    return has_verb ? "" : "unknown verb " + quote(word) + did_you_mean(word, verbs(app));
}

// Something that is required may be missing because it was mistyped.
std::string reason(const CLI::App &app, const CLI::ParseError &error) {
    const bool is_extra = dynamic_cast<const CLI::ExtrasError *>(&error) != nullptr;
    const bool is_missing = dynamic_cast<const CLI::RequiredError *>(&error) != nullptr;
    const std::string why = is_extra || is_missing ? unknown(app) : "";
    return why.empty() || (is_missing && !why.ends_with('?')) ? error.what() : why;
}

}  // namespace

HelpFormatter::HelpFormatter() {
    constexpr size_t kColumnWidth = 26;
    column_width(kColumnWidth);
    label("Positionals", "Arguments");
}

std::string HelpFormatter::make_option_opts(const CLI::Option *option) const {
    return option->get_type_size() == 0 || option->get_positional() ? "" : " " + option->get_type_name();
}

void add_shared_options(CLI::App &app, const char *version, const char *about_output, std::string &output,
                        const std::vector<std::string> &formats) {
    app.set_version_flag("--version", app.get_name() + " " + version);
    app.get_option("--help")->description("Print this and exit");
    app.get_option("--version")->description("Print the version and exit");
    app.add_option("-o,--output", output, about_output)
        ->type_name("FORMAT")
        ->check(CLI::IsMember(formats).description(""));
}

std::string hint(const CLI::App &app) { return "\nTry " + app.get_name() + " --help."; }

namespace {

void check_memory() {
    if (ran_out_of_memory()) {
        throw std::bad_alloc();
    }
}

// What is to be printed instead of doing anything; empty when there is nothing.
std::string parsed(CLI::App &app, std::vector<std::string> words) {
    std::reverse(words.begin(), words.end());  // as CLI11 takes them
    try {
        app.parse(std::move(words));
    } catch (const CLI::CallForHelp &) {
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
