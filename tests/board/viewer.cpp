#include "viewer.h"

namespace board_test {

Viewer::Viewer(uint16_t port) : connection_(open_stream(port)) {}

const Json &Viewer::read() {
    const std::string event = connection_.read_event();
    ++events_read_;
    bytes_read_ += event.size();
    latest_ = Json::parse(event);
    if (latest_.contains("whole")) {
        shown_ = latest_;
        return latest_;
    }
    for (const char *section : {"store", "scopes", "cards", "capabilities"}) {
        const Json news = latest_.value(section, Json::object());
        for (const auto &[key, value] : news.items()) {
            if (value.is_null()) {
                shown_[section].erase(key);
            } else {
                shown_[section][key] = value;
            }
        }
    }
    for (const Json &line : latest_.value("events", Json::array())) {
        shown_["events"].push_back(line);
    }
    return latest_;
}

void Viewer::read_until(const std::function<bool(const Json &)> &is_so) {
    while (events_read_ == 0 || !is_so(shown_)) {
        read();
    }
}

std::string Viewer::state_of(int32_t node) const {
    const Json cards = shown_.value("cards", Json::object());
    const std::string key = std::to_string(node);
    return cards.contains(key) ? cards[key]["state"].get<std::string>() : "";
}

}  // namespace board_test
