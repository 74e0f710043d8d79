// The collection: the dump, in a file of /data.

#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "level_files.h"
#include "nodes.h"
#include "printed.h"

namespace trel_cap_tests {
namespace {

namespace fs = std::filesystem;
using ::testing::EndsWith;
using ::testing::StartsWith;

// Where the file is looked for, although only /data/collect is made.
std::string open_path() { return "/data/collect//data/collect/trel_cap_" + program_name() + ".log"; }

std::string content_of(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.good()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

class Collection : public NodeListTest {
protected:
    std::string whole_dump;

    Collection() {
        g_trel_cap_zlog_level = 1;
        add_nodes({full_record(1), full_record(2), full_record(3)});
    }
    void SetUp() override {
        if (const std::string why = test_support::enter_private_root(); !why.empty()) {
            GTEST_SKIP() << "a collection needs a /data of its own, which is not to be had: " << why;
        }
        whole_dump = print(trel_cap_dbg_dump_all).output;
        ASSERT_THAT(whole_dump, EndsWith("node_list memory is 152\ntotal memory is 166\n"));
    }
    static void make_inner_directory() { fs::create_directories(fs::path(open_path()).parent_path()); }
    static void write_file(const std::string &content) {
        std::ofstream file(open_path(), std::ios::binary);
        file << content << std::flush;
        ASSERT_TRUE(file.good());
    }
};

TEST_F(Collection, IsShownWhereOnlyTheOuterDirectoryExists) {
    for (int time = 1; time <= 2; ++time) {
        EXPECT_EQ(print(trel_cap_dbg_collect), (Printed{0, open_path() + " open fail\r\n" + whole_dump}));
        EXPECT_TRUE(fs::is_directory("/data/collect"));
        EXPECT_TRUE(fs::is_empty("/data/collect"));
    }
}

TEST_F(Collection, IsShownWhereNotEvenThatCanBeMade) {
    ASSERT_EQ(test_support::set_data_writable(false), "");
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(print(trel_cap_dbg_collect), (Printed{0, open_path() + " open fail\r\n" + whole_dump}));
    EXPECT_THAT(::testing::internal::GetCapturedStderr(), StartsWith("mkdir: "));
    ASSERT_EQ(test_support::set_data_writable(true), "");
}

TEST_F(Collection, GoesToTheFileWhereTheInnerDirectoryExistsToo) {
    make_inner_directory();
    EXPECT_EQ(print(trel_cap_dbg_collect), (Printed{0, ""}));
    EXPECT_EQ(content_of(open_path()), whole_dump);
}

TEST_F(Collection, MakesAFileForAllThatTheUmaskAllows) {
    make_inner_directory();
    for (const mode_t mask : {mode_t{0}, mode_t{027}}) {
        const mode_t previous = umask(mask);
        print(trel_cap_dbg_collect);
        umask(previous);
        struct stat file {};
        ASSERT_EQ(stat(open_path().c_str(), &file), 0);
        EXPECT_EQ(file.st_mode & 07777, 0666 & ~mask);
        fs::remove(open_path());
    }
}

TEST_F(Collection, LeavesTheTailOfALongerOne) {
    make_inner_directory();
    const std::string longer(whole_dump.size() + 10, 'x');
    write_file(longer);
    EXPECT_EQ(print(trel_cap_dbg_collect).status, 0);
    EXPECT_EQ(content_of(open_path()), whole_dump + "xxxxxxxxxx");
    EXPECT_EQ(print(trel_cap_dbg_collect).status, 0);
    EXPECT_EQ(content_of(open_path()), whole_dump + "xxxxxxxxxx");
}

TEST_F(Collection, OverwritesAShorterOneFromItsBeginning) {
    make_inner_directory();
    write_file("x");
    EXPECT_EQ(print(trel_cap_dbg_collect).status, 0);
    EXPECT_EQ(content_of(open_path()), whole_dump);
}

TEST_F(Collection, LeavesStandardOutputAsItWas) {
    const Printed around = print([] {
        std::printf("before, ");
        const int32_t shown = trel_cap_dbg_collect();
        std::printf("unflushed, ");
        make_inner_directory();
        const int32_t filed = trel_cap_dbg_collect();
        std::printf("after");
        return shown + filed;
    });
    EXPECT_EQ(around, (Printed{0, "before, " + open_path() + " open fail\r\n" + whole_dump + "after"}));
    EXPECT_EQ(content_of(open_path()), "unflushed, " + whole_dump);
}

// Descriptor 1 is the process's: while it leads into the file, it does so for every thread.
TEST_F(Collection, HasInItWhatOtherThreadsPrintMeanwhile) {
    make_inner_directory();
    g_trel_cap_zlog_level = 4;  // each walk of the list logs its nodes
    whole_dump = print(trel_cap_dbg_dump_all).output;
    bool said = false;
    platform.on_log = [&said](const Log &, const char *) {
        std::thread([&said] { said = said || write(STDOUT_FILENO, "other\n", 6) == 6; }).join();
    };
    EXPECT_EQ(print(trel_cap_dbg_collect), (Printed{0, ""}));
    EXPECT_EQ(content_of(open_path()), "other\n" + whole_dump);
}

TEST_F(Collection, KeepsNoDescriptor) {
    const size_t before = open_descriptors();
    print(trel_cap_dbg_collect);
    make_inner_directory();
    print(trel_cap_dbg_collect);
    EXPECT_EQ(open_descriptors(), before);
}

}  // namespace
}  // namespace trel_cap_tests
