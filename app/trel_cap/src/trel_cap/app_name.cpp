#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "log/arguments.h"
#include "trel_cap/init.h"

namespace {

constexpr size_t kPathSize = 128;

/* Cuts what is too long, deliberately; a size of 0 leaves dst alone. */
char *copy_name(char *dst, size_t size, const char *name) {
    snprintf(dst, size, "%s", name);
    return dst;
}

}  // namespace

char *trel_cap_get_app_name(pid_t pid, char *dst, size_t size) {
    if (trel_cap::is_null(TREL_CAP_CALLER, "dst", dst)) {
        return dst;
    }
    memset(dst, 0, size);

    char path[kPathSize] = {};
    char link[kPathSize] = {};
    snprintf(path, sizeof path, "/proc/%d/exe", pid);
    const ssize_t length = readlink(path, link, sizeof link - 1);
    if (length < 0) {
        perror("readlink: ");
        return copy_name(dst, size, "app");
    }
    if (static_cast<size_t>(length) >= sizeof link) {
        perror("readlink: error");
        return copy_name(dst, size, "app");
    }
    link[length] = '\0';

    const char *const slash = strrchr(link, '/');
    return copy_name(dst, size, slash != nullptr ? slash + 1 : link);
}
