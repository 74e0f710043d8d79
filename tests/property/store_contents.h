// What a store holds, as reports.
#pragma once

#include <compare>
#include <map>
#include <optional>
#include <vector>

#include <protobuf-c/protobuf-c.h>

#include "history.h"

namespace property {

// The processor that stands for the record type which this one follows.
Processor type_of(Processor processor);

// A record as it was delivered. Only what its type carries is set.
Report report_of(Processor type, const ProtobufCMessage &record);

class StoreContents {
public:
    void write(Processor type, const Report &report);
    // What was erased, when there was something.
    std::optional<Report> erase(Processor type, const Report &report);
    void clear() { records_.clear(); }

    // Less than all of it, more, or something else: no.
    bool are(Processor type, std::vector<Report> reports) const;
    std::optional<Report> state(Processor type) const;

    // What processors that were told these contents have missed when the store holds those, in any order.
    std::vector<Deliver> missed(const StoreContents &now, const std::vector<Processor> &following) const;
    // Of what followers know, those that are new or not as they were.
    std::vector<Deliver> fresh(const StoreContents &now, const std::vector<Processor> &following) const;
    // These contents, of what is told, become what the store holds, as far as it is followed and read in scans.
    void load(const StoreContents &now, const std::vector<Processor> &following);

private:
    struct Key {
        Processor type;
        std::array<int32_t, 3> index;
        // The 0 that is found here is the compiler's.
        auto operator<=>(const Key &) const = default;  // NOLINT(modernize-use-nullptr)
    };
    static Key key_of(Processor type, const Report &report);

    std::map<Key, Report> records_;
};

}  // namespace property
