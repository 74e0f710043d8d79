// The application's name.

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "level_files.h"
#include "library_test.h"
#include "private_directory.h"

namespace trel_cap_tests {
namespace {

namespace fs = std::filesystem;

class AppName : public LibraryTest {
protected:
    // What is written of a buffer of `size` bytes, which lies in a larger one.
    std::string name_of(pid_t pid, size_t size) {
        std::vector<char> buffer(size + 16, 'x');
        EXPECT_EQ(trel_cap_get_app_name(pid, buffer.data(), size), buffer.data());
        const auto end = buffer.begin() + static_cast<std::ptrdiff_t>(size);
        EXPECT_TRUE(std::all_of(end, buffer.end(), [](char byte) { return byte == 'x'; })) << "wrote too far";
        std::string name(buffer.data());
        EXPECT_LT(name.size(), size);
        EXPECT_TRUE(std::all_of(buffer.begin() + static_cast<std::ptrdiff_t>(name.size()), end, [](char byte) {
            return byte == '\0';
        })) << "not cleared behind the name";
        return name;
    }

    // The number of a process that has ended.
    static pid_t ended_process() {
        const pid_t pid = fork();
        if (pid == 0) {
            _exit(0);
        }
        waitpid(pid, nullptr, 0);
        return pid;
    }
};

// A process that runs a copy of some program, under a path of one's choice.
class Process {
public:
    explicit Process(const fs::path &executable) : pid_(-1) {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        pid_ = fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            execl(executable.c_str(), executable.c_str(), "60", nullptr);
            _exit(127);
        }
        close(ends[1]);
        char nothing = 0;
        EXPECT_EQ(read(ends[0], &nothing, 1), 0) << "closed by the program's start";
        close(ends[0]);
        std::error_code error;
        EXPECT_EQ(fs::read_symlink("/proc/" + std::to_string(pid_) + "/exe", error), executable);
    }
    ~Process() {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

    pid_t pid() const { return pid_; }

private:
    pid_t pid_;
};

TEST_F(AppName, IsTheBaseNameOfTheExecutable) { EXPECT_EQ(name_of(getpid(), 128), program_name()); }

TEST_F(AppName, IsThatOfAnyProcess) {
    const test_support::PrivateDirectory directory;
    const fs::path executable = directory.file("a program");
    fs::copy_file("/bin/sleep", executable);
    const Process process(executable);
    EXPECT_EQ(name_of(process.pid(), 128), "a program");
}

TEST_F(AppName, IsCutToTheBuffer) {
    const std::string name = program_name();
    ASSERT_GT(name.size(), 8U);
    for (const size_t size : {size_t{1}, size_t{2}, size_t{8}, name.size(), name.size() + 1, name.size() + 2}) {
        EXPECT_EQ(name_of(getpid(), size), name.substr(0, size - 1)) << size;
    }
}

// Of a long path 127 bytes are read, wherever in it that is.
TEST_F(AppName, ComesFromTheFirst127BytesOfThePath) {
    const test_support::PrivateDirectory directory;
    const fs::path parent = directory.file(std::string(119 - directory.path().size(), 'd'));
    fs::create_directory(parent);
    const fs::path executable = parent / "longer_than_that";
    fs::copy_file("/bin/sleep", executable);
    const Process process(executable);
    const std::string seen = executable.string().substr(0, 127);
    EXPECT_EQ(name_of(process.pid(), 128), seen.substr(seen.rfind('/') + 1));
    EXPECT_EQ(name_of(process.pid(), 128), "longer");
}

TEST_F(AppName, IsAppWhereThereIsNoProcess) {
    const pid_t nobody = ended_process();
    ::testing::internal::CaptureStderr();
    const std::string name = name_of(nobody, 128);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "readlink: : No such file or directory\n");
    EXPECT_EQ(name, "app");
}

TEST_F(AppName, IsAppCutToTheBuffer) {
    const pid_t nobody = ended_process();
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(name_of(nobody, 4), "app");
    EXPECT_EQ(name_of(nobody, 3), "ap");
    EXPECT_EQ(name_of(nobody, 1), "");
    ::testing::internal::GetCapturedStderr();
}

TEST_F(AppName, WithoutABufferIsRefused) {
    at_every_log_level([this] {
        EXPECT_EQ(trel_cap_get_app_name(getpid(), nullptr, 128), nullptr);
        expect_events({Log{100, "trel_cap_get_app_name", "dst NULL pointer, addr error!\n"}});
    });
}

TEST_F(AppName, IsFoundWithoutLoggingOrTheStore) {
    name_of(getpid(), 128);
    EXPECT_THAT(platform.events(), ::testing::IsEmpty());
}

}  // namespace
}  // namespace trel_cap_tests
