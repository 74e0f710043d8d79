// The steps of a scenario, read into its timeline.
#pragma once

#include <optional>
#include <string>

#include "scenario/cards.h"
#include "scenario/timeline.h"
#include "scenario/yaml.h"

namespace scenario {

// A timeline in the making: what has been read, and the moment that it has come to.
class Course {
public:
    // The step that is read now; what is wrong is told with its place. Throws when there are too many.
    void begin(const Value &step);

    Time now() const { return now_; }
    void wait(Time duration);
    // Goes on at a time since the beginning of the steps that `at` counts from. Throws when that is in the past.
    void wait_until(const Value &time);
    Time origin() const { return origin_; }
    void count_from(Time origin) { origin_ = origin; }

    void add(std::string text, Write::Kind kind, record::Record record);
    void expect(Expectation expectation);

    Timeline finish() &&;

private:
    Moment &add_moment(std::string text);

    std::optional<Value> step_;
    size_t steps_ = 0;
    Time now_{0};
    Time origin_{0};
    Timeline timeline_;
};

Timeline read_timeline(const Value &steps, const Cards &cards);

}  // namespace scenario
