// How a client stands with its store: up or lost, since when, how often and why. Changes are told as they happen.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "core/backoff.h"
#include "core/tell.h"
#include "ox_mom.h"

namespace mom {

class Standing {
public:
    // All that a client loads afresh when it is back.
    struct Reload {
        size_t field_subscriptions;   // renewed
        size_t record_subscriptions;  // forgotten, so that the callbacks make them anew
        bool has_callbacks;
    };

    // The name goes into what is told: without a password.
    explicit Standing(std::string store) : store_(std::move(store)) {}

    // Connected, and it was never lost, or no more than one database is added.
    void up() noexcept;

    // Connecting failed, and the caller is told by a code.
    void refused(int32_t code, std::string_view why) noexcept { keep_reason(code, why); }

    // Lost; or lost already, and an attempt failed. In one outage each reason is told once, however often it comes.
    void lost(int32_t code, std::string_view why, Millis until_next) noexcept;

    void back(const Reload &reload) noexcept;

    // All but what only the client knows.
    void show(MomClientStatus &status) const;

private:
    static constexpr size_t kReasons = 8;  // told in one outage

    void enter(int32_t state) noexcept;
    void keep_reason(int32_t code, std::string_view why) noexcept;
    bool is_new_reason(std::string_view why) noexcept;

    std::string store_;
    int32_t state_ = OX_MOM_STATE_IDLE;
    TimePoint since_ = Clock::now();
    std::chrono::system_clock::time_point since_by_calendar_ = std::chrono::system_clock::now();
    TimePoint next_attempt_{};
    uint64_t losses_ = 0;
    int32_t reason_code_ = 0;
    Words reason_;
    std::array<size_t, kReasons> told_{};  // their hashes
    size_t n_told_ = 0;
};

}  // namespace mom
