#include "served_modules.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>

#include "exit_code.h"
#include "similar_names.h"
#include "unix_socket.h"

namespace console {

namespace {

std::vector<std::string> names_in(const std::string &directory) {
    const std::unique_ptr<DIR, int (*)(DIR *)> entries(opendir(directory.c_str()), closedir);
    if (!entries && errno == ENOENT) {
        return {};
    }
    if (!entries) {
        throw Failure(kNoConnection, directory + ": " + std::strerror(errno));
    }
    std::vector<std::string> names;
    while (const dirent *entry = readdir(entries.get())) {
        if (is_socket(directory + "/" + entry->d_name)) {
            names.emplace_back(entry->d_name);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
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

std::string joined(const std::vector<std::string> &names) {
    std::string text;
    for (const std::string &name : names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text;
}

std::vector<std::string> names_of(const std::vector<Module> &modules) {
    std::vector<std::string> names(modules.size());
    std::transform(modules.begin(), modules.end(), names.begin(), [](const Module &module) { return module.name; });
    return names;
}

std::string by_prefix(const std::string &directory, const std::string &word) {
    const std::vector<std::string> names = names_of(served_modules(directory));
    std::vector<std::string> matches;
    std::copy_if(names.begin(), names.end(), std::back_inserter(matches),
                 [&word](const std::string &name) { return name.starts_with(word); });
    if (matches.size() == 1) {
        return matches.front();
    }
    if (matches.size() > 1) {
        throw Failure(kUsage, "module \"" + word + "\" could be " + joined(matches));
    }
    const std::vector<std::string> similar = similar_names(word, names);
    throw Failure(kNegative, "no module \"" + word + "\" in " + directory +
                                 (similar.empty() ? "" : "; did you mean " + joined(similar) + "?"));
}

}  // namespace

std::vector<Module> served_modules(const std::string &directory) {
    std::vector<Module> modules;
    for (const std::string &name : names_in(directory)) {
        const Attempt attempt = connect_to(std::string(directory).append("/").append(name));
        if (attempt.error == 0) {
            const pid_t process = process_behind(attempt.socket);
            modules.push_back({name, process, process > 0 ? program_of(process) : ""});
        } else if (attempt.error == EAGAIN) {
            modules.push_back({name, 0, ""});
        }
    }
    return modules;
}

std::string find_module(const std::string &directory, const std::string &word) {
    if (word.find('/') != std::string::npos) {
        throw Failure(kNegative, "no module is called \"" + word + "\"");
    }
    return is_socket(directory + "/" + word) ? word : by_prefix(directory, word);
}

}  // namespace console
