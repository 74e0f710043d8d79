#include "store/snapshot.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "store/store.h"

namespace store {

using record::Record;
using record::RecordType;

Snapshot Snapshot::of(Store &store) { return of(store, all_types()); }

Snapshot Snapshot::of(Store &store, std::span<const RecordType *const> types) {
    Snapshot snapshot;
    for (const RecordType *type : types) {
        store.scan(*type, [&](Record &&record) {
            std::string key = record.key();
            snapshot.records_.insert_or_assign(std::move(key), std::move(record));
        });
    }
    snapshot.set_unreadable(store.unreadable());
    return snapshot;
}

void Snapshot::put(const Record &record) { records_.insert_or_assign(record.key(), record); }

void Snapshot::erase(std::string_view key) {
    if (const auto found = records_.find(key); found != records_.end()) {
        records_.erase(found);
    }
}

const Record *Snapshot::find(std::string_view key) const {
    const auto found = records_.find(key);
    return found == records_.end() ? nullptr : &found->second;
}

std::vector<const Record *> Snapshot::in_order() const {
    std::vector<std::pair<record::Place, const Record *>> places;
    places.reserve(records_.size());
    for (const auto &[key, record] : records_) {
        places.emplace_back(place_of(record), &record);
    }
    std::sort(places.begin(), places.end());
    std::vector<const Record *> records;
    records.reserve(places.size());
    for (const auto &[place, record] : places) {
        records.push_back(record);
    }
    return records;
}

std::vector<const RecordType *> all_types() {
    std::vector<const RecordType *> types;
    for (const RecordType &type : record::record_types()) {
        types.push_back(&type);
    }
    return types;
}

}  // namespace store
