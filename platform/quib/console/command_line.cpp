#include "command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "exit_code.h"
#include "help.h"
#include "streams.h"

namespace console {

namespace {

constexpr char kHint[] = ". Try quib --help.";
constexpr double kUsualLimit = 30;
constexpr double kLongestLimit = 1000000;

struct Options {
    double limit = kUsualLimit;
    std::string output = "text";
};

void add_options(CLI::App &app, Options &options) {
    app.formatter(std::make_shared<HelpFormatter>());
    app.set_version_flag("--version", "quib " QUIB_VERSION);
    app.get_option("--help")->description("Print this and exit");
    app.get_option("--version")->description("Print the version and exit");
    app.add_option("-o,--output", options.output, "How to print the list: text (the default) or json")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"text", "json"}).description(""));
    app.add_option("-t,--timeout", options.limit,
                   "How long to wait for more of an answer: 30 by default, 0 is for ever")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, kLongestLimit).description(""));
}

// How many of the words are the program's own: its options, up to the first word that is none.
size_t own_words(const CLI::App &app, const std::vector<std::string> &words) {
    size_t n = 0;
    while (n < words.size() && words[n].size() > 1 && words[n][0] == '-' && words[n] != "--") {
        const CLI::Option *option = app.get_option_no_throw(words[n]);
        n += option != nullptr && option->get_type_size() > 0 ? 2U : 1U;
    }
    return std::min(n, words.size());
}

bool parse_options(CLI::App &app, std::vector<std::string> words) {
    std::reverse(words.begin(), words.end());  // as CLI11 takes them
    try {
        app.parse(std::move(words));
        return true;
    } catch (const CLI::CallForHelp &) {
        write_output(app.help());
    } catch (const CLI::CallForVersion &version) {
        write_output(version.what() + std::string("\n"));
    } catch (const CLI::ParseError &error) {
        throw Failure(kUsage, error.what() + std::string(kHint));
    }
    return false;
}

}  // namespace

std::optional<Request> parse_command_line(int argc, char **argv) {
    std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
    Options options;
    CLI::App app(kSummary, "quib");
    add_options(app, options);
    const auto own_end = words.begin() + static_cast<std::ptrdiff_t>(own_words(app, words));
    if (!parse_options(app, {words.begin(), own_end})) {
        return std::nullopt;
    }
    words.erase(words.begin(), own_end);
    if (!words.empty() && words.front() == "--") {
        words.erase(words.begin());
    }
    constexpr double kMillisecondsPerSecond = 1000;
    Request request{.limit = std::chrono::milliseconds(static_cast<int64_t>(options.limit * kMillisecondsPerSecond)),
                    .json = options.output == "json",
                    .module = words.empty() ? "" : words.front(),
                    .command = {}};
    if (!words.empty()) {
        request.command.assign(words.begin() + 1, words.end());
        if (request.module.empty() || request.json) {
            throw Failure(kUsage, request.json ? std::string("--output is for the list of modules") + kHint
                                               : std::string("a module's name is empty") + kHint);
        }
    }
    return request;
}

}  // namespace console
