// What a store holds at one time: its records by their keys.
#pragma once

#include <functional>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "record/record.h"
#include "store/unreadable.h"

namespace store {

class Store;

std::vector<const record::RecordType *> all_types();

class Snapshot {
public:
    using Records = std::map<std::string, record::Record, std::less<>>;

    Snapshot() = default;
    // Reads all of it; types that are not asked for are not looked at.
    static Snapshot of(Store &store);
    static Snapshot of(Store &store, std::span<const record::RecordType *const> types);

    void put(const record::Record &record);
    void erase(std::string_view key);
    const record::Record *find(std::string_view key) const;  // nullptr: there is none

    // Each record of a type, in the order of their keys, as the struct that is generated for it.
    template <class T>
    void each(const ProtobufCMessageDescriptor &type, const std::function<void(const T &)> &visit) const {
        for (const auto &entry : records_) {
            if (entry.second.type().descriptor == &type) {
                visit(entry.second.template as<T>());
            }
        }
    }

    const Records &records() const { return records_; }
    // What is stored beside them, and does not decode.
    const Unreadables &unreadable() const { return unreadable_; }
    void set_unreadable(const Unreadables &unreadable) { unreadable_ = unreadable; }
    // By type and index, as record::precedes() has it.
    std::vector<const record::Record *> in_order() const;

private:
    Records records_;
    Unreadables unreadable_;
};

}  // namespace store
