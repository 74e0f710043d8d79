#include "client/told_records.h"

#include <algorithm>
#include <iterator>

#include "records/notification.h"

namespace mom {

void ToldRecords::keep(std::string_view index, std::string_view bytes) {
    if (const auto record = records_.find(index); record != records_.end()) {
        mutable_record(*record).set(index, bytes);
    } else {
        records_.emplace(index, bytes);
    }
}

bool ToldRecords::forget(std::string_view index) {
    const auto record = records_.find(index);
    if (record == records_.end()) {
        return true;  // written before anybody followed
    }
    const bool is_unknown = record->state != State::kVanished;
    records_.erase(record);
    return is_unknown;
}

void ToldRecords::begin_comparison() {
    std::erase_if(records_, [](const ToldRecord &record) { return record.state == State::kVanished; });
    for (const ToldRecord &record : records_) {
        mutable_record(record).state = State::kNotFound;
    }
}

ToldRecords::Found ToldRecords::found(std::string_view index, std::string_view bytes) {
    const auto record = records_.find(index);
    if (record == records_.end()) {
        return Found::kNew;
    }
    const bool has_changed = !is_same_record(record->bytes(), bytes);
    mutable_record(*record).state = has_changed ? State::kChanged : State::kCurrent;
    return has_changed ? Found::kChanged : Found::kAsTold;
}

void ToldRecords::not_found(std::string_view index) noexcept {
    if (const auto record = records_.find(index); record != records_.end()) {
        mutable_record(*record).state = State::kNotFound;
    }
}

std::vector<ToldRecord> ToldRecords::missing() const {
    std::vector<ToldRecord> missing;
    std::ranges::copy_if(records_, std::back_inserter(missing),
                         [](const ToldRecord &record) { return record.state == State::kNotFound; });
    return missing;
}

void ToldRecords::vanish(std::string_view index) noexcept {
    if (const auto record = records_.find(index); record != records_.end()) {
        mutable_record(*record).vanish();
    }
}

void ToldRecords::was_not_told(const ToldRecord &vanished) noexcept {
    const auto record = records_.find(vanished.index());
    if (record != records_.end() && record->state == State::kVanished) {
        mutable_record(*record).set(vanished.index(), vanished.bytes());
    }
}

bool ToldRecords::is(State state, std::string_view index) const {
    const auto record = records_.find(index);
    return record != records_.end() && record->state == state;
}

}  // namespace mom
