// System calls that fail, at each call in turn: a message is written or dropped, the program goes on, and what it logs
// afterwards is written.
#include "system_calls.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ox_zlog.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

#include "child.h"
#include "log_line.h"

// LeakSanitizer's, where it is.
extern "C" [[gnu::weak]] void __lsan_disable();

namespace zlog_test {

namespace {

using test_support::every_fault;
using test_support::FailingSystemCall;
using test_support::Fault;
using testing::EndsWith;

constexpr int kMostSystemCalls = 200;  // of an init and a message; more is a loop that nothing ends

enum Ended : int { kUndisturbed = 0, kFailed = 10, kTooOften = 11, kNoCategory = 12 };

// A first init and a first message with the fault, and others without it.
int log_with(const Fault &fault, int nth, const std::string &configuration) {
    setenv("OX_ZLOG_CONF", configuration.c_str(), 1);
    if (__lsan_disable != nullptr && configuration.empty()) {
        __lsan_disable();  // zlog loses what it makes of a rule that cannot be given as a file
    }
    {
        const FailingSystemCall failing(fault, nth);
        say(ox_zlog_init("c"), "first");
    }
    if (test_support::system_calls_made() > kMostSystemCalls) {
        return kTooOften;
    }
    void *category = ox_zlog_init("c");
    if (category == nullptr) {
        return kNoCategory;
    }
    say(category, "second");
    return test_support::a_system_call_failed() ? kFailed : kUndisturbed;
}

// Has each call fail in turn; returns how often one did.
int fail_each_call(const std::string &configuration, const std::function<void(const Outcome &)> &check) {
    int failures = 0;
    for (const Fault &fault : every_fault()) {
        int ended = kFailed;
        for (int nth = 1; ended == kFailed && !testing::Test::HasFailure(); ++nth) {
            SCOPED_TRACE(testing::Message() << fault << ", call " << nth);
            const Outcome outcome = in_child([&] { return log_with(fault, nth, configuration); });
            ended = outcome.status;
            EXPECT_TRUE(ended == kUndisturbed || ended == kFailed) << ended << ": " << outcome.error_output;
            failures += ended == kFailed ? 1 : 0;
            check(outcome);
        }
    }
    return failures;
}

TEST(SystemCalls, ThatFailCostAMessageOfTheBuiltInRuleAtTheMost) {
    const int failures = fail_each_call(
        "", [](const Outcome &outcome) { EXPECT_THAT(outcome.error_output, EndsWith(" speak:7 second\n")); });
    EXPECT_GT(failures, 0);
}

TEST(SystemCalls, ThatFailCostAMessageOfAFileAtTheMost) {
    const TemporaryDirectory place;
    const std::string log = place.file("log");
    const std::string file =
        place.write("zlog.conf", "[formats]\nbare = \"%m%n\"\n[rules]\n*.* \"" + log + "\"; bare\n");
    const int failures = fail_each_call(file, [&](const Outcome &outcome) {
        const std::string logged = read_file(log);
        // A configuration that cannot be used, as when its file cannot be opened, gives way to the built-in rule.
        EXPECT_TRUE(logged.ends_with("second\n") || outcome.error_output.ends_with(" speak:7 second\n"))
            << logged << outcome.error_output;
        EXPECT_TRUE(logged.starts_with("f") || !outcome.error_output.empty()) << "lost, and nobody told: " << logged;
        std::remove(log.c_str());
    });
    EXPECT_GT(failures, 0);
}

}  // namespace

}  // namespace zlog_test
