// The chassis as the board shows it: follows the store, judges the cards, and writes the sheet that viewers get.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "board/sheet.h"
#include "board/time_line.h"
#include "chassis/judgement.h"
#include "store/follower.h"

namespace board {

class Model : public store::Listener {
public:
    explicit Model(std::string store_name);

    void changed(const store::Change &change) override;
    void complete() override;
    void lost(const std::string &reason) override;
    void restored() override;

    bool has_news() const { return sheet_.has_news() || !stale_.empty() || all_stale_; }
    std::string_view store_state() const { return store_state_; }  // loading, up or lost
    // Everything so far becomes the sheet's next version.
    void publish();
    const Sheet &sheet() const { return sheet_; }

private:
    void keep(const store::Change &change);
    void show(const store::Change &change);
    void show_store(const char *state, const std::string &reason);
    void judge_stale();
    void show_card(const chassis::Judgement &judgement);
    void tell(const Line &line);

    std::string store_name_;
    std::string store_state_;
    Sheet sheet_;
    store::Snapshot chassis_;                // what cards are judged by: all but the capabilities
    std::set<int32_t> stale_;                // nodes to be judged anew
    bool all_stale_ = false;                 // every node is
    std::map<int32_t, std::string> states_;  // of the cards, as shown
    bool complete_ = false;                  // all that was stored has been told
    bool judged_ = false;                    // and shown: from now on a card's state is news
    uint64_t lines_ = 0;
};

}  // namespace board
