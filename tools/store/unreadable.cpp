#include "store/unreadable.h"

#include "command_line/exit_status.h"
#include "command_line/text.h"

namespace store {

namespace {

std::optional<record::Record> address_at(std::string_view key) {
    if (!record::is_key(key)) {
        return std::nullopt;
    }
    try {
        return record::record_at(key);
    } catch (const command_line::Failure &) {  // the index is none of its type's
        return std::nullopt;
    }
}

}  // namespace

std::optional<record::Record> address_of(const Unreadable &unreadable) { return address_at(unreadable.first); }

std::string in_words(const Unreadable &unreadable) {
    const auto &[key, why] = unreadable;
    const bool is_of_client = why.starts_with("does ") || why.starts_with("has ");
    return command_line::on_one_line(key) + " is stored, but " + (is_of_client ? why : "cannot be read (" + why + ")") +
           "; it is left out";
}

std::optional<Unreadable> skipped_record(std::string_view warning) {
    constexpr std::string_view kRecord = "record ";
    constexpr std::string_view kSkipped = " skipped: ";
    const size_t end = warning.find(kSkipped);
    if (!warning.starts_with(kRecord) || end == std::string_view::npos || end < kRecord.size()) {
        return std::nullopt;
    }
    const std::string stored_key(warning.substr(kRecord.size(), end - kRecord.size()));
    const auto address = address_at(stored_key);
    return Unreadable(address ? address->key() : stored_key, warning.substr(end + kSkipped.size()));
}

}  // namespace store
