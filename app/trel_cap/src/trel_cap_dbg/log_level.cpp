// The set-up of logging on a thread, and the log level.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "log/arguments.h"
#include "ox_zlog.h"
#include "trel_cap/logging.h"

using namespace trel_cap;

namespace {

constexpr char kLevelDirectory[] = "/data/.oxos/vsd/0/sw-frame/cap/trel_cap/";
constexpr size_t kPathSize = 128;
constexpr size_t kLevelTextSize = 14;

// The number that the text begins with; 0 when it begins with none.
int32_t parse_level(const char *text) {
    const long long number = strtoll(text, nullptr, 10);
    return static_cast<int32_t>(std::clamp<long long>(number, INT32_MIN, INT32_MAX));
}

// Opening a device may do something to it, and opening a FIFO waits for somebody who writes into it.
bool is_something_else_than_a_file(const char *path) {
    struct stat info = {};
    return stat(path, &info) == 0 && !S_ISREG(info.st_mode);
}

// A file that cannot be read leaves the level alone; an empty one sets it to 0.
void apply_level_file(const char *name) {
    char path[kPathSize];
    snprintf(path, sizeof path, "%s%s", kLevelDirectory, name);
    if (is_something_else_than_a_file(path)) {
        return;
    }
    // Not to wait either for what has come into the file's place this moment.
    const int fd = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        return;
    }
    char text[kLevelTextSize + 1] = {};
    if (read(fd, text, kLevelTextSize) >= 0) {
        trel_cap_log_level(parse_level(text));
    }
    close(fd);
}

}  // namespace

int32_t trel_cap_zlog_init(const char *app_name) {
    if (is_null(TREL_CAP_CALLER, "reg_name", app_name)) {
        return TREL_CAP_E_ARGUMENT;
    }
    apply_level_file("trel_cap_dbg.txt");
    apply_level_file(app_name);

    TREL_CAP_LOG_AS(TREL_CAP_CALLER_AS("trel_cap_log_level_init"), kDetail, "g_trel_cap_zlog_level: %d", log_level());

    void *const category = ox_zlog_init("trel_cap");
    set_log_category(category);
    if (category == nullptr) {
        char name[kPathSize];
        snprintf(name, sizeof name, "trel_cap_%s.zlog", app_name);
        TREL_CAP_LOG(kError, "%s init fail", name);
    }
    return TREL_CAP_OK;
}

// To applications trel_cap_log_level() is void. The console calls it too, and takes what is left in the return register
// for its status; so what is defined under this name leaves one there.
extern "C" [[gnu::visibility("default")]] int32_t log_level_with_status(int32_t level) __asm__("trel_cap_log_level");

int32_t log_level_with_status(int32_t level) {
    set_log_level(level);
    TREL_CAP_LOG_AS(TREL_CAP_CALLER_AS("trel_cap_log_level"), kDetail, "set debug level %d", level);
    return TREL_CAP_OK;
}
