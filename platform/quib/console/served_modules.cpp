#include "served_modules.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <fstream>
#include <optional>

#include "command_line/exit_status.h"
#include "command_line/names.h"
#include "command_line/text.h"

namespace console {

using namespace command_line;

namespace {

using Entry = ModuleDirectory::Entry;

std::string name_of(const Entry &entry) {
    if (is_familiar(entry.owner)) {
        return entry.file;
    }
    const passwd *user = getpwuid(entry.owner);
    return (user != nullptr ? user->pw_name : std::to_string(entry.owner)) + "/" + entry.file;
}

std::optional<uid_t> user_called(const std::string &name) {
    if (const passwd *user = getpwnam(name.c_str())) {
        return user->pw_uid;
    }
    uid_t number = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
    return error == std::errc() && end == name.data() + name.size() ? std::optional(number) : std::nullopt;
}

std::string program_of(pid_t process) {
    const std::string about = "/proc/" + std::to_string(process);
    char path[4096];
    const ssize_t length = readlink((about + "/exe").c_str(), path, sizeof path);
    if (length > 0) {
        return {path, static_cast<size_t>(length)};
    }
    std::string name;
    std::getline(std::ifstream(about + "/comm"), name);
    return name;
}

struct Served {
    Entry entry;
    Module module;
};

std::vector<Served> all_served(const ModuleDirectory &directory) {
    std::vector<Served> served;
    for (const Entry &entry : directory.entries()) {
        const ModuleDirectory::Attempt attempt = directory.connect(entry);
        if (attempt.error == 0) {
            const pid_t process = process_behind(attempt.socket);
            served.push_back({entry, {name_of(entry), process, process > 0 ? program_of(process) : ""}});
        } else if (attempt.error == EAGAIN) {
            served.push_back({entry, {name_of(entry), 0, ""}});
        }
    }
    return served;
}

// An operator's name for a module: that of its socket, of a user who may be named.
struct Wanted {
    std::optional<uid_t> user;
    std::string file;

    bool means_user_of(const Entry &entry) const { return user ? entry.owner == *user : is_familiar(entry.owner); }
};

Wanted parse(const std::string &word) {
    const size_t slash = word.find('/');
    if (slash == std::string::npos) {
        return {std::nullopt, word};
    }
    const std::string file = word.substr(slash + 1);
    const auto user = user_called(word.substr(0, slash));
    if (!user || file.find('/') != std::string::npos) {
        throw Failure(kNegative, "no module is called " + quote(word));
    }
    return {user, file};
}

Target by_prefix(const ModuleDirectory &directory, const std::string &path, const std::string &typed,
                 const Wanted &wanted) {
    std::vector<std::string> names;
    std::vector<std::string> matching_names;
    std::vector<Entry> matches;
    for (const Served &served : all_served(directory)) {
        names.push_back(served.module.name);
        if (wanted.means_user_of(served.entry) && served.entry.file.starts_with(wanted.file)) {
            matching_names.push_back(served.module.name);
            matches.push_back(served.entry);
        }
    }
    if (matches.size() == 1) {
        return {matches.front(), matching_names.front()};
    }
    if (matches.size() > 1) {
        throw Failure(kUsage, "module " + quote(typed) + " could be " + joined(matching_names));
    }
    throw Failure(kNegative, "no module " + quote(typed) + " in " + path + did_you_mean(typed, names));
}

}  // namespace

std::vector<Module> served_modules(const std::string &directory) {
    std::vector<Module> modules;
    for (Served &served : all_served(ModuleDirectory(directory))) {
        modules.push_back(std::move(served.module));
    }
    return modules;
}

Target find_module(const std::string &directory, const std::string &word) {
    const Wanted meant = parse(word);
    const ModuleDirectory modules(directory);
    const auto entry = modules.entry(meant.file);
    return entry && meant.means_user_of(*entry) ? Target{*entry, name_of(*entry)}
                                                : by_prefix(modules, directory, word, meant);
}

}  // namespace console
