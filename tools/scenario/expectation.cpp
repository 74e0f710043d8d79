#include "scenario/expectation.h"

#include <algorithm>

#include "scenario/event.h"

namespace scenario {

namespace {

using Lines = std::vector<std::string>;

int32_t read_code(const Value &value) {
    const std::vector<std::string> names = event_names();
    const std::string &word = value.text("an event");
    if (word.size() == 1 && word >= "0" && word < std::to_string(names.size())) {
        return word.front() - '0';
    }
    const std::string &name = value.one_of(names, "an event");
    return static_cast<int32_t>(std::find(names.begin(), names.end(), name) - names.begin());
}

std::string read_event(const Value &value, const Cards &cards) {
    if (!value.is_map()) {
        const int32_t code = read_code(value);
        if (is_of_node(code)) {
            value.fail("an event of a node is written as {event: " + value.text() + ", node: CARD, ready: yes}");
        }
        return event_text({.code = code, .of_node = false}, {});
    }
    const Fields fields(value, {"event", "node", "ready"});
    Event event{.code = read_code(fields.need("event")), .of_node = true};
    if (!is_of_node(event.code)) {
        fields.need("event").fail("this event is of no node: it stands alone");
    }
    event.node = cards.node(fields.need("node"));
    if (const Value *ready = fields.find("ready")) {
        event.ready = ready->truth();
    }
    return event_text(event, cards.node_names());
}

// An expectation whose items stand under a key, or are all of it.
template <class ReadItem>
Expectation read_expectation(const Value &value, const char *key, bool others, const ReadItem &read_item) {
    Expectation expectation{.line = value.line(), .items = {}, .any_order = false, .others = others};
    std::vector<Value> items;
    if (value.is_map()) {
        const Fields fields(value, {key, "order", "others"});
        items = fields.need(key).list();
        if (const Value *order = fields.find("order")) {
            expectation.any_order = order->one_of({"listed", "any"}) == "any";
        }
        if (const Value *allowed = fields.find("others")) {
            expectation.others = allowed->truth();
        }
    } else {
        items = value.list();
    }
    for (const Value &item : items) {
        expectation.items.push_back(read_item(item));
    }
    return expectation;
}

// Of two lists, how many of their ends from i and j on can be had from both in one order.
class CommonLengths {
public:
    CommonLengths(const Lines &a, const Lines &b) : width_(b.size() + 1), lengths_((a.size() + 1) * width_) {
        for (size_t i = a.size(); i-- > 0;) {
            for (size_t j = b.size(); j-- > 0;) {
                lengths_[i * width_ + j] = a[i] == b[j] ? at(i + 1, j + 1) + 1 : std::max(at(i + 1, j), at(i, j + 1));
            }
        }
    }

    uint32_t at(size_t i, size_t j) const { return lengths_[i * width_ + j]; }

private:
    size_t width_;
    std::vector<uint32_t> lengths_;
};

Lines marked(const char *mark, const Lines &lines) {
    Lines result;
    for (const std::string &line : lines) {
        result.push_back(mark + line);
    }
    return result;
}

// Both lists in one, each line with its mark.
Lines compare_ordered(const Lines &expected, const Lines &told) {
    constexpr size_t kMost = 4'000'000;  // comparing takes four times that many bytes
    if (expected.size() * told.size() > kMost) {
        Lines lines = marked("- ", expected);
        for (std::string &line : marked("+ ", told)) {
            lines.push_back(std::move(line));
        }
        return lines;
    }
    const CommonLengths common(expected, told);
    Lines lines;
    size_t i = 0;
    size_t j = 0;
    while (i < expected.size() || j < told.size()) {
        if (i < expected.size() && j < told.size() && expected[i] == told[j]) {
            lines.push_back("  " + expected[i++]);
            ++j;
        } else if (j == told.size() || (i < expected.size() && common.at(i + 1, j) >= common.at(i, j + 1))) {
            lines.push_back("- " + expected[i++]);
        } else {
            lines.push_back("+ " + told[j++]);
        }
    }
    return lines;
}

Lines compare_unordered(const Lines &expected, Lines told) {
    Lines lines;
    for (const std::string &item : expected) {
        const auto found = std::find(told.begin(), told.end(), item);
        lines.push_back((found == told.end() ? "- " : "  ") + item);
        if (found != told.end()) {
            told.erase(found);
        }
    }
    for (const std::string &item : told) {
        lines.push_back("+ " + item);
    }
    return lines;
}

}  // namespace

Expectation read_expected_events(const Value &value, const Cards &cards) {
    return read_expectation(value, "events", false, [&](const Value &item) { return read_event(item, cards); });
}

Expectation read_expected_output(const Value &value) {
    return read_expectation(value, "lines", true, [](const Value &item) { return item.text("a line"); });
}

bool is_as_expected(const Expectation &expected, Lines told) {
    Lines items = expected.items;
    if (expected.any_order) {
        std::sort(items.begin(), items.end());
        std::sort(told.begin(), told.end());
    }
    if (!expected.others) {
        return items == told;
    }
    size_t found = 0;
    for (const std::string &line : told) {
        if (found < items.size() && items[found] == line) {
            ++found;
        }
    }
    return found == items.size();
}

std::vector<std::string> differences(const Expectation &expected, const std::vector<std::string> &told) {
    if (is_as_expected(expected, told)) {
        return {};
    }
    return expected.any_order ? compare_unordered(expected.items, told) : compare_ordered(expected.items, told);
}

}  // namespace scenario
