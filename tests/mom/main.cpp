// Runs the tests, each with nothing recorded yet.
#include "recorder.h"

#include <gtest/gtest.h>

namespace {

class EmptyRecorder : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo &) override { mom_test::recorder() = {}; }
};

}  // namespace

int main(int argc, char **argv) {
    testing::InitGoogleTest(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new EmptyRecorder);
    return RUN_ALL_TESTS();
}
