#include "history.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <base/fd.h>

namespace console {

namespace {

constexpr mode_t kOwnFile = S_IRUSR | S_IWUSR;

std::string variable(const char *name) {
    const char *value = std::getenv(name);
    return value == nullptr ? "" : value;
}

// Of lines that are there twice, the later one stays; of too many, the latest.
std::vector<std::string> without_repetitions(const std::vector<std::string> &lines) {
    std::vector<std::string> kept;
    for (auto line = lines.rbegin(); line != lines.rend() && kept.size() < History::kLimit; ++line) {
        if (!line->empty() && std::find(kept.begin(), kept.end(), *line) == kept.end()) {
            kept.push_back(*line);
        }
    }
    std::reverse(kept.begin(), kept.end());
    return kept;
}

std::vector<std::string> read_lines(const std::string &path) {
    std::vector<std::string> lines;
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return without_repetitions(lines);
}

// In place, so that a lock on the file is one on its contents, whatever name led to it.
bool write_lines(int fd, const std::vector<std::string> &lines) {
    std::string text;
    for (const std::string &line : lines) {
        text += line + "\n";
    }
    struct stat status;
    const bool is_file = fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
    return pwrite(fd, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()) &&
           (!is_file || (ftruncate(fd, static_cast<off_t>(text.size())) == 0 && fchmod(fd, kOwnFile) == 0));
}

void make_directory_of(const std::filesystem::path &file) {
    std::error_code ignored;  // opening the file tells
    const mode_t others = umask(S_IRWXG | S_IRWXO);
    std::filesystem::create_directories(file.parent_path(), ignored);
    umask(others);
}

}  // namespace

History::History(std::string path) : path_(std::move(path)), lines_(read_lines(path_)) {}

std::string History::add(const std::string &line) {
    lines_.push_back(line);
    lines_ = without_repetitions(lines_);
    if (path_.empty() || failed_) {
        return "";
    }
    make_directory_of(path_);
    const base::Fd file(open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, kOwnFile));
    if (file && flock(file.get(), LOCK_EX) == 0) {
        std::vector<std::string> lines = read_lines(path_);
        lines.push_back(line);
        lines = without_repetitions(lines);
        if (write_lines(file.get(), lines)) {
            return "";
        }
    }
    failed_ = true;
    return path_ + ": " + std::strerror(errno);
}

std::string history_path() {
    if (std::string own = variable("QUIB_HISTORY"); !own.empty()) {
        return own;
    }
    const std::string home = variable("HOME");
    std::string state = variable("XDG_STATE_HOME");
    if (state.empty() && !home.empty()) {
        state = home + "/.local/state";
    }
    return state.empty() ? "" : state + "/quib/history";
}

}  // namespace console
