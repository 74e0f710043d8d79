// The names of a program whose file is replaced or removed while it runs, as an upgrade in place does.

#include <filesystem>
#include <sstream>

#include <gtest/gtest.h>

#include "private_directory.h"
#include "program.h"

namespace {

namespace fs = std::filesystem;

enum class Then { kKept, kDeleted };

class DeletedProgram : public ::testing::Test {
protected:
    test_support::PrivateDirectory private_directory;
    const fs::path directory = private_directory.path();

    // What a copy of the program prints, by its first word.
    std::map<std::string, std::string> names_of(const fs::path &program, Then then) {
        fs::create_directories(program.parent_path());
        fs::copy_file(DELETED_PROGRAM, program);
        const test_support::Arguments arguments =
            then == Then::kDeleted ? test_support::Arguments{program} : test_support::Arguments{};
        const test_support::Outcome outcome =
            test_support::Program({.program = program, .arguments = arguments}).finish();
        EXPECT_EQ(outcome.status, 0) << outcome;
        std::map<std::string, std::string> names;
        std::istringstream lines(outcome.out);
        for (std::string what, name; lines >> what >> std::ws && std::getline(lines, name);) {
            names[what] = name;
        }
        return names;
    }
};

TEST_F(DeletedProgram, IsItsOperatorsProgramStill) {
    const auto names = names_of(directory / "router", Then::kDeleted);
    EXPECT_EQ(names.at("link"), directory / "router (deleted)");
    EXPECT_EQ(names.at("name"), "router (deleted)");
    EXPECT_EQ(names.at("level_file"), "router");
    EXPECT_EQ(names.at("module"), "trel_cap_router");
}

// Of a long path only the beginning counts, and so the mark is seen in part or not at all.
TEST_F(DeletedProgram, KeepsTheNameThatALongPathGaveIt) {
    for (const size_t length : {116U, 120U, 126U, 127U, 128U, 140U}) {
        const std::string parent(length - 7 - directory.string().size() - 1, 'd');
        const fs::path program = directory / parent / "router";
        const auto before = names_of(program, Then::kKept);
        fs::remove(program);
        const auto deleted = names_of(program, Then::kDeleted);
        EXPECT_EQ(deleted.at("level_file"), before.at("level_file")) << length;
        EXPECT_EQ(deleted.at("module"), before.at("module")) << length;
        fs::remove_all(directory / parent);
    }
}

TEST_F(DeletedProgram, IsNotOneThatIsCalledSo) {
    const auto names = names_of(directory / "router (deleted)", Then::kKept);
    EXPECT_EQ(names.at("name"), "router (deleted)");
    EXPECT_EQ(names.at("level_file"), "router (deleted)");
    EXPECT_EQ(names.at("module"), "trel_cap_router (deleted)");
}

TEST_F(DeletedProgram, ThatWasCalledSoKeepsItsName) {
    const auto names = names_of(directory / "router (deleted)", Then::kDeleted);
    EXPECT_EQ(names.at("level_file"), "router (deleted)");
}

}  // namespace
