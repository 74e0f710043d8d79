// The modules of a test's process are in a directory of their own: tests that run beside it have modules of the same
// name, and nobody's console is to show them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>

#include "private_directory.h"

namespace {

class OwnConsole : public testing::Environment {
public:
    void SetUp() override {
        directory_.emplace();
        setenv("QUIB_DIR", directory_->path().c_str(), 1);
    }
    void TearDown() override { directory_.reset(); }

private:
    std::optional<test_support::PrivateDirectory> directory_;
};

[[maybe_unused]] const testing::Environment *const environment = testing::AddGlobalTestEnvironment(new OwnConsole);

}  // namespace
