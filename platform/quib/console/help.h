// What --help prints.
#ifndef QUIB_CONSOLE_HELP_H
#define QUIB_CONSOLE_HELP_H

#include <CLI/CLI.hpp>
#include <string>

namespace console {

extern const char *const kSummary;

// Examples come first: they are what most readers look for.
class HelpFormatter : public CLI::Formatter {
public:
    HelpFormatter();

    std::string make_help(const CLI::App *app, std::string name, CLI::AppFormatMode mode) const override;
    std::string make_option_opts(const CLI::Option *option) const override;
};

}  // namespace console

#endif
