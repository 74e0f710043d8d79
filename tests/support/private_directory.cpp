#include "private_directory.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace test_support {

namespace fs = std::filesystem;

namespace {

constexpr char kPrefix[] = "trel_cap-";

bool is_directory(int fd, const std::string &path) {
    struct stat opened = {};
    struct stat named = {};
    return fstat(fd, &opened) == 0 && stat(path.c_str(), &named) == 0 && opened.st_ino == named.st_ino;
}

int lock_directory(const std::string &path) {
    const int fd = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0 && (flock(fd, LOCK_EX | LOCK_NB) != 0 || !is_directory(fd, path))) {
        close(fd);
        return -1;
    }
    return fd;
}

void remove_abandoned(const fs::path &parent) {
    std::error_code ignored;
    for (const auto &entry : fs::directory_iterator(parent, ignored)) {
        if (!entry.path().filename().string().starts_with(kPrefix)) {
            continue;
        }
        const int fd = lock_directory(entry.path());
        if (fd >= 0) {
            fs::remove_all(entry.path(), ignored);
            close(fd);
        }
    }
}

}  // namespace

PrivateDirectory::PrivateDirectory() : lock_(-1) {
    const fs::path parent = fs::canonical(fs::temp_directory_path());
    remove_abandoned(parent);
    while (lock_ < 0) {
        std::string name = (parent / (std::string(kPrefix) + "XXXXXX")).string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no directory " + name + ": " + std::strerror(errno));
        }
        lock_ = lock_directory(name);
        path_ = name;
    }
}

PrivateDirectory::~PrivateDirectory() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
    close(lock_);
}

}  // namespace test_support
