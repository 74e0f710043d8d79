#include "app_name.h"

#include <climits>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "log/arguments.h"
#include "trel_cap/logging.h"

using namespace trel_cap;

namespace {

constexpr size_t kPathSize = 128;

// The system's mark in the link to a file that is no longer there.
constexpr std::string_view kDeleted = " (deleted)";

// Cuts what is too long, deliberately; a size of 0 leaves dst alone.
char *copy_name(char *dst, size_t size, const char *name) {
    snprintf(dst, size, "%s", name);
    return dst;
}

// The name that trel_cap_get_app_name() makes of a link.
std::string_view name_in(std::string_view link) {
    link.remove_suffix(link.size() - std::min(link.size(), kPathSize - 1));
    link.remove_prefix(link.rfind('/') + 1);
    return link;
}

// The link without the mark; empty when it has none, or a file is really called that.
std::string_view unmarked(const char *link) {
    std::string_view text = link;
    if (!text.ends_with(kDeleted) || access(link, F_OK) == 0) {
        return {};
    }
    text.remove_suffix(kDeleted.size());
    return text;
}

}  // namespace

char *trel_cap_get_app_name(pid_t pid, char *dst, size_t size) {
    if (is_null(TREL_CAP_CALLER, "dst", dst)) {
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

AppName trel_cap::own_app_name() {
    AppName name{};
    trel_cap_get_app_name(getpid(), name.data(), name.size());
    if (strchr(name.data(), kDeleted.front()) == nullptr) [[likely]] {
        return name;
    }
    char link[PATH_MAX + kDeleted.size()] = {};
    if (readlink("/proc/self/exe", link, sizeof link - 1) < 0) {
        return name;
    }
    // Of a long path the name may have the mark in part. One that comes from elsewhere is left alone.
    const std::string_view plain = unmarked(link);
    if (!plain.empty() && name_in(link) == name.data()) {
        const std::string_view own = name_in(plain);
        name = {};
        memcpy(name.data(), own.data(), std::min(own.size(), name.size() - 1));
    }
    return name;
}
