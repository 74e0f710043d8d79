#include "store_status.h"

#include <cstdint>
#include <ctime>
#include <utility>

namespace quib {

namespace {

constexpr uint64_t kSecond = 1000;
constexpr uint64_t kMinute = 60 * kSecond;
constexpr uint64_t kHour = 60 * kMinute;
constexpr uint64_t kDay = 24 * kHour;

std::string duration(uint64_t ms) {
    const auto parts = [ms](uint64_t unit, const char *name, uint64_t smaller, const char *its_name) {
        return std::to_string(ms / unit) + name + std::to_string(ms % unit / smaller) + its_name;
    };
    if (ms < kSecond) {
        return std::to_string(ms) + " ms";
    }
    if (ms < kMinute) {
        return std::to_string(ms / kSecond) + " s";
    }
    if (ms < kHour) {
        return parts(kMinute, " min ", kSecond, " s");
    }
    return ms < kDay ? parts(kHour, " h ", kMinute, " min") : parts(kDay, " days ", kHour, " h");
}

std::string time_of(int64_t ms) {
    const auto seconds = static_cast<time_t>(ms / static_cast<int64_t>(kSecond));
    tm parts{};
    char text[32];
    const size_t length =
        localtime_r(&seconds, &parts) != nullptr ? strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts) : 0;
    return {text, length};
}

std::string state_of(const MomClientStatus &status) {
    const std::string since = " for " + duration(status.state_ms) + ", since " + time_of(status.since_ms);
    switch (status.state) {
        case OX_MOM_STATE_UP:
            return "up" + since;
        case OX_MOM_STATE_LOST:
            return "lost" + since + "; tried again " +
                   (status.retry_ms > 0 ? "in " + duration(status.retry_ms) : std::string("now"));
        default:
            return "not connected";
    }
}

std::string reason_of(const MomClientStatus &status) {
    return std::to_string(status.reason_code) + ", " +
           (status.reason[0] != '\0' ? status.reason : ox_mom_strerror(status.reason_code));
}

}  // namespace

std::string in_words(const MomClientStatus &status) {
    std::string text;
    const auto line = [&text](const char *name, const std::string &value) {
        constexpr size_t kWidth = 15;
        text += name;
        text.append(kWidth - (text.size() - text.rfind('\n') - 1), ' ').append(value).append("\n");
    };
    line("store", status.store);
    line("state", state_of(status));
    line("losses", std::to_string(status.losses));
    if (status.reason_code != 0) {
        line("latest failure", reason_of(status));
    }
    line("subscriptions", std::to_string(status.record_subscriptions) + " of types, " +
                              std::to_string(status.field_subscriptions) + " of fields");
    line("notifications",
         std::to_string(status.delivered) + " delivered, " + std::to_string(status.waiting) + " waiting");
    line("requests", std::to_string(status.requests) + ", " + std::to_string(status.timed_out) + " timed out");
    return text;
}

}  // namespace quib
