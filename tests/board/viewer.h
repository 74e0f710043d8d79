// A viewer: puts together what a stream tells, as the page does.
#pragma once

#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>

#include "http_client.h"

namespace board_test {

using Json = nlohmann::json;

class Viewer {
public:
    explicit Viewer(uint16_t port);

    // Takes the next event in.
    const Json &read();
    // Reads until it is so. Throws where nothing comes any more.
    void read_until(const std::function<bool(const Json &shown)> &is_so);

    // The sections, and the events of all that was told.
    const Json &shown() const { return shown_; }
    // The state of a card; "" where there is no card.
    std::string state_of(int32_t node) const;
    size_t events_read() const { return events_read_; }
    size_t bytes_read() const { return bytes_read_; }

private:
    Connection connection_;
    Json latest_;
    Json shown_;
    size_t events_read_ = 0;
    size_t bytes_read_ = 0;
};

}  // namespace board_test
