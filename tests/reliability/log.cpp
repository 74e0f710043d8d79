#include "log.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <map>
#include <mutex>
#include <regex>
#include <utility>

#include <ox_zlog.h>

namespace {

std::mutex mutex;
std::map<std::thread::id, std::vector<std::string>> lines;  // the mutex's
thread_local bool is_unlogged = false;
char clients;  // stands for the client's category

// Pauses and times, names of servers, and what a test's own registrations come to.
std::string without_chance(const std::string &text) {
    static const std::array<std::pair<std::regex, const char *>, 6> kChances = {{
        {std::regex("global 0x[0-9a-f]+, "), ""},
        {std::regex("; the next attempt is .*"), ""},
        {std::regex(" after [0-9.]+ s; loaded afresh: .*"), ""},
        {std::regex("^store [^ ]+ is "), ""},
        {std::regex("(unix://)?/[^ ]*/(socket|proxy): "), ""},
        {std::regex("/[^ ]*/(socket|proxy)"), "the server"},
    }};
    std::string result = text;
    for (const auto &[chance, instead] : kChances) {
        result = std::regex_replace(result, chance, instead);
    }
    std::replace(result.begin(), result.end(), '`', '\'');  // which ends what a document shows as it is
    return result;
}

}  // namespace

void *ox_zlog_init(const char *category) {
    static std::string other;
    return std::string(category) == "ox_mom" ? static_cast<void *>(&clients) : &other;
}

void oxdf_zlog(void *category, const char *, size_t, const char *, size_t, long, int, const char *format, ...) {
    if (is_unlogged && category != &clients) {
        return;
    }
    std::array<char, 1024> text{};
    va_list args;
    va_start(args, format);
    vsnprintf(text.data(), text.size(), format, args);
    va_end(args);
    std::string line = text.data();
    line.erase(std::find(line.begin(), line.end(), '\n'), line.end());
    const std::lock_guard lock(mutex);
    lines[std::this_thread::get_id()].push_back(without_chance(line));
}

namespace reliability {

Unlogged::Unlogged() { is_unlogged = true; }
Unlogged::~Unlogged() { is_unlogged = false; }

std::vector<std::string> take_lines(std::thread::id thread) {
    const std::lock_guard lock(mutex);
    std::vector<std::string> taken;
    for (std::string &line : std::exchange(lines[thread], {})) {
        if (std::find(taken.begin(), taken.end(), line) == taken.end()) {
            taken.push_back(std::move(line));
        }
    }
    return taken;
}

bool has_line_with(std::thread::id thread, const std::string &words) {
    const std::lock_guard lock(mutex);
    const std::vector<std::string> &own = lines[thread];
    return std::any_of(own.begin(), own.end(),
                       [&](const std::string &line) { return line.find(words) != std::string::npos; });
}

}  // namespace reliability
