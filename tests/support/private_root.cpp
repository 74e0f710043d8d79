#include "private_root.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sched.h>
#include <stdexcept>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace test_support {
namespace {

namespace fs = std::filesystem;

void require(int result, const std::string &what) {
    if (result != 0) {
        throw std::runtime_error(what + ": " + std::strerror(errno));
    }
}

void write_text(const char *path, const std::string &text) {
    std::ofstream file(path);
    file << text << std::flush;
    if (!file) {
        throw std::runtime_error(std::string("cannot write ") + path);
    }
}

// Who may not mount may do so in a user namespace of his own.
void unshare_mounts() {
    const uid_t uid = geteuid();
    const gid_t gid = getegid();
    if (unshare(CLONE_NEWNS) == 0) {
        return;
    }
    require(unshare(CLONE_NEWUSER | CLONE_NEWNS), "no user and mount namespace");
    write_text("/proc/self/setgroups", "deny");
    write_text("/proc/self/uid_map", std::to_string(uid) + " " + std::to_string(uid) + " 1");
    write_text("/proc/self/gid_map", std::to_string(gid) + " " + std::to_string(gid) + " 1");
}

void show_in(const fs::path &root, const fs::directory_entry &entry) {
    const fs::path target = root / entry.path().filename();
    if (entry.is_symlink()) {
        fs::create_symlink(fs::read_symlink(entry.path()), target);
        return;
    }
    if (entry.is_directory()) {
        fs::create_directory(target);
    } else {
        write_text(target.c_str(), "");
    }
    require(mount(entry.path().c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr),
            "cannot bind " + entry.path().string());
}

// The new root is built over a directory of /proc. That is a mount of its own even where / is none, in a changed root,
// and so it can be kept from telling the rest of the machine of what is mounted there.
void build_and_enter() {
    const fs::path root = "/proc/fs";
    unshare_mounts();
    require(mount(nullptr, "/proc", nullptr, MS_REC | MS_PRIVATE, nullptr), "cannot make the mounts of /proc private");
    require(mount("private_root", root.c_str(), "tmpfs", 0, "mode=0755"), "cannot mount a root");
    // Or the bind of /proc would hold a copy of it.
    require(mount(nullptr, root.c_str(), nullptr, MS_UNBINDABLE, nullptr), "cannot make the root unbindable");
    for (const fs::directory_entry &entry : fs::directory_iterator("/")) {
        if (entry.path().filename() != "data") {
            show_in(root, entry);
        }
    }
    // An emulator of another machine lists that machine's directories in /, which lack what only a running system has,
    // the shell, and what the program itself lies in.
    const fs::path program = fs::read_symlink("/proc/self/exe");
    const std::vector<fs::path> needed = {"bin", "dev", "lib64", "proc", "run", "tmp", *std::next(program.begin())};
    for (const fs::path &name : needed) {
        if (!fs::exists(fs::symlink_status(root / name)) && fs::exists(fs::path("/") / name)) {
            show_in(root, fs::directory_entry(fs::path("/") / name));
        }
    }
    fs::create_directory(root / "data");
    require(mount("private_data", (root / "data").c_str(), "tmpfs", 0, "mode=0755"), "cannot mount /data");
    const fs::path here = fs::current_path();
    require(chroot(root.c_str()), "cannot change the root");
    require(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), "cannot make mounts private");
    std::error_code ignored;
    fs::current_path(here, ignored);
    if (ignored) {
        fs::current_path("/");
    }
}

template <class Step>
std::string outcome(Step step) {
    try {
        step();
    } catch (const std::exception &failure) {
        return failure.what();
    }
    return "";
}

}  // namespace

std::string enter_private_root() {
    static const std::string entered = outcome(build_and_enter);
    if (!entered.empty()) {
        return entered;
    }
    return outcome([] {
        for (const fs::directory_entry &entry : fs::directory_iterator("/data")) {
            fs::remove_all(entry.path());
        }
    });
}

std::string set_data_writable(bool writable) {
    unsigned long flags = MS_REMOUNT | MS_BIND;
    if (!writable) {
        flags |= MS_RDONLY;
    }
    return outcome([&] { require(mount(nullptr, "/data", nullptr, flags, nullptr), "cannot remount /data"); });
}

}  // namespace test_support
