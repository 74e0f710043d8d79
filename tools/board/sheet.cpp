#include "board/sheet.h"

#include <array>
#include <iterator>

#include "board/json_text.h"

namespace board {

namespace {

constexpr size_t kMostEvents = 200;
constexpr size_t kMostGone = 1000;

constexpr std::array<const char *, 4> kNames = {"store", "scopes", "cards", "capabilities"};

void append(std::string &list, const std::string &item) {
    if (!list.empty()) {
        list += ',';
    }
    list += item;
}

}  // namespace

void Sheet::put(Section section, const std::string &key, std::string json) {
    const auto found = by_key_.find({section, key});
    if (found == by_key_.end()) {
        entries_.push_back({section, key, std::move(json), version_ + 1});
        by_key_.emplace(std::pair(section, key), std::prev(entries_.end()));
    } else {
        Entry &entry = *found->second;
        if (entry.json == json) {
            return;
        }
        gone_ -= entry.gone() ? 1U : 0U;
        entry.json = std::move(json);
        entry.version = version_ + 1;
        entries_.splice(entries_.end(), entries_, found->second);
    }
    gone_ += entries_.back().gone() ? 1U : 0U;
    news_ = true;
}

void Sheet::erase(Section section, const std::string &key) {
    if (by_key_.contains({section, key})) {
        put(section, key, "null");
    }
}

void Sheet::add_event(std::string json) {
    events_.push_back({std::move(json), version_ + 1});
    if (events_.size() > kMostEvents) {
        events_.pop_front();
    }
    news_ = true;
}

void Sheet::publish() {
    ++version_;
    news_ = false;
    if (gone_ > kMostGone) {
        forget_gone();
    }
}

// Half of them, the oldest, so that it is seldom done.
void Sheet::forget_gone() {
    for (auto entry = entries_.begin(); gone_ > kMostGone / 2;) {
        if (entry->gone()) {
            forgotten_ = entry->version;
            by_key_.erase({entry->section, entry->key});
            entry = entries_.erase(entry);
            --gone_;
        } else {
            ++entry;
        }
    }
}

std::string Sheet::whole() const { return write(0, true); }

std::string Sheet::since(uint64_t version) const {
    return version < forgotten_ ? whole() : write(version, version == 0);
}

std::string Sheet::write(uint64_t since, bool whole) const {
    std::array<std::string, kNames.size()> sections;
    for (auto entry = entries_.rbegin(); entry != entries_.rend() && entry->version > since; ++entry) {
        if (!whole || !entry->gone()) {
            append(sections[entry->section], json_text(entry->key) + ":" + entry->json);
        }
    }
    std::string events;
    for (const Event &event : events_) {
        if (event.version > since && event.version <= version_) {
            append(events, event.json);
        }
    }
    std::string text = "{\"version\":" + std::to_string(version_);
    text += whole ? ",\"whole\":true" : "";
    for (size_t i = 0; i < sections.size(); ++i) {
        if (whole || !sections[i].empty()) {
            text.append(",\"").append(kNames[i]).append("\":{").append(sections[i]).append("}");
        }
    }
    if (whole || !events.empty()) {
        text += ",\"events\":[" + events + "]";
    }
    return text + "}";
}

}  // namespace board
