// JSON as text without an end of line. It is always valid: what is not UTF-8 in a string appears as U+FFFD.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace board {

inline std::string json_text(const nlohmann::ordered_json &json) {
    return json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace board
