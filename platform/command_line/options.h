// The options that all programs have, and what becomes of a command line that is wrong.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace command_line {

// Help in two columns, 80 wide together; of an option it shows what it takes, and leaves bounds and defaults to the
// descriptions.
class HelpFormatter : public CLI::Formatter {
public:
    HelpFormatter();

    std::string make_option_opts(const CLI::Option *option) const override;
    std::string make_option_desc(const CLI::Option *option) const override;
    std::string make_subcommand(const CLI::App *verb) const override;
};

// The last of the exit statuses that --help lists: they are the same for all.
inline constexpr char kStatusesOfAll[] =
    "    7  a file cannot be read or written, or anything else, such as no memory\n"
    "  130  interrupted\n";

// The value that an option takes: one of these words, or a usage error that suggests one.
CLI::Validator one_of(std::vector<std::string> words);
// Likewise a whole number, 1 or more.
CLI::Validator positive_number();

// --help, --version and --output, which is one of the formats.
void add_shared_options(CLI::App &app, const char *version, const char *about_output, std::string &output,
                        const std::vector<std::string> &formats = {"text", "json"});

// Reads the words. False when they asked for help or the version, which is then written. Throws a Failure when they are
// wrong, which suggests what may have been meant and ends with the hint.
bool parse(CLI::App &app, std::vector<std::string> words);

// The line below a mistake in a command line: where help is to be had, on the verb if one was given.
std::string hint(const CLI::App &app);

}  // namespace command_line
