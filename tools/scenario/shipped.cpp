#include "scenario/shipped.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <filesystem>
#include <memory>
#include <new>

#include "command_line/exit_status.h"
#include "command_line/names.h"
#include "command_line/text.h"

namespace scenario {

namespace {

namespace fs = std::filesystem;

constexpr char kEnding[] = ".yaml";

}  // namespace

std::string shipped_directory() {
    if (const char *directory = std::getenv("TREL_CAP_SCENARIOS")) {
        return directory;
    }
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    return (program.parent_path() / TREL_CAP_SCENARIOS_FROM_PROGRAM).lexically_normal();
}

// Not by the standard library's iterator, which ends the program when it finds no memory.
std::vector<std::string> shipped_names() {
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR *)> directory(opendir(shipped_directory().c_str()), closedir);
    if (!directory) {
        if (errno == ENOMEM) {
            throw std::bad_alloc();
        }
        return names;
    }
    while (const dirent *entry = readdir(directory.get())) {
        const fs::path file = entry->d_name;
        if (file.extension() == kEnding) {
            names.push_back(file.stem());
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string find_file(const std::string &file_or_name) {
    std::error_code error;
    const bool is_there = fs::exists(file_or_name, error);
    if (is_there && !fs::is_directory(file_or_name, error)) {
        return file_or_name;
    }
    const std::vector<std::string> names = shipped_names();
    if (std::find(names.begin(), names.end(), file_or_name) != names.end()) {
        return shipped_directory() + "/" + file_or_name + kEnding;
    }
    if (is_there || file_or_name.find('/') != std::string::npos || fs::path(file_or_name).extension() == kEnding) {
        return file_or_name;  // it is told when it is read that it is not there, or a directory
    }
    throw command_line::Failure(command_line::kUsage, "no such scenario: " + command_line::shown(file_or_name) +
                                                          command_line::did_you_mean(file_or_name, names));
}

}  // namespace scenario
