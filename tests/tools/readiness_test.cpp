// ready.
#include "capctl_test.h"

namespace capctl_test {

namespace {

constexpr const char *kScopes[] = {"glb", "cm", "fab", "hps"};

class Readiness : public ServerTest {};

MATCHER(IsOn, "") { return arg.status == 0 && arg.out == "on\n" && arg.err.empty(); }

MATCHER(IsOff, "") { return arg.status == 1 && arg.out == "off\n" && arg.err.empty(); }

TEST_F(Readiness, IsOffBeforeAnybodyHasPublishedIt) {
    for (const char *scope : kScopes) {
        EXPECT_THAT(run({"ready", scope}), IsOff()) << scope;
    }
}

TEST_F(Readiness, OfEachScopeIsItsOwn) {
    for (const char *published : kScopes) {
        ASSERT_THAT(run({"ready", published, "on"}), Prints(""));
        for (const char *scope : kScopes) {
            const Outcome outcome = run({"ready", scope});
            if (std::string(scope) == published) {
                EXPECT_THAT(outcome, IsOn()) << scope;
            } else {
                EXPECT_THAT(outcome, IsOff()) << scope;
            }
        }
        ASSERT_THAT(run({"ready", published, "off"}), Prints(""));
        EXPECT_THAT(run({"ready", published}), IsOff());
    }
}

TEST_F(Readiness, IsStoredAsTheScopesRecord) {
    const Environment types = {{"glb", "s_frame.cap_glb_state"},
                               {"cm", "s_frame.cap_cm_glb_state"},
                               {"fab", "s_frame.cap_fab_glb_state"},
                               {"hps", "s_frame.cap_hps_glb_state"}};
    for (const auto &[scope, type] : types) {
        ASSERT_THAT(run({"ready", scope, "on"}), Prints(""));
        EXPECT_EQ(raw().text({"GET", type}), "\x28\x01") << type;
    }
}

TEST_F(Readiness, HasFourScopesAndTwoValues) {
    EXPECT_THAT(run({"ready", "lc"}), FailsWith(2, "SCOPE: glb, cm, fab or hps expected, not \"lc\""));
    EXPECT_THAT(run({"ready", ""}), FailsWith(2, "not \"\""));
    EXPECT_THAT(run({"ready", "glb", "yes"}), FailsWith(2, "on or off expected, not \"yes\""));
    EXPECT_THAT(run({"ready", "glb", ""}), FailsWith(2, "on or off expected, not \"\""));
    EXPECT_THAT(run({"ready"}), FailsWith(2, "SCOPE"));
    EXPECT_THAT(run({"ready", "glb", "on", "off"}), FailsWith(2, "off"));
    EXPECT_THAT(run({"ready", "glb"}), IsOff());
}

}  // namespace

}  // namespace capctl_test
