#include "scenario/scenario.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <trel_cap/events.h>

#include "command_line/exit_status.h"
#include "scenario/cards.h"
#include "scenario/event.h"
#include "scenario/expectation.h"
#include "scenario/steps.h"
#include "scenario/yaml.h"

namespace scenario {

using namespace command_line;

namespace {

uint32_t read_followed(const Value &value) {
    const std::vector<std::string> names = event_names();
    uint32_t events = 0;
    for (const Value &item : value.list_or_one()) {
        const auto name = std::find(names.begin(), names.end(), item.one_of(names, "an event"));
        events |= TREL_CAP_EVENT_BIT(name - names.begin());
    }
    return events;
}

Scenario read_scenario(const Value &whole, const std::string &name) {
    const Fields fields(whole,
                        {"about", "cards", "follow", "before", "steps", "expect", "expect_output", "expect_status"});
    Scenario scenario;
    scenario.file = name;
    scenario.follow = every_event();
    if (const Value *about = fields.find("about")) {
        scenario.about = about->text("a sentence");
    }
    const Value *given = fields.find("cards");
    const Cards cards = given == nullptr ? Cards() : Cards(*given);
    scenario.node_names = cards.node_names();
    if (const Value *follow = fields.find("follow")) {
        scenario.follow = read_followed(*follow);
    }
    if (const Value *before = fields.find("before")) {
        scenario.before = read_timeline(*before, cards);
    }
    scenario.steps = read_timeline(fields.need("steps"), cards);
    if (const Value *expect = fields.find("expect")) {
        const auto expected = std::make_shared<Expectation>(read_expected_events(*expect, cards));
        scenario.steps.moments.push_back({scenario.steps.length, expected->line, "expect", {}, expected});
    }
    if (const Value *output = fields.find("expect_output")) {
        scenario.expected_output = read_expected_output(*output);
    }
    if (const Value *status = fields.find("expect_status")) {
        scenario.expected_status = status->integer();
    }
    return scenario;
}

}  // namespace

bool Scenario::expects_events() const {
    return std::any_of(steps.moments.begin(), steps.moments.end(),
                       [](const Moment &moment) { return moment.expected != nullptr; });
}

Scenario read_text(std::string_view text, const std::string &name) {
    return read_scenario(Value::of_text(std::string(text), name), name);
}

Scenario read_file(const std::string &path) {
    std::error_code error;
    const bool is_directory = std::filesystem::is_directory(path, error);
    std::ifstream in(is_directory ? "" : path, std::ios::binary);
    const std::string text(std::istreambuf_iterator<char>(in), {});
    if (!in) {
        throw Failure(kFailed, path + ": cannot be read: " + std::strerror(is_directory ? EISDIR : errno));
    }
    return read_text(text, path);
}

}  // namespace scenario
