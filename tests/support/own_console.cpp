// The modules of a test's process are in a directory of their own: tests that run beside it have modules of the same
// name, and nobody's console is to show them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

class OwnConsole : public testing::Environment {
public:
    void SetUp() override {
        directory_ = std::filesystem::temp_directory_path() / "console.XXXXXX";
        ASSERT_NE(mkdtemp(directory_.data()), nullptr) << directory_;
        setenv("QUIB_DIR", directory_.c_str(), 1);
    }
    void TearDown() override { std::filesystem::remove_all(directory_); }

private:
    std::string directory_;
};

[[maybe_unused]] const testing::Environment *const environment = testing::AddGlobalTestEnvironment(new OwnConsole);

}  // namespace
