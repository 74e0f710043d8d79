// A chassis in a store, and what trel_capctl does with it and says of it.
#pragma once

#include <nlohmann/json.hpp>

#include "capctl_test.h"

namespace capctl_test {

class ChassisVerbs : public ServerTest {
protected:
    std::string dump() const { return run({"dump", "--output", "ndjson"}).out; }
    void does(const Arguments &arguments) const { ASSERT_THAT(run(arguments), Prints("")); }
    Program start(const Arguments &arguments) const { return Program(capctl(arguments, environment())); }
    // What explain tells to do, as somebody does it who copies it into a shell.
    void paste(const std::string &command) const {
        Launch shell = capctl({"-c", "trel_capctl() { " CAPCTL_PROGRAM " \"$@\"; }; " + command}, environment());
        shell.program = "/bin/sh";
        EXPECT_THAT(Program(shell).finish(), Prints("")) << command;
    }
    std::vector<nlohmann::json> missing_in_json() const {
        std::vector<nlohmann::json> missing;
        for (const nlohmann::json &each : nlohmann::json::parse(run({"explain", "-o", "json"}).out)) {
            if (!each["missing"].empty()) {
                missing.push_back(each);
            }
        }
        return missing;
    }
};

MATCHER_P(Explains, text, "") { return arg.status == 1 && arg.out.find(text) != std::string::npos && arg.err.empty(); }

MATCHER(IsReady, "") { return arg.status == 0 && arg.out.find(": ready\n") != std::string::npos && arg.err.empty(); }

}  // namespace capctl_test
