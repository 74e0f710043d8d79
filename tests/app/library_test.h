// What the tests of the library share: its state as a thread and a process find it at first, and the log levels.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "scripted_platform.h"
#include "trel_cap/trel_cap.h"

namespace trel_cap_tests {

using test_support::Call;
using test_support::Event;
using test_support::Fields;
using test_support::HashAnswer;
using test_support::kDiagnostics;
using test_support::kLibrary;
using test_support::Log;
using test_support::Message;
using test_support::ObjectAnswer;
using test_support::Record;
using test_support::ScriptedPlatform;
using test_support::text;
namespace call = test_support::call;

// Closed, each of the four gates, above them, and the negative numbers, which count as larger than all others.
inline constexpr std::array<int32_t, 8> kLogLevels = {0, 1, 2, 3, 4, 7, -1, INT32_MIN};

class LibraryTest : public ::testing::Test {
protected:
    ScriptedPlatform platform;
    MomClient *const client = ScriptedPlatform::client();
    MomClient *const other_client = ScriptedPlatform::other_client();

    // Logging is open, so that every message is seen; tests of start-up close it.
    LibraryTest() {
        g_trel_cap_global = nullptr;
        trel_cap_dbg_inited = 0;
        g_trel_cap_config_reconnect = 0;
        g_trel_cap_zlog_level = 4;
        g_trel_cap_zlog_category = ScriptedPlatform::category();
    }

    template <class Body>
    void at_every_log_level(Body body) {
        for (const int32_t level : kLogLevels) {
            SCOPED_TRACE("log level " + std::to_string(level));
            platform.forget();
            g_trel_cap_zlog_level = level;
            body();
        }
    }

    // What has happened since the last look: of the messages, those that the present log level lets out.
    void expect_events(const std::vector<Event> &expected) {
        EXPECT_THAT(platform.events(),
                    ::testing::ElementsAreArray(test_support::visible_at(g_trel_cap_zlog_level, expected)));
        platform.forget();
    }

    bool log_is_open() const { return g_trel_cap_zlog_level != 0; }
};

inline Record cap_table(const std::string &url, const Fields &fields = {}) {
    return Record::of(cap_table__descriptor, fields).with_index({{1, url}});
}

inline std::string url_of_length(size_t length) {
    std::string url = "/cap";
    for (size_t i = url.size(); i < length; ++i) {
        url.push_back(static_cast<char>('a' + i % 26));
    }
    return url;
}

}  // namespace trel_cap_tests
