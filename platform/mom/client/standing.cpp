#include "client/standing.h"

#include <algorithm>
#include <cstdio>
#include <functional>

namespace mom {

namespace {

// Cut to the room, with an end that shows it.
template <size_t kSize>
void copy_cut(std::string_view text, char (&room)[kSize]) {
    const bool fits = text.size() < kSize;
    snprintf(room, kSize, "%.*s%s", static_cast<int>(fits ? text.size() : kSize - 4), text.data(), fits ? "" : "...");
}

template <class Duration>
uint64_t milliseconds(Duration duration) {
    return static_cast<uint64_t>(std::max(std::chrono::ceil<Millis>(duration), Millis(0)).count());
}

}  // namespace

void Standing::enter(int32_t state) noexcept {
    state_ = state;
    since_ = Clock::now();
    since_by_calendar_ = std::chrono::system_clock::now();
}

void Standing::keep_reason(int32_t code, std::string_view why) noexcept {
    reason_code_ = code;
    reason_ = Words("%.*s", static_cast<int>(why.size()), why.data());
}

bool Standing::is_new_reason(std::string_view why) noexcept {
    const size_t hash = std::hash<std::string_view>()(why);
    const auto end = told_.begin() + static_cast<std::ptrdiff_t>(n_told_);
    if (n_told_ == kReasons || std::find(told_.begin(), end, hash) != end) {
        return false;
    }
    told_[n_told_++] = hash;
    return true;
}

void Standing::up() noexcept {
    if (state_ != OX_MOM_STATE_UP) {
        enter(OX_MOM_STATE_UP);
    }
}

void Standing::lost(int32_t code, std::string_view why, Millis until_next) noexcept {
    const bool anew = state_ != OX_MOM_STATE_LOST;
    keep_reason(code, why);
    next_attempt_ = Clock::now() + until_next;
    if (anew) {
        enter(OX_MOM_STATE_LOST);
        ++losses_;
        n_told_ = 0;
    }
    if (is_new_reason(why)) {
        const Words when = until_next.count() == 0 ? Words("made at once")
                                                   : Words("in %lld ms", static_cast<long long>(until_next.count()));
        tell(Level::kError, Words("store %s is %s: %s; the next attempt is %s", store_.c_str(),
                                  anew ? "lost" : "still lost", reason_.c_str(), when.c_str()));
    }
}

void Standing::back(const Reload &reload) noexcept {
    const std::chrono::duration<double> away = Clock::now() - since_;
    enter(OX_MOM_STATE_UP);
    const bool ended = reload.record_subscriptions != 0 && !reload.has_callbacks;
    tell(
        ended ? Level::kError : Level::kNotice,
        Words("store %s is back after %.1f s; loaded afresh: field subscriptions (%zu), record subscriptions (%zu, %s)",
              store_.c_str(), away.count(), reload.field_subscriptions, reload.record_subscriptions,
              ended ? "ended: no reconnection callback makes them anew" : "by the reconnection callbacks"));
}

void Standing::show(MomClientStatus &status) const {
    const TimePoint now = Clock::now();
    status.state = state_;
    status.since_ms = std::chrono::duration_cast<Millis>(since_by_calendar_.time_since_epoch()).count();
    status.state_ms = milliseconds(now - since_);
    status.retry_ms = state_ == OX_MOM_STATE_LOST ? milliseconds(next_attempt_ - now) : 0;
    status.losses = losses_;
    status.reason_code = reason_code_;
    copy_cut(store_, status.store);
    copy_cut(reason_.view(), status.reason);
}

}  // namespace mom
