#include "properties.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

namespace histories {

namespace {

using What = Told::What;

std::string in_window(size_t window, const std::string &what) {
    return "window " + std::to_string(window + 1) + ": " + what;
}

std::string node(int32_t number) { return "node " + std::to_string(number); }

// What that says of each thing told and its window.
template <class Check>
Violation of_each_told(const Record &record, Check check) {
    for (size_t i = 0; i < record.windows.size(); ++i) {
        for (const Told &told : record.windows[i].told) {
            if (const Violation violation = check(record.windows[i], told)) {
                return in_window(i, *violation);
            }
        }
    }
    return std::nullopt;
}

NodeInStore in_store(const Window &window, int32_t number) {
    const auto found = window.nodes.find(number);
    return found == window.nodes.end() ? NodeInStore{.lacked_something = true} : found->second;
}

Violation ends_as_the_store(const Record &record) {
    return record.application == record.store
               ? Violation()
               : "the application has\n" + record.application + "\nand the store\n" + record.store;
}

Violation is_warranted(const Record &record) {
    return of_each_told(record, [](const Window &window, const Told &told) -> Violation {
        if (told.what == What::kNode) {
            const NodeInStore held = in_store(window, told.number);
            const bool warranted = told.ready ? held.was_passed && held.was_ready : held.lacked_something;
            return warranted ? Violation() : node(told.number) + (told.ready ? " is ready" : " is not ready");
        }
        if (told.what == What::kValue && !window.values.contains(told.number)) {
            return "value " + std::to_string(told.number);
        }
        return told.what == What::kGone && !window.was_without_value ? Violation("the value is gone") : Violation();
    });
}

Violation is_in_order(const Record &record) {
    int32_t latest = -1;
    return of_each_told(record, [&latest](const Window &, const Told &told) -> Violation {
        if (told.what != What::kValue) {
            return {};
        }
        const int32_t before = std::exchange(latest, told.number);
        return told.number >= before ? Violation()
                                     : "value " + std::to_string(told.number) + " after " + std::to_string(before);
    });
}

// A record of a node is told once a write; after a return it is loaded, and what was missed of it is told before and
// after that.
Violation is_told_once(const Record &record) {
    constexpr int kRecordsOfNode = 3;
    constexpr int kToldAfterReturn = 3 * kRecordsOfNode;
    for (size_t i = 0; i < record.windows.size(); ++i) {
        const Window &window = record.windows[i];
        const auto returns = static_cast<int>(std::ranges::count(window.told, What::kReturned, &Told::what));
        std::map<int32_t, int> events;
        const Told *before = nullptr;
        for (const Told &told : window.told) {
            if (told.what == What::kNode) {
                ++events[told.number];
            }
            const bool is_value = told.what == What::kValue || told.what == What::kGone;
            if (is_value && returns == 0 && before != nullptr && before->what == told.what &&
                before->number == told.number) {
                return in_window(i, "value " + std::to_string(told.number) + " twice");
            }
            before = is_value ? &told : before;
        }
        for (const auto &[number, count] : events) {
            if (count > in_store(window, number).writes + returns * kToldAfterReturn) {
                return in_window(i, node(number) + ": " + std::to_string(count) + " events");
            }
        }
    }
    return std::nullopt;
}

Violation is_loaded_first(const Record &record) {
    return of_each_told(record, [](const Window &, const Told &told) {
        const bool is_announced = told.what == What::kNode && told.ready && told.in_advance;
        return is_announced && !told.is_loaded ? Violation(node(told.number)) : Violation();
    });
}

Violation is_there(const Record &record) {
    return of_each_told(record, [](const Window &window, const Told &told) {
        const bool is_gone = told.what == What::kNode && told.ready && !in_store(window, told.number).was_installed;
        return is_gone ? Violation(node(told.number)) : Violation();
    });
}

Violation is_back_to_its_level(const Record &record) {
    constexpr size_t kNoise = size_t{256} * 1024;
    const auto differ = [](const char *what, auto before, auto after) {
        return Violation(std::string(what) + ": " + std::to_string(before) + ", then " + std::to_string(after));
    };
    const Level &before = record.before;
    const Level &after = record.after;
    if (after.record_subscriptions != before.record_subscriptions) {
        return differ("record subscriptions", before.record_subscriptions, after.record_subscriptions);
    }
    if (after.field_subscriptions != before.field_subscriptions) {
        return differ("field subscriptions", before.field_subscriptions, after.field_subscriptions);
    }
    if (after.descriptors > before.descriptors) {
        return differ("descriptors", before.descriptors, after.descriptors);
    }
    return after.bytes > before.bytes + kNoise ? differ("bytes", before.bytes, after.bytes) : Violation();
}

Violation is_kept(const Record &record) {
    return record.kept >= record.confirmed ? Violation()
                                           : "value " + std::to_string(record.confirmed) + " was confirmed, and " +
                                                 std::to_string(record.kept) + " is there";
}

constexpr std::array kProperties = {
    Property{"the end state is the store's", ends_as_the_store},
    Property{"no event without a record that warrants it", is_warranted},
    Property{"a record's changes are told in order", is_in_order},
    Property{"nothing is announced twice for one delivery", is_told_once},
    Property{"the initial load is complete before the announcement", is_loaded_first},
    Property{"nobody is told that a card is ready which was gone", is_there},
    Property{"memory, descriptors and subscriptions are back to their level", is_back_to_its_level},
    Property{"no confirmed write is lost while the server lives", is_kept},
};

}  // namespace

std::span<const Property> all_properties() { return kProperties; }

Violation first_violation(const Record &record) {
    for (const Property &property : kProperties) {
        if (const Violation violation = property.violation(record)) {
            return std::string(property.name) + ": " + *violation;
        }
    }
    return std::nullopt;
}

}  // namespace histories
