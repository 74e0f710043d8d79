// What happens in a store, written down as a scenario that makes it happen again.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "store/follower.h"

namespace scenario {

// What is stored first becomes "before", every change a step, writes that changed nothing among them, each a line that
// is written when it is told. Between two lines the text is a whole scenario.
class Recorder : public store::Listener {
public:
    using Sink = std::function<void(std::string_view)>;

    // The sink throws when it cannot take the text.
    Recorder(const std::string &store_name, Sink sink);

    void changed(const store::Change &change) override;
    void complete() override;
    void lost(const std::string &reason) override;
    void still_lost(const std::string &reason) override;
    void restored() override;

    bool is_complete() const { return begin_.has_value(); }
    uint64_t changes() const { return changes_; }

private:
    std::string at() const;
    void remark(const std::string &text) const;
    void put(const char *action, const record::View &record, bool with_fields);

    Sink sink_;
    std::optional<std::chrono::steady_clock::time_point> begin_;  // once the initial state is complete
    uint64_t changes_ = 0;
};

}  // namespace scenario
