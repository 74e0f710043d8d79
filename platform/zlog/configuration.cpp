#include "configuration.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlog.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/fd.h"
#include "base/undisturbed.h"
#include "complaints.h"

namespace zlog_layer {

namespace {

constexpr char kSystemFile[] = "/etc/trel_cap/zlog.conf";

constexpr char kFallback[] = "logging to standard error";

constexpr char kBlanks[] = " \t\r\n\v\f";

constexpr char kBuiltInRule[] = "[formats]\n"
                                "built_in = \"%d(%F %T).%ms %V %c %U:%L %m%n\"\n"
                                "[rules]\n"
                                "*.* >stderr; built_in\n";

void report(const char *file, const char *reason, const char *consequence) {
    const base::Undisturbed undisturbed;
    fprintf(stderr, "ox_zlog: %s: %s; %s\n", file, reason, consequence);
}

// Whether there is anything of that name; what cannot be looked at counts as there, and fails when it is read.
bool exists(const char *file) {
    struct stat info = {};
    return stat(file, &info) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

// zlog would not tell why it can't open a file; it reads a directory as an empty configuration, waits for ever at a
// FIFO that nobody writes into, and reads some devices without an end.
bool is_readable(const char *file) {
    struct stat info = {};
    const char *reason = nullptr;
    if (stat(file, &info) != 0 || access(file, R_OK) != 0) {
        reason = std::strerror(errno);
    } else if (S_ISDIR(info.st_mode)) {
        reason = std::strerror(EISDIR);
    } else if (!S_ISREG(info.st_mode)) {
        reason = "not a regular file";
    }
    if (reason != nullptr) {
        report(file, reason, kFallback);
    }
    return reason == nullptr;
}

// The file to read, or nullptr. A program with its user's rights raised does not let that user say what it writes.
const char *find_file() {
    const char *named = secure_getenv("OX_ZLOG_CONF");
    const bool has_system_file = exists(kSystemFile);
    if (named != nullptr && named[0] != '\0') {
        if (exists(named)) {
            return named;
        }
        report(named, "named by OX_ZLOG_CONF, does not exist",
               has_system_file ? "using /etc/trel_cap/zlog.conf" : kFallback);
    }
    return has_system_file ? kSystemFile : nullptr;
}

void report_unusable(const char *file, const Complaints &complaints) {
    const char *cause = complaints.cause()[0] == '\0' ? "zlog cannot use it" : complaints.cause();
    const bool has_place = complaints.place()[0] != '\0';
    char reason[600];
    snprintf(reason, sizeof reason, "%s%s%s%s", cause, has_place ? " (" : "", complaints.place(), has_place ? ")" : "");
    report(file, reason, kFallback);
}

bool is_accepted(const char *file) {
    const Complaints complaints;
    if (zlog_init(file) == 0) {
        return true;
    }
    report_unusable(file, complaints);
    return false;
}

// zlog makes what it keeps per thread at a thread's first message, and drops the message when it can't: an impossible
// buffer size does that. The first thing kept with a thread finds out now.
bool can_log(const char *file) {
    constexpr char kKey[] = "ox_zlog";
    const Complaints complaints;
    if (zlog_put_mdc(kKey, "") == 0) {
        zlog_remove_mdc(kKey);
        return true;
    }
    zlog_fini();
    report_unusable(file, complaints);
    return false;
}

// Of a file that zlog has accepted: sections begin with a bracket, comments with '#', and blanks may stand before all.
bool has_a_rule(FILE *file) {
    char *line = nullptr;
    size_t size = 0;
    bool in_rules = false;
    bool found = false;
    while (!found && getline(&line, &size, file) >= 0) {
        const char *text = line + std::strspn(line, kBlanks);
        if (*text == '[') {
            text += 1 + std::strspn(text + 1, kBlanks);
            in_rules = std::strncmp(text, "rules", strlen("rules")) == 0;
        } else if (in_rules) {
            found = *text != '\0' && *text != '#';
        }
    }
    std::free(line);
    return found;
}

// Without a rule every message of every program that reads the file would be lost, and nobody told: an empty file is
// more often the work of a full disk than of an operator who wants silence.
bool says_where(const char *file) {
    FILE *stream = fopen(file, "re");
    const bool found = stream == nullptr || has_a_rule(stream);
    if (stream != nullptr) {
        fclose(stream);
    }
    if (!found) {
        zlog_fini();
        report(file, "has no rule that says where messages go", kFallback);
    }
    return found;
}

bool use_file(const char *file) { return is_readable(file) && is_accepted(file) && says_where(file) && can_log(file); }

// The rule is a file for zlog, one that is only in memory: zlog_init_from_string() loses 118 KB, and it uses strtok(),
// in whose one static place the application may be at work. It serves where there is no memfd_create() or no /proc.
bool use_built_in_rule() {
    constexpr auto kLength = static_cast<ssize_t>(sizeof kBuiltInRule - 1);
    const base::Fd file(memfd_create("ox_zlog", MFD_CLOEXEC));
    char path[sizeof "/proc/self/fd/" + 10];
    snprintf(path, sizeof path, "/proc/self/fd/%d", file.get());
    const bool done = file && write(file.get(), kBuiltInRule, kLength) == kLength && zlog_init(path) == 0;
    return done || zlog_init_from_string(kBuiltInRule) == 0;
}

}  // namespace

bool configure() {
    const char *file = find_file();
    return (file != nullptr && use_file(file)) || use_built_in_rule();
}

}  // namespace zlog_layer
