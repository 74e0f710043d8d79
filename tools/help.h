// What --help prints.
#ifndef TREL_CAPCTL_HELP_H
#define TREL_CAPCTL_HELP_H

#include <CLI/CLI.hpp>
#include <string>

namespace capctl {

extern const char *const kSummary;
extern const char *const kExamples;

// Examples come first: they are what most readers look for. An application's footer holds them.
class HelpFormatter : public CLI::Formatter {
public:
    HelpFormatter();

    std::string make_help(const CLI::App *app, std::string name, CLI::AppFormatMode mode) const override;
    std::string make_expanded(const CLI::App *group) const override;
    std::string make_option_opts(const CLI::Option *option) const override;

private:
    std::string usage(const CLI::App &app, const std::string &name) const;
};

}  // namespace capctl

#endif
