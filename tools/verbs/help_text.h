// What --help prints.
#pragma once

#include <string>

#include "command_line/options.h"

namespace capctl {

extern const char *const kSummary;
extern const char *const kExamples;

// Examples come first: they are what most readers look for. An application's footer holds them.
class Help : public command_line::HelpFormatter {
public:
    std::string make_help(const CLI::App *app, std::string name, CLI::AppFormatMode mode) const override;
    std::string make_expanded(const CLI::App *group) const override;

private:
    std::string usage(const CLI::App &app, const std::string &name) const;
};

}  // namespace capctl
